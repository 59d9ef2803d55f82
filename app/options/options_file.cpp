#include "app/options/options_file.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>

#include "app/options/options.h"
#include "framework/system/files.h"

namespace zendro::app {
namespace {

constexpr std::string_view kFileName = "options.json";
constexpr std::uint64_t kFileLimit = 1 << 20;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

constexpr std::array kTextOptions = {option::type,
                                     option::cache_root,
                                     option::install_root,
                                     option::installer,
                                     option::pkgs_available_name,
                                     option::pkgs_installed_name,
                                     option::store_bootstrap_url,
                                     option::store_public_key,
                                     option::telemetry_url};
constexpr std::array kBoolOptions = {option::log_remote_io, option::keep_references,
                                     option::telemetry, option::io_verify};

template <typename Options>
bool contains(const Options& options, std::string_view key) {
  return std::find(options.begin(), options.end(), key) != options.end();
}

// Throws JsonError for a value that the option cannot have.
void check_value(std::string_view key, const json::value& value) {
  if (contains(kTextOptions, key)) framework::as_string(value);
  if (contains(kBoolOptions, key)) framework::to_bool(value);
  if (key == option::member_size_limit) to_size_limit(value);
}

tl::expected<json::object, std::string> options_of(const json::value& document) {
  std::string_view where;
  try {
    json::object options;
    for (const auto& member : framework::as_map(document)) {
      where = member.key();
      if (!where.starts_with("pkg.")) continue;
      check_value(where, member.value());
      options.emplace(member.key(), member.value());
    }
    return options;
  } catch (const framework::JsonError& problem) {
    return tl::unexpected(where.empty() ? problem.what()
                                        : std::string(where) + ": " + problem.what());
  }
}

}  // namespace

std::string options_file_path() {
  const std::string folder = base_folder();
  return folder.empty() ? std::string() : folder + std::string(kFileName);
}

tl::expected<json::object, std::string> read_options_file(std::string_view path) {
  const std::filesystem::path file = framework::path_from_utf8(path);
  if (path.empty() || framework::is_missing(file)) return json::object();

  const framework::Result<std::string> text = framework::read_file(file, kFileLimit);
  if (!text) return tl::unexpected(text.error().text);
  // Editors on Windows begin a file with a byte order mark.
  std::string_view json_text = *text;
  if (json_text.starts_with(kByteOrderMark)) json_text.remove_prefix(kByteOrderMark.size());
  return framework::parse_json(json_text).and_then(options_of);
}

}  // namespace zendro::app
