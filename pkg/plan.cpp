#include "pkg/plan.h"

#include <algorithm>
#include <iterator>
#include <unordered_set>
#include <utility>

#include "pkg/identity_index.h"
#include "pkg/shared_folders.h"

namespace zendro::pkg {
namespace {

// The newest entry of the identity's line: of its name, major and minor number.
const package_t* find_line(const package_map& packages, const name_semver_t& identity) {
  const auto is_before = [](const package_t& package, const name_semver_t& wanted) {
    const auto& [name, version] = package.identity;
    if (const int names = name.compare(wanted.name); names != 0) return names < 0;
    if (version.major != wanted.version.major) return version.major > wanted.version.major;
    return version.minor > wanted.version.minor;
  };
  const auto found = std::lower_bound(packages.begin(), packages.end(), identity, is_before);
  const bool fits = found != packages.end() && found->identity.name == identity.name &&
                    found->identity.version.major == identity.version.major &&
                    found->identity.version.minor == identity.version.minor;
  return fits ? &*found : nullptr;
}

bool is_older(const package_t& level, const package_t& other) {
  return level.identity.version.patch < other.identity.version.patch;
}

bool package_before(const package_t* a, const package_t* b) { return a->identity < b->identity; }

template <typename Parts, typename Package>
std::set<name_semver_t> identities(const Parts& parts, const Package& package_of) {
  std::set<name_semver_t> result;
  for (const auto& part : parts) result.insert(result.end(), package_of(part)->identity);
  return result;
}

}  // namespace

std::set<name_semver_t> identities_of(const std::vector<const package_t*>& packages) {
  return identities(packages, [](const package_t* package) { return package; });
}

std::set<name_semver_t> identities_of(const std::vector<request_t>& requests) {
  return identities(requests, [](const request_t& request) { return request.package; });
}

std::set<name_semver_t> identities_of(const std::vector<replacement_t>& replaced) {
  return identities(replaced, [](const replacement_t& one) { return one.old_level; });
}

std::vector<request_t> follow_references(const reference_table& references,
                                         const std::vector<list_position>& install,
                                         const std::function<bool(const package_t&)>& is_there,
                                         std::vector<name_semver_t>& missing) {
  const package_map& packages = references.packages();
  std::vector<request_t> requests;
  std::vector<std::uint32_t> numbers(packages.size());  // of the request, from 1; 0: there is none
  const auto reach = [&](list_position package, const package_t* needed_by) {
    if (numbers[package] != 0) return;
    requests.push_back({&packages[package], needed_by});
    numbers[package] = static_cast<std::uint32_t>(requests.size());
  };
  for (const list_position package : install) reach(package, nullptr);
  for (std::size_t next = 0; next < requests.size(); ++next) {
    const request_t request = requests[next];
    const auto& [found, unknown] = references.of(position_of(packages, *request.package));
    const bool passes_on = request.needed_by != nullptr && is_there(*request.package);
    for (const list_position package : found) {
      reach(package, passes_on ? request.needed_by : request.package);
    }
    missing.insert(missing.end(), unknown.begin(), unknown.end());
  }
  std::sort(missing.begin(), missing.end());
  missing.erase(std::unique(missing.begin(), missing.end()), missing.end());

  std::vector<request_t> in_order;
  in_order.reserve(requests.size());
  for (const std::uint32_t number : numbers) {
    if (number != 0) in_order.push_back(requests[number - 1]);
  }
  return in_order;
}

planner::planner(const pkgs_available_t& available, const pkgs_available_t& installed,
                 metadata_problem_sink installed_problem, metadata_problem_sink problem)
    : available_(available),
      installed_(installed),
      texts_(std::move(problem)),
      installed_texts_(std::move(installed_problem)),
      references_(available.packages(), texts_),
      installed_references_(installed.packages(), installed_texts_) {}

const referrer_index& planner::installed_referrers() const {
  if (!referrers_)
    referrers_ = std::make_unique<referrer_index>(installed_.packages(), installed_texts_);
  return *referrers_;
}

const package_t* planner::newest_level(const name_semver_t& identity) const {
  return find_line(installed_.packages(), identity);
}

const package_t* planner::standing_in(const package_t& available) const {
  const package_t* level = newest_level(available.identity);
  return level == nullptr || is_older(*level, available) ? nullptr : level;
}

std::optional<name_semver_t> planner::missing_reference(list_position available) const {
  is_fulfilled_.resize(available_.packages().size());
  std::vector<list_position> reached{available};
  std::unordered_set<list_position> seen{available};
  for (std::size_t next = 0; next < reached.size(); ++next) {
    if (is_fulfilled_[reached[next]]) continue;
    const auto& [found, unknown] = references_.of(reached[next]);
    if (!unknown.empty()) return unknown.front();
    for (const list_position package : found) {
      if (seen.insert(package).second) reached.push_back(package);
    }
  }
  for (const list_position package : reached) is_fulfilled_[package] = true;
  return std::nullopt;
}

// The making of one plan.
class planner::planning {
 public:
  planning(const planner& planner, const changes_t& changes)
      : planner_(planner), installed_(planner.installed_.packages()), changes_(changes) {}

  plan_t run() {
    plan_.requests = follow_references(
        planner_.references_, changes_.install,
        [this](const package_t& package) { return planner_.standing_in(package) != nullptr; },
        plan_.missing);
    // A level that a new one replaces stays until the new one is there. One that is referenced by
    // what comes with the new one can only go before that.
    std::unordered_set<const package_t*> left_to_install = replaced_levels();
    attempt(left_to_install);
    if (left_to_install.empty() || plan_.kept_levels.empty()) return std::move(plan_);
    for (const kept_package_t& kept : plan_.kept_levels) left_to_install.erase(kept.package);
    attempt(left_to_install);
    return std::move(plan_);
  }

 private:
  // Of what is to be removed, the levels that are older than a requested one of their line.
  [[nodiscard]] std::unordered_set<const package_t*> replaced_levels() const {
    std::unordered_set<const package_t*> levels;
    if (changes_.remove.empty()) return levels;
    for (const request_t& request : plan_.requests) {
      const package_t* level = planner_.newest_level(request.package->identity);
      if (level == nullptr || !is_older(*level, *request.package)) continue;
      if (std::binary_search(changes_.remove.begin(), changes_.remove.end(),
                             position_of(installed_, *level))) {
        levels.insert(level);
      }
    }
    return levels;
  }

  void attempt(const std::unordered_set<const package_t*>& left_to_install) {
    plan_uninstall(left_to_install);
    classify();
    find_conflicts();
    keep_levels();
    find_clashes();
    find_unlisted();
  }

  void plan_uninstall(const std::unordered_set<const package_t*>& left_to_install) {
    std::vector<const package_t*> removal;
    for (const list_position position : changes_.remove) {
      const package_t* package = &installed_[position];
      if (left_to_install.count(package) == 0) removal.push_back(package);
    }
    plan_.removed.clear();
    plan_.kept.clear();
    is_removed_.assign(removal.empty() ? 0 : installed_.size(), false);
    present_ = all_of(installed_);
    if (removal.empty()) return;

    removal_plan_t planned = plan_removal(present_, removal, planner_.installed_texts_);
    plan_.removed = std::move(planned.removed);
    plan_.kept = std::move(planned.kept);
    for (const package_t* package : plan_.removed) {
      is_removed_[position_of(installed_, *package)] = true;
    }
    std::erase_if(present_, [this](const package_t* package) {
      return is_removed_[position_of(installed_, *package)];
    });
  }

  // Compares the requests with what is installed of the same release line.
  void classify() {
    plan_.installs.clear();
    plan_.already.clear();
    plan_.replaced.clear();
    for (const request_t& request : plan_.requests) {
      const package_t* level = newest_present(request.package->identity);
      if (level != nullptr && !is_older(*level, *request.package)) {
        plan_.already.push_back(request.package);
        continue;
      }
      plan_.installs.push_back(request);
      if (level == nullptr) continue;
      if (plan_.replaced.empty() || plan_.replaced.back().old_level != level) {
        plan_.replaced.push_back({level, {}});
      }
      plan_.replaced.back().new_levels.push_back(request.package);
    }
  }

  // The newest patch level of the identity's line that the uninstall leaves.
  [[nodiscard]] const package_t* newest_present(const name_semver_t& identity) const {
    const package_t* level = planner_.newest_level(identity);
    if (level == nullptr || is_removed_.empty()) return level;
    const semver_t line{identity.version.major, identity.version.minor, kAnyPart};
    return find_present({identity.name, line});
  }

  // What find_best() would find among the installed packages after the uninstall.
  [[nodiscard]] const package_t* find_present(const name_semver_t& key) const {
    if (is_removed_.empty()) return find_best(installed_, key);
    const auto found = std::lower_bound(present_.begin(), present_.end(), key,
                                        [](const package_t* package, const name_semver_t& wanted) {
                                          return package->identity < wanted;
                                        });
    const bool fits = found != present_.end() && (*found)->identity.name == key.name &&
                      matches(key.version, (*found)->identity.version);
    return fits ? *found : nullptr;
  }

  // A request conflicts with an installed package of exactly the name, or with a request whose name
  // contains the conflicting one, without regard to case.
  void find_conflicts() {
    plan_.conflicts.clear();
    std::optional<identity_index> requested;
    for (const request_t& request : plan_.requests) {
      for (const std::string_view text : planner_.texts_.conflicts(*request.package)) {
        const name_semver_t conflict = parse_identity(text);
        if (const package_t* found = find_present(conflict)) {
          plan_.conflicts.push_back({request.package, found, text, true});
          break;
        }
        if (!requested) requested.emplace(requested_identities());
        if (const auto found = requested->find_any(conflict)) {
          plan_.conflicts.push_back({request.package, plan_.requests[*found].package, text, false});
          break;
        }
      }
    }
  }

  [[nodiscard]] std::vector<name_semver_t> requested_identities() const {
    std::vector<name_semver_t> requested;
    requested.reserve(plan_.requests.size());
    for (const request_t& request : plan_.requests) requested.push_back(request.package->identity);
    return requested;
  }

  // Finds out which of the replaced levels are still referenced when the new ones are installed.
  void keep_levels() {
    plan_.kept_levels.clear();
    if (plan_.replaced.empty()) return;
    std::vector<const package_t*> after = present_;
    const auto old_end = static_cast<std::ptrdiff_t>(after.size());
    for (const request_t& install : plan_.installs) after.push_back(install.package);
    std::inplace_merge(after.begin(), after.begin() + old_end, after.end(), package_before);

    std::vector<const package_t*> levels;
    level_successors new_levels;
    for (const replacement_t& replacement : plan_.replaced) {
      levels.push_back(replacement.old_level);
      for (const package_t* level : replacement.new_levels) {
        new_levels[replacement.old_level].push_back(level->identity.version);
      }
    }
    plan_.kept_levels = plan_removal(after, levels, planner_.installed_texts_, new_levels).kept;
  }

  // Two versions that share a folder must not differ in a member: the one that comes last would
  // change the other.
  void find_clashes() {
    std::set<const package_t*> leaving;
    for (const replacement_t& replacement : plan_.replaced) leaving.insert(replacement.old_level);
    for (const kept_package_t& kept : plan_.kept_levels) leaving.erase(kept.package);
    for (auto next = plan_.installs.begin(); next != plan_.installs.end();) {
      const std::string& name = next->package->identity.name;
      const auto end = std::find_if(next, plan_.installs.end(), [&name](const request_t& install) {
        return install.package->identity.name != name;
      });
      const std::vector<const package_t*> staying = staying_of(name, leaving);
      shared_folders folders;
      for (const package_t* package : staying) folders.add(*package);
      // One that has the name for itself shares its folder with nobody.
      if (staying.empty() && end - next == 1) next = end;
      for (; next != end; ++next) {
        const package_t* other = folders.add(*next->package);
        if (other == nullptr) continue;
        const bool is_installed = find_exact(installed_, other->identity) == other;
        plan_.conflicts.push_back({next->package, other, other->key, is_installed});
      }
    }
  }

  // The installed versions of a name that are neither removed nor among the leaving ones.
  [[nodiscard]] std::vector<const package_t*> staying_of(
      const std::string& name, const std::set<const package_t*>& leaving) const {
    std::vector<const package_t*> staying;
    auto version =
        std::lower_bound(installed_.begin(), installed_.end(), name_semver_t{name, kNoVersion},
                         [](const package_t& a, const name_semver_t& b) { return a.identity < b; });
    for (; version != installed_.end() && version->identity.name == name; ++version) {
      const bool is_removed =
          !is_removed_.empty() && is_removed_[position_of(installed_, *version)];
      if (!is_removed && !leaving.contains(&*version)) staying.push_back(&*version);
    }
    return staying;
  }

  void find_unlisted() {
    plan_.unlisted.clear();
    const auto check = [this](const package_t* package) {
      if (planner_.available_.find_entry(package->identity) == nullptr) {
        plan_.unlisted.push_back(package);
      }
    };
    for (const package_t* package : plan_.removed) check(package);
    std::unordered_set<const package_t*> staying;
    for (const kept_package_t& kept : plan_.kept_levels) staying.insert(kept.package);
    for (const replacement_t& replacement : plan_.replaced) {
      if (!staying.contains(replacement.old_level)) check(replacement.old_level);
    }
  }

  const planner& planner_;
  const package_map& installed_;
  const changes_t& changes_;
  std::vector<bool> is_removed_;           ///< by place in the installed list; empty: none is
  std::vector<const package_t*> present_;  ///< what the uninstall leaves, in package order
  plan_t plan_;
};

plan_t planner::plan(const changes_t& changes) const { return planning(*this, changes).run(); }

}  // namespace zendro::pkg
