// Package files: the description, then names and bytes of members, each ended by a zero byte.
#include <map>
#include <optional>
#include <set>
#include <string>

#include "framework/io/digest.h"
#include "pkg/active_types.h"
#include "pkg/cache.h"
#include "tests/memory_store.h"
#include "tests/zip_builder.h"

#include "fuzz/input.h"
#include "fuzz/watched_folder.h"

namespace zendro::fuzz {
namespace {

namespace json = boost::json;

std::string archive_of(std::string_view input) {
  constexpr std::size_t most = 33;
  const auto parts = split(input, '\0', most);
  std::vector<tests::ZipEntry> entries = {{"ZENDROPKG-INF/pkg-meta.json", std::string(parts[0])}};
  for (std::size_t i = 2; i < parts.size(); i += 2) {
    entries.push_back({std::string(parts[i - 1]), std::string(parts[i])});
  }
  return tests::make_zip(entries);
}

using Contents = std::map<std::string, std::string>;

// What a file has brought to the folders of packages has a digest that its packages give.
void check_brought(const Contents& before, const Contents& after, const pkg::package_map& list) {
  std::set<std::optional<framework::Sha256Digest>> digests;
  for (const pkg::package_t& package : list) {
    const json::object* files = package.meta.files();
    if (files == nullptr) continue;
    for (const json::key_value_pair& file : *files) {
      digests.insert(framework::parse_sha256(framework::as_string(file.value())));
    }
  }
  for (const auto& [path, bytes] : after) {
    if (bytes.empty() || path.starts_with('.') || before.contains(path)) continue;
    require(digests.contains(framework::sha256(bytes)), "a member that was brought is proved");
  }
}

void run(std::string_view input) {
  static WatchedFolder folder;
  static tests::MemoryStore store;
  pkg::register_active_types(pkg::make_active_type_set({"xsd"}));
  folder.reset();
  write_bytes(folder.cache_file("pkgs-available.json"), "{}");
  const std::string path = folder.own_file("x.zendro_xmlschemas").string();
  write_bytes(path, archive_of(input));

  pkg::pkg_cache_t cache("xsd", folder.options());
  cache.set_transport_factory([] { return store.make_transport(); });
  const Contents before = folder.contents();
  const auto provided = cache.read_package_file(path);
  folder.check();
  const auto available = cache.load_available();
  require(available.has_value(), "the list of available packages stays readable");
  if (!provided) {
    require(available->packages().empty(), "a file that cannot be read leaves no trace");
    return;
  }
  check_brought(before, folder.contents(), available->packages());
  const bool is_installed = cache.install({path});
  folder.check();
  const auto installed = cache.load_installed();
  require(installed.has_value(), "the list of installed packages stays readable");
  require(!is_installed || !installed->packages().empty(), "what was installed is listed");
  if (is_installed) cache.uninstall({path});
  folder.check();
}

}  // namespace
}  // namespace zendro::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zendro::fuzz::run(zendro::fuzz::text_of(data, size));
  return 0;
}
