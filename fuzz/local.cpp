// The files for other programs: an archive of any bytes is unpacked inside its folder or left out,
// and the next run changes nothing.
#include <filesystem>
#include <map>
#include <mutex>
#include <string>

#include "framework/io/digest.h"
#include "pkg/catalogs.h"

#include "fuzz/catalog_file.h"
#include "fuzz/input.h"
#include "fuzz/watched_folder.h"

namespace zendro::fuzz {
namespace {

namespace fs = std::filesystem;
namespace json = boost::json;

using Contents = std::map<std::string, std::string>;

// What stands in the way when the folder is made.
void plant(const fs::path& local, const fs::path& outside, std::size_t kind) {
  fs::create_directories(local);
  if (kind == 1) fs::create_directory_symlink(outside, local / "a-1.0.0");
  if (kind == 2) fs::create_directory_symlink(outside, local / "zips");
  if (kind == 3) fs::create_symlink(outside / "file", local / "catalog.xml");
  if (kind == 4) fs::create_hard_link(outside / "file", local / "prefixes.xml");
}

Contents local_of(const WatchedFolder& folder) {
  Contents local = folder.contents();
  std::erase_if(local,
                [](const auto& entry) { return !entry.first.starts_with(".xsd_cache/local/"); });
  return local;
}

void run(std::string_view input) {
  constexpr std::size_t kPlants = 5;
  static WatchedFolder folder;
  folder.reset();
  const fs::path root = folder.cache_file("x").parent_path().parent_path();
  fs::create_directories(root / "xsd/a-1.0.0");
  write_bytes(root / "xsd/a-1.0.0/a.zip", input);
  const json::object package = {
      {"_type", "xsd"},
      {"_pkg_installdir", "a-1.0.0"},
      {"files", {{"a.zip", framework::to_hex(framework::sha256(input))}}},
      {"catalogs", {{"http://a/x", "a.zip|zip/x.xsd"}, {"http://a/", "a.zip|zip/"}}}};
  write_bytes(folder.cache_file("pkgs-installed.json"),
              json::serialize(json::object{{"a-1.0.0", package}}));
  plant(folder.cache_file("local"), fs::canonical(root / "linked"), input.size() % kPlants);

  int left_out = 0;
  pkg::outlets_t outlets;
  outlets.messages = [&left_out](const msg::Message& message) {
    require(message.severity == msg::Severity::warning, "a failure is a warning");
    ++left_out;
  };
  std::mutex lock;
  pkg::core_context context("xsd", folder.options(), outlets, lock);
  require(update_catalogs(context), "the outcome does not depend on it");
  folder.check();
  const Contents made = local_of(folder);
  for (const auto& [path, unused] : made) {
    require(!fs::is_symlink(root / path), "there is no link");
  }
  if (left_out == 0) read_catalog(root / ".xsd_cache/local/a-1.0.0/catalog.xml");
  require(made.contains(".xsd_cache/local/a-1.0.0/stamp") == (left_out == 0),
          "a package is there, or a warning");
  require(left_out <= 1, "a package is named once");
  left_out = 0;
  require(update_catalogs(context), "the outcome does not depend on it");
  require(local_of(folder) == made, "the next run changes nothing");
}

}  // namespace
}  // namespace zendro::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zendro::fuzz::run(zendro::fuzz::text_of(data, size));
  return 0;
}
