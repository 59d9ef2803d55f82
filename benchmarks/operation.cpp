// One operation of the package core in a process of its own:
//   operation load FOLDER                        reads both lists
//   operation install FOLDER STORE_URL NAME...   installs packages, without the files for other
//                                                programs
//   operation unpack FOLDER NAME                 makes these of what is installed, NAME among it
// FOLDER holds the packages in pkgs/ and the lists in cache/. Prints the seconds that the operation
// took and the bytes of memory that it needed at most beyond what the process had before.
#include <chrono>
#include <fstream>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

#include "app/options/options.h"
#include "framework/text/utf8.h"
#include "pkg/cache.h"

namespace zendro::benchmarks {
namespace {

namespace json = boost::json;
using std::chrono::steady_clock;

// A line of /proc/self/status ("VmRSS:", "VmHWM:"), in bytes.
std::int64_t status_bytes(const std::string& wanted) {
  std::ifstream status("/proc/self/status");
  std::string word;
  std::int64_t kib = 0;
  while (status >> word) {
    if (word == wanted) status >> kib;
  }
  return kib * 1024;
}

pkg::pkg_cache_t make_cache(const std::string& folder, const std::string& store_url,
                            bool local_files) {
  json::object options;
  options[app::option::install_root] = folder + "/pkgs";
  options[app::option::cache_root] = folder + "/cache";
  options[app::option::store_bootstrap_url] = store_url + "bootstrap";
  options[app::option::telemetry_url] = store_url + "telemetry";
  options[app::option::local_files] = local_files;
  return {"xsd", options};
}

bool measure(const std::function<bool()>& operation) {
  const std::int64_t idle = status_bytes("VmRSS:");
  const auto begin = steady_clock::now();
  const bool done = operation();
  const std::chrono::duration<double> took = steady_clock::now() - begin;
  std::cout << took.count() << ' ' << status_bytes("VmHWM:") - idle << '\n';
  return done;
}

bool run(const std::vector<std::string>& arguments) {
  const std::string& action = arguments[0];
  const bool unpacks = action == "unpack";
  pkg::pkg_cache_t cache =
      make_cache(arguments[1], arguments.size() > 2 && !unpacks ? arguments[2] : "", unpacks);
  cache.set_message_sink(
      [](const msg::Message& message) { std::cerr << framework::to_utf8(message.text()) << '\n'; });
  if (action == "load") {
    return measure([&] { return cache.load_available() && cache.load_installed(); });
  }
  const std::vector<std::string> names(arguments.begin() + (unpacks ? 2 : 3), arguments.end());
  return measure([&] { return cache.install(names); });
}

}  // namespace
}  // namespace zendro::benchmarks

int main(int argc, char* argv[]) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  const bool is_load = arguments.size() == 2 && arguments[0] == "load";
  const bool is_install = arguments.size() > 3 && arguments[0] == "install";
  const bool is_unpack = arguments.size() == 3 && arguments[0] == "unpack";
  if (!is_load && !is_install && !is_unpack) {
    std::cerr << "usage: operation load FOLDER\n"
                 "       operation install FOLDER STORE_URL NAME...\n"
                 "       operation unpack FOLDER NAME\n";
    return 2;
  }
  return zendro::benchmarks::run(arguments) ? 0 : 1;
}
