// "store.json", which describes a store as a whole.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>

#include "framework/io/io.h"

#include "store/json_file.h"

namespace zendro::store {

inline constexpr const char* kSettingsName = "store.json";

struct Settings {
  std::string type;               ///< "xsd" or "xbrl"
  std::string member;             ///< file name of the archive that each package consists of
  std::string url;                ///< where the tree is served; ends with "/", or is empty
  std::int64_t build_number = 0;  ///< of the last build
  std::string built;              ///< digest of the packages of the last build
  /// Members that were published once and stand in the list no more, with their digests.
  std::map<std::string, std::string> retired;
  json::array builtin;  ///< what every tool brings along in addition to the usual, see BuiltinNames
  json::object others;  ///< members that are not known here
};

/// The usual settings of a type.
Settings default_settings(const std::string& type);

/// Whether a store can be served there: http or https, with a slash at its end.
bool is_store_url(std::string_view url);

/// Reads the settings of a store. Errors name the line and what to write instead.
framework::Result<Settings> read_settings(const std::filesystem::path& store);
framework::Result<void> write_settings(const Settings& settings,
                                       const std::filesystem::path& store);

}  // namespace zendro::store
