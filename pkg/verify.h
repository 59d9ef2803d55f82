// Proving that what is installed is whole.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "pkg/core_context.h"
#include "pkg/package_list.h"

namespace zendro::pkg {

enum class member_state {
  damaged,     ///< other bytes than the digest stands for, or no digest to prove them by
  missing,     ///< there is no such file
  unreadable,  ///< `cause` tells why
  foreign,     ///< a file or folder that belongs to no installed package
};

/// A member that is not as it should be.
struct member_finding_t {
  name_semver_t package;  ///< of a foreign file: the one in whose folder it lies
  std::string member;     ///< as the metadata names it; of a foreign file its name
  std::string path;
  member_state state;
  std::string cause = {};
};

struct verification_t {
  std::uint64_t packages = 0;
  std::uint64_t members = 0;               ///< that were looked at
  std::vector<member_finding_t> findings;  ///< in package order
  bool is_repaired = false;                ///< all but foreign files, since it was found
};

/// Whether anything but foreign files was found.
bool is_damaged(const verification_t& verification);

/// Reads every member of these packages of the installed list on all processors and compares it
/// with its digest. Changes nothing. What cannot be read is a finding, no failure; nothing when the
/// operation was stopped.
std::optional<verification_t> verify(core_context& context, const pkgs_available_t& installed,
                                     const std::vector<const package_t*>& packages);

/// Fetches anew what is damaged or missing of the packages with findings. Foreign files stay. False
/// after a reported failure.
bool repair(core_context& context, const pkgs_available_t& installed,
            const verification_t& verification);

}  // namespace zendro::pkg
