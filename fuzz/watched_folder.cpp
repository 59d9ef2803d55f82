#include "fuzz/watched_folder.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>

#include "app/options/options.h"
#include "tests/memory_store.h"

#include "fuzz/input.h"

namespace zendro::fuzz {
namespace {

namespace fs = std::filesystem;

using Contents = std::map<std::string, std::string>;

void add_contents(const fs::path& folder, const fs::path& base, Contents& out) {
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    std::string& text = out[entry.path().lexically_relative(base).generic_string()];
    if (entry.is_symlink()) {
      text = "-> " + fs::read_symlink(entry.path()).generic_string();
    } else if (entry.is_directory()) {
      add_contents(entry.path(), base, out);
    } else {
      text = read_bytes(entry.path());
    }
  }
}

Contents contents_of(const fs::path& folder) {
  Contents contents;
  add_contents(folder, folder, contents);
  return contents;
}

}  // namespace

void write_bytes(const fs::path& path, std::string_view bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

std::string read_bytes(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

WatchedFolder::WatchedFolder() {
  fs::create_directories(folder_ / "outside/sub");
  fs::create_directory(folder_ / "own");
  write_bytes(folder_ / "outside/file", "precious");
  write_bytes(folder_ / "outside/sub/file", "precious");
  setenv("ZENDRO_COMMON_APPDATA", (folder_ / "base").c_str(), 1);
  app::create_default_settings();
  options_ = {{app::option::store_bootstrap_url, std::string(tests::kStoreAddress) + "bootstrap"},
              {app::option::telemetry_url, std::string(tests::kStoreAddress) + "telemetry"}};
  app::set_type(options_, "xsd");
  outside_ = contents_of(folder_ / "outside");
  reset();
}

void WatchedFolder::reset() {
  fs::remove_all(root_);
  fs::create_directories(root_ / ".xsd_cache");
  fs::create_directories(root_ / ".cache");
  fs::create_directories(root_ / "xbrl/t-1.0.0");
  fs::create_directories(root_ / "xsd/h-1.0.0");
  write_bytes(root_ / ".cache/pkgs-installed.json", "{}");
  write_bytes(root_ / "xbrl/t-1.0.0/t.zip", "taxonomy");
  fs::create_directory_symlink(folder_ / "outside", root_ / "linked");
  fs::create_directory_symlink(folder_ / "outside", root_ / "xsd/link");
  fs::create_directory_symlink(folder_ / "outside/sub", root_ / "xsd/h-1.0.0/sub");
  fs::create_symlink(folder_ / "outside/file", root_ / "xsd/h-1.0.0/soft");
  fs::create_hard_link(folder_ / "outside/file", root_ / "xsd/h-1.0.0/hard");
}

void WatchedFolder::check() const {
  require(contents_of(folder_ / "outside") == outside_, "nothing outside has changed");
  std::set<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder_.path())) {
    names.insert(entry.path().filename());
  }
  require(names == std::set<std::string>{"base", "outside", "own"}, "nothing is new outside");
  require(contents_of(root_ / "xbrl") == Contents{{"t-1.0.0", ""}, {"t-1.0.0/t.zip", "taxonomy"}},
          "the packages of the other type have not changed");
  require(contents_of(root_ / ".cache") == Contents{{"pkgs-installed.json", "{}"}},
          "the cache of the other type has not changed");
  const std::set<std::string> own = {
      "pkgs-available.json", "pkgs-installed.json", "catalog.xml", "namespace-mapping-catalog.xml",
      "remapping.xml",       "operation.lock",      "local"};
  for (const fs::directory_entry& entry : fs::directory_iterator(root_ / ".xsd_cache")) {
    require(own.count(entry.path().filename()) == 1, "the cache has no files but its own");
  }
}

fs::path WatchedFolder::cache_file(const std::string& name) const {
  return root_ / ".xsd_cache" / name;
}

fs::path WatchedFolder::own_file(const std::string& name) const { return folder_ / "own" / name; }

Contents WatchedFolder::contents() const { return contents_of(root_); }

}  // namespace zendro::fuzz
