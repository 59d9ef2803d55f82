#include "pkg/removal_plan.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string_view>

#include "pkg/identity_index.h"

namespace zendro::pkg {
namespace {

std::vector<name_semver_t> identities_in(const std::vector<const package_t*>& packages) {
  std::vector<name_semver_t> identities;
  identities.reserve(packages.size());
  for (const package_t* package : packages) identities.push_back(package->identity);
  return identities;
}

// Finds which packages of a removal are referenced by packages that stay.
class reference_keeper {
 public:
  reference_keeper(const std::vector<const package_t*>& removal, const metadata_texts& texts,
                   const level_successors& new_levels)
      : removal_(removal),
        texts_(texts),
        is_replaced_(!new_levels.empty()),
        index_(identities_in(removal)),
        referrers_(removal.size(), nullptr) {}

  /// Notes `package` as one that stays. Of several that reference a package the first one counts,
  /// so a reference text that has been seen before has nothing new to say.
  void note(const package_t& package) {
    for (const std::string_view text : texts_.references(package)) {
      if (!seen_.insert(text).second) continue;
      const name_semver_t key = parse_identity(text);
      // A new level differs in its patch number alone, and fulfils what leaves that open.
      if (is_replaced_ && key.version.patch == kAnyPart) continue;
      for (const std::size_t position : index_.take(key)) {
        referrers_[position] = &package;
        found_.insert(position);
      }
    }
  }

  /// Takes the next package that has to stay, in package order, and who references it.
  std::optional<kept_package_t> take() {
    if (found_.empty()) return std::nullopt;
    const std::size_t position = *found_.begin();
    found_.erase(found_.begin());
    return kept_package_t{removal_[position], referrers_[position]};
  }

  /// Whether something holds the package.
  [[nodiscard]] bool is_kept(std::size_t position) const { return referrers_[position] != nullptr; }

 private:
  const std::vector<const package_t*>& removal_;
  const metadata_texts& texts_;
  bool is_replaced_;
  identity_index index_;
  std::vector<const package_t*> referrers_;
  std::set<std::size_t> found_;
  std::set<std::string_view> seen_;
};

}  // namespace

removal_plan_t plan_removal(const std::vector<const package_t*>& installed,
                            const std::vector<const package_t*>& removal,
                            const metadata_texts& texts, const level_successors& new_levels) {
  removal_plan_t plan;
  if (removal.empty()) return plan;
  reference_keeper keeper(removal, texts, new_levels);
  auto next = removal.begin();
  for (const package_t* package : installed) {
    if (next != removal.end() && *next == package) {
      ++next;
    } else {
      keeper.note(*package);
    }
  }
  // A package that is kept stays, so what it references stays as well.
  while (const auto kept = keeper.take()) {
    plan.kept.push_back(*kept);
    keeper.note(*kept->package);
  }
  for (std::size_t position = 0; position < removal.size(); ++position) {
    if (!keeper.is_kept(position)) plan.removed.push_back(removal[position]);
  }
  return plan;
}

std::vector<const package_t*> all_of(const package_map& packages) {
  std::vector<const package_t*> all;
  all.reserve(packages.size());
  for (const package_t& package : packages) all.push_back(&package);
  return all;
}

}  // namespace zendro::pkg
