// Runs one operation of the package core without a window, for the campaigns of faults:
//   fault_operation OPTIONS update | install FILTER... | uninstall FILTER...
// OPTIONS is a file with the option set, whose "pkg.type" names the type. Messages go to the output
// once the operation has ended, one a line, as severity, identifier and text with tabs between
// them. Exit status: 0 the operation succeeded, 1 it failed, 2 it could not be asked for.
#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include "app/options/options.h"
#include "framework/system/files.h"
#include "framework/text/json.h"
#include "framework/text/utf8.h"
#include "pkg/active_types.h"
#include "pkg/cache.h"

namespace zendro::faults {

namespace {

namespace json = framework::json;

constexpr std::uint64_t kLargestOptions = 1 << 20;

std::string line_of(const msg::Message& message) {
  const char* severity = message.severity == msg::Severity::warning ? "warning" : "error";
  std::string line = std::string(severity) + "\t" + framework::to_utf8(message.identifier()) +
                     "\t" + framework::to_utf8(message.text());
  std::replace(line.begin(), line.end(), '\n', ' ');
  return line + "\n";
}

json::object read_options(const char* path) {
  const auto text = framework::read_file(framework::path_from_utf8(path), kLargestOptions);
  if (!text) throw framework::JsonError(text.error().text);
  const auto options = framework::parse_json(*text);
  if (!options) throw framework::JsonError(options.error());
  return framework::as_map(*options);
}

int run(const json::object& options, const std::string& name,
        const std::vector<std::string>& filters) {
  const std::string type(framework::as_string(app::get_type(&options)));
  pkg::register_active_types(pkg::make_active_type_set({type}));
  pkg::pkg_cache_t cache(type, options);
  std::string lines;
  cache.set_message_sink([&lines](const msg::Message& message) { lines += line_of(message); });
  bool succeeded = false;
  if (name == "update") {
    succeeded = cache.update_store_information(true);
  } else if (name == "install") {
    succeeded = cache.install(filters);
  } else if (name == "uninstall") {
    succeeded = cache.uninstall(filters);
  } else {
    std::cerr << "fault_operation: unknown: " << name << '\n';
    return 2;
  }
  std::cout << lines;
  return succeeded ? 0 : 1;
}

}  // namespace

}  // namespace zendro::faults

int main(int argc, char* argv[]) {
  if (argc < 3) {
    std::cerr
        << "usage: fault_operation OPTIONS update | install FILTER... | uninstall FILTER...\n";
    return 2;
  }
  try {
    return zendro::faults::run(zendro::faults::read_options(argv[1]), argv[2],
                               {argv + 3, argv + argc});
  } catch (const std::exception& failure) {
    std::cerr << "fault_operation: " << failure.what() << '\n';
    return 2;
  }
}
