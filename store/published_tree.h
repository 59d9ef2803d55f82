// What a published tree holds: its list, and the digests of the members that the list names.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

#include "framework/io/io.h"
#include "framework/text/json.h"

namespace zendro::store {

namespace json = framework::json;

inline constexpr const char* kListName = "pkgs-available.json";
inline constexpr const char* kArchiveName = "pkgs-available.json.zip";

struct PublishedList {
  std::string text;       ///< of the list document
  json::object packages;  ///< without "_META"; "_DEPRECATED" included
  std::int64_t build_number = 0;
  json::array builtin;                         ///< what the makers know every tool to bring along
  std::map<std::string, std::string> members;  ///< path to digest, in lower case
};

/// Reads the list of a tree.
framework::Result<PublishedList> read_published_list(const std::filesystem::path& tree);

/// The bytes of a list document: one package a line. `builtin` as in PublishedList.
std::string list_text(std::int64_t build_number, const json::array& builtin,
                      const json::object& packages);

}  // namespace zendro::store
