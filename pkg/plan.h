// What an operation will do, and why, found out from the lists without touching anything.
//
// The operations take their steps from it, the window its ticks and its summary: what is said
// beforehand is what is done.
#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "pkg/referrers.h"
#include "pkg/removal_plan.h"

namespace zendro::pkg {

/// What is wanted: an uninstall, and then an install.
struct changes_t {
  std::vector<list_position> remove;   ///< places in the installed list, ascending
  std::vector<list_position> install;  ///< places in the available list, ascending
};

/// A version that an install asks for, itself or for the sake of another one.
struct request_t {
  const package_t* package;
  /// The version that is to be installed and references it, perhaps through others that are
  /// installed already; null: it was asked for.
  const package_t* needed_by;
};

/// An installed patch level for which newer ones of its line come.
struct replacement_t {
  const package_t* old_level;
  std::vector<const package_t*> new_levels;  ///< the newest first
};

/// A request that cannot be installed together with another package: its metadata says so, or both
/// are of one name and would have one folder, but not the same bytes there under one name.
struct conflict_t {
  const package_t* package;
  const package_t* other;  ///< installed, or requested as well
  std::string_view text;   ///< the conflict as the package's metadata writes it, or the other one
  bool is_installed;       ///< whether `other` is
};

struct plan_t {
  // The uninstall, in package order.
  std::vector<const package_t*> removed;
  std::set<name_semver_t> unasked;  ///< of the removed: gone along, as references of what was asked
  std::vector<kept_package_t> kept;  ///< wanted gone, but a package that stays references it
  /// Of what is removed or replaced: what the available list does not know.
  std::vector<const package_t*> unlisted;

  // The install, in package order.
  std::vector<request_t> requests;          ///< all that the install asks for
  std::vector<request_t> installs;          ///< those that are to be installed
  std::vector<const package_t*> already;    ///< those that an installed level stands for
  std::vector<replacement_t> replaced;      ///< patch levels that go for new ones
  std::vector<kept_package_t> kept_levels;  ///< old levels that stay beside the new ones
  std::vector<name_semver_t> missing;       ///< references that nothing fulfils
  std::vector<conflict_t> conflicts;        ///< the first one of its kind of each request
};

/// Which packages parts of a plan are about.
std::set<name_semver_t> identities_of(const std::vector<const package_t*>& packages);
std::set<name_semver_t> identities_of(const std::vector<request_t>& requests);
std::set<name_semver_t> identities_of(const std::vector<replacement_t>& replaced);

/// Makes plans for one pair of lists. Remembers what it has found out about them, so that plans for
/// small changes are cheap. Used by one thread.
class planner {
 public:
  /// The lists outlive the planner. Installed packages whose metadata has a member of the wrong
  /// type go to `installed_problem`, available ones to `problem`; without that they throw.
  planner(const pkgs_available_t& available, const pkgs_available_t& installed,
          metadata_problem_sink installed_problem, metadata_problem_sink problem = {});
  planner(const planner&) = delete;
  planner& operator=(const planner&) = delete;

  /// What an uninstall of exactly `remove`, followed by an install of `install`, comes to. A wanted
  /// removal of a patch level that a new level replaces is left to the install.
  [[nodiscard]] plan_t plan(const changes_t& changes) const;

  /// The versions and texts that a version of the available list references directly.
  [[nodiscard]] const reference_table::references_t& references(list_position available) const {
    return references_.of(available);
  }
  /// The same for an installed one, within the installed list.
  [[nodiscard]] const reference_table::references_t& installed_references(
      list_position installed) const {
    return installed_references_.of(installed);
  }
  /// Finds the installed packages that keep an installed one from being removed.
  [[nodiscard]] const referrer_index& installed_referrers() const;
  /// The installed patch level that an install takes for this available version: the newest of its
  /// line, unless that is older.
  [[nodiscard]] const package_t* standing_in(const package_t& available) const;
  /// The newest installed patch level of the version's line.
  [[nodiscard]] const package_t* newest_level(const name_semver_t& identity) const;
  /// A reference of the version, or of what it references, that nothing fulfils.
  [[nodiscard]] std::optional<name_semver_t> missing_reference(list_position available) const;

 private:
  class planning;

  const pkgs_available_t& available_;
  const pkgs_available_t& installed_;
  metadata_texts texts_;
  metadata_texts installed_texts_;
  reference_table references_;
  reference_table installed_references_;
  mutable std::unique_ptr<referrer_index> referrers_;
  mutable std::vector<bool> is_fulfilled_;  ///< by place in the available list: known to be
};

/// The requests that an install of these versions comes to, in package order, each with a request
/// that references it. One for which `is_there` holds is no reason for others: what it references
/// is needed by whoever needs it. References that nothing fulfils go to `missing`, sorted.
std::vector<request_t> follow_references(const reference_table& references,
                                         const std::vector<list_position>& install,
                                         const std::function<bool(const package_t&)>& is_there,
                                         std::vector<name_semver_t>& missing);

}  // namespace zendro::pkg
