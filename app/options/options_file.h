// The options file: settings of a machine or a firm that the user does not give on every start.
#pragma once

#include <string>
#include <string_view>

#include <tl/expected.hpp>

#include "framework/text/json.h"

namespace zendro::app {

namespace json = boost::json;

/// "options.json" in the maker's folder; empty where that folder is not known.
std::string options_file_path();

/// Reads the "pkg." members of an options file, a JSON map; other members are ignored. A file that
/// does not exist has none. It fails when the file cannot be read, is no such map, or holds a value
/// of the wrong type for an option that the program knows.
tl::expected<json::object, std::string> read_options_file(std::string_view path);

}  // namespace zendro::app
