// A store that is to be checked: its list, and a way to its members.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "framework/io/io.h"
#include "pkg/package_list.h"

#include "store/scan/builtin.h"

namespace zendro::store {

/// Reads the bytes of a member. May be called from several threads at once.
using ReadMember =
    std::function<framework::Result<std::shared_ptr<const std::string>>(std::string_view path)>;

struct LoadedStore {
  std::string type;  ///< the word of its package type
  std::string url;   ///< where it is served; empty where that is not known
  pkg::pkgs_available_t list;
  ReadMember read_member;
  BuiltinNames builtin;
  /// Where people find the entry of a package.
  std::string entry_file = "pkgs-available.json";
};

}  // namespace zendro::store
