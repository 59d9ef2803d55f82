// JSON files that people edit: read with their lines, so that what is wrong can be named.
#pragma once

#include <filesystem>
#include <initializer_list>
#include <string>
#include <string_view>

#include "framework/io/io.h"
#include "framework/text/json.h"

namespace zendro::store {

namespace json = framework::json;

struct JsonFile {
  std::filesystem::path path;
  std::string text;  ///< as it was read
  json::object values;

  /// "<path>:<line>" of the member that the keys lead to from the outside in, or of the last one of
  /// them that is there.
  [[nodiscard]] std::string place(std::initializer_list<std::string_view> keys = {}) const;
};

/// Reads a file that holds one JSON object. An error names the line.
framework::Result<JsonFile> read_json_file(const std::filesystem::path& path);

/// JSON as people like to edit it: a member a line, indented by two blanks.
std::string readable_json(const json::value& value);

}  // namespace zendro::store
