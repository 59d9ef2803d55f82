#include <algorithm>
#include <vector>

#include "pkg/plan.h"

#include "store/check/list_check.h"

namespace zendro::store {
namespace {

using pkg::list_position;
using pkg::package_t;

class RelationChecker {
 public:
  explicit RelationChecker(const LoadedStore& store)
      : entry_file_(store.entry_file),
        list_(store.list),
        planner_(store.list, nothing_, pkg::pass_over_metadata, pkg::pass_over_metadata),
        states_(store.list.packages().size(), State::unseen) {}

  Findings run() {
    for (list_position at = 0; at < packages().size(); ++at) check(at);
    for (list_position at = 0; at < packages().size(); ++at) find_circles(at);
    for (const package_t& package : list_.deprecated()) check_texts(package, Severity::warning);
    return std::move(findings_);
  }

 private:
  enum class State : unsigned char { unseen, open, done };

  [[nodiscard]] const pkg::package_map& packages() const { return list_.packages(); }

  void check(list_position at) {
    const package_t& package = packages()[at];
    check_texts(package, Severity::error);
    // What neither needs nor refuses anything stands for itself.
    if (texts_.references(package).empty() && texts_.conflicts(package).empty()) return;
    const pkg::plan_t plan = planner_.plan({{}, {at}});
    for (const pkg::conflict_t& conflict : plan.conflicts) add_conflict(package, conflict);
  }

  void add_conflict(const package_t& package, const pkg::conflict_t& conflict) {
    const std::string one = to_string(conflict.package->identity);
    const std::string other = to_string(conflict.other->identity);
    if (conflict.package == conflict.other) {
      return add(Severity::error, package,
                 "is in conflict with " +
                     (conflict.package == &package ? "itself" : one + ", which it needs") + ": \"" +
                     std::string(conflict.text) + "\" of \"conflicting_pkgs\" of " + one,
                 "name the versions that it conflicts with, as in name-1.2");
    }
    add(Severity::error, package,
        "cannot be installed: with it come " + one + " and " + other + ", which are in conflict",
        "change the references, or \"" + std::string(conflict.text) +
            "\" in \"conflicting_pkgs\" of " + one);
  }

  void check_texts(const package_t& package, Severity severity) {
    for (const std::string_view text : texts_.references(package)) {
      const pkg::name_semver_t key = pkg::parse_identity(text);
      if (pkg::find_best(packages(), key) != nullptr) continue;
      const bool is_deprecated = pkg::find_best(list_.deprecated(), key) != nullptr;
      add(severity, package,
          "nothing matches the reference \"" + std::string(text) + "\"" +
              (is_deprecated ? " but deprecated versions" : ""),
          advice_for(key));
    }
    for (const std::string_view text : texts_.conflicts(package)) {
      const pkg::name_semver_t key = pkg::parse_identity(text);
      if (pkg::find_best(packages(), key) == nullptr &&
          pkg::find_best(list_.deprecated(), key) == nullptr) {
        add(Severity::warning, package,
            "nothing matches the conflict \"" + std::string(text) + "\"", advice_for(key));
      }
    }
  }

  [[nodiscard]] std::string advice_for(const pkg::name_semver_t& key) const {
    if (const package_t* newest = pkg::find_best(packages(), {key.name, pkg::kNoVersion})) {
      return "the newest version of that name is " + to_string(newest->identity);
    }
    return "add the package to the store, or take the text out";
  }

  /// Walks along references, depth first, without a stack of calls.
  void find_circles(list_position start) {
    if (states_[start] != State::unseen) return;
    struct Step {
      list_position package;
      std::size_t next = 0;
    };
    std::vector<Step> way = {{start}};
    states_[start] = State::open;
    while (!way.empty()) {
      Step& step = way.back();
      const auto& found = planner_.references(step.package).found;
      if (step.next == found.size()) {
        states_[step.package] = State::done;
        way.pop_back();
        continue;
      }
      const list_position next = found[step.next++];
      if (states_[next] == State::open) {
        std::string circle;
        auto at = std::find_if(way.begin(), way.end(),
                               [next](const Step& one) { return one.package == next; });
        for (; at != way.end(); ++at) circle += to_string(packages()[at->package].identity) + ", ";
        add(Severity::error, packages()[next],
            next == step.package
                ? "references itself"
                : "references lead in a circle: " + circle + to_string(packages()[next].identity),
            next == step.package ? "take the reference out"
                                 : "take one of these references out, or make one package of them");
      } else if (states_[next] == State::unseen) {
        states_[next] = State::open;
        way.push_back({next});
      }
    }
  }

  void add(Severity severity, const package_t& package, std::string what, std::string advice) {
    findings_.push_back(
        {severity, std::string(package.key), entry_file_, 0, std::move(what), std::move(advice)});
  }

  const std::string& entry_file_;
  const pkg::pkgs_available_t& list_;
  const pkg::pkgs_available_t nothing_;
  pkg::metadata_texts texts_{pkg::pass_over_metadata};
  pkg::planner planner_;
  std::vector<State> states_;
  Findings findings_;
};

}  // namespace

Findings check_relations(const LoadedStore& store) { return RelationChecker(store).run(); }

}  // namespace zendro::store
