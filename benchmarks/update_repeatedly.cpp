// Brings the list of one installation up to date, as a window does that stays open:
//   update_repeatedly BOOTSTRAP_URL FOLDER
// For each line of standard input one update, and then an empty line on standard output.
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>

#include "app/options/options.h"
#include "framework/system/files.h"
#include "pkg/cache.h"

int main(int argc, char* argv[]) {
  if (argc != 3) {
    std::cerr << "usage: update_repeatedly BOOTSTRAP_URL FOLDER\n";
    return 2;
  }
  using namespace zendro;
  const std::filesystem::path folder = argv[2];
  std::filesystem::create_directories(folder / "cache");
  boost::json::object options;
  options[app::option::install_root] = framework::path_to_utf8(folder / "packages");
  options[app::option::cache_root] = framework::path_to_utf8(folder / "cache");
  options[app::option::store_bootstrap_url] = argv[1];
  options[app::option::local_files] = false;
  pkg::pkg_cache_t cache("xsd", options);
  for (std::string line; std::getline(std::cin, line);) {
    if (!cache.update_store_information(true)) return EXIT_FAILURE;
    std::cout << std::endl;
  }
}
