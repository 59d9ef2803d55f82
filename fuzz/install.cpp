// Whole runs against a store in memory: the list, the filters one a line, and what goes wrong,
// each ended by a zero byte. A digest "*" of the list stands for the true one.
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/io/digest.h"
#include "framework/url/http_url.h"
#include "framework/url/url_io.h"
#include "pkg/active_types.h"
#include "pkg/cache.h"
#include "pkg/pkg_io.h"
#include "tests/memory_store.h"
#include "tests/zip_builder.h"

#include "fuzz/catalog_file.h"
#include "fuzz/input.h"
#include "fuzz/watched_folder.h"

namespace zendro::fuzz {
namespace {

namespace json = boost::json;

// The store answers a URL with the URL.
std::string bytes_of_member(std::string_view member) {
  return framework::resolve_url(tests::kStoreAddress, member);
}

// The list with true digests; the text as it is where it is no list.
std::string with_digests(std::string_view text) {
  framework::ParsedJson list = framework::parse_json(text);
  if (!list || !list->is_object()) return std::string(text);
  for (json::key_value_pair& package : list->get_object()) {
    json::value* files =
        package.value().is_object() ? package.value().get_object().if_contains("files") : nullptr;
    if (files == nullptr || !files->is_object()) continue;
    for (json::key_value_pair& file : files->get_object()) {
      if (file.value() != json::value("*")) continue;
      const std::string_view member(file.key().data(), file.key().size());
      file.value() = framework::to_hex(framework::sha256(bytes_of_member(member)));
    }
  }
  return json::serialize(*list);
}

std::string read_through(pkg::PkgIOCallback& opener, const std::string& url) {
  const auto stream = opener.create(url);
  require(stream && stream->open(url), "an installed member can be opened");
  const auto text = framework::read_all(*stream, 64, 1u << 20);
  require(text.has_value(), "and read");
  return *text;
}

// What stands in the list of installed packages is there, whole, also where versions of one package
// share a folder.
void check_installed(const WatchedFolder& folder, const pkg::pkgs_available_t& installed) {
  pkg::PkgIOCallback opener(std::make_shared<const json::object>(folder.options()));
  for (const pkg::package_t& package : installed.packages()) {
    const json::object* files = package.meta.files();
    if (files == nullptr) continue;
    for (const json::key_value_pair& file : *files) {
      const std::string member(file.key());
      const std::string url = "zendro://pkg/" + to_string(package.identity) + "/" + member;
      const std::string digest(framework::as_string(file.value()));
      if (member.find(framework::kZipSeparator) != std::string::npos) continue;
      require(framework::parse_sha256(digest) == framework::sha256(read_through(opener, url)),
              "an installed member has its digest");
    }
  }
  for (const char* name : {"catalog.xml", "namespace-mapping-catalog.xml", "remapping.xml"}) {
    read_catalog(folder.cache_file(name));
  }
}

class Run {
 public:
  Run(WatchedFolder& folder, tests::MemoryStore& store) : folder_(folder) {
    cache_.set_transport_factory([&store] { return store.make_transport(); });
  }

  void update_and_install(const std::vector<std::string>& filters) {
    cache_.update_store_information(true);
    const bool done = cache_.install(filters);
    folder_.check();
    const auto installed = cache_.load_installed();
    require(installed.has_value(), "the list of installed packages stays readable");
    if (done) check_installed(folder_, *installed);
  }

  void uninstall_all() {
    const auto installed = cache_.load_installed();
    std::vector<std::string> filters;
    for (const pkg::package_t& package : installed->packages()) {
      filters.push_back(to_string(package.identity));
    }
    if (filters.empty()) return;
    const bool done = cache_.uninstall(filters);
    folder_.check();
    const auto left = cache_.load_installed();
    require(left.has_value(), "the list of installed packages stays readable");
    require(!done || left->packages().empty(), "nothing is left of what was uninstalled");
  }

 private:
  WatchedFolder& folder_;
  pkg::pkg_cache_t cache_{"xsd", folder_.options()};
};

void run(std::string_view input) {
  static WatchedFolder folder;
  static tests::MemoryStore store;
  pkg::register_active_types(pkg::make_active_type_set({"xsd"}));
  const auto parts = split(input, '\0', 3);
  std::vector<std::string> filters;
  if (parts.size() > 1) {
    for (const std::string_view filter : split(parts[1], '\n', 8)) filters.emplace_back(filter);
  }
  std::string archive = tests::make_zip({{"pkgs-available.json", with_digests(parts[0])}});
  framework::HttpHeaders headers = {
      {"x-amz-meta-sha256", framework::to_hex(framework::sha256(archive))}};
  store.put("pkgs-available.json.zip", std::move(archive), std::move(headers));

  folder.reset();
  Run undisturbed(folder, store);
  undisturbed.update_and_install(filters);
  undisturbed.update_and_install(filters);
  const auto expected = folder.contents();
  undisturbed.uninstall_all();
  if (parts.size() < 3) return;

  folder.reset();
  Run disturbed(folder, store);
  store.set_faults(parts[2]);
  disturbed.update_and_install(filters);
  store.set_faults({});
  disturbed.update_and_install(filters);
  disturbed.update_and_install(filters);
  require(folder.contents() == expected, "after a fault the next run leads to the same state");
}

}  // namespace
}  // namespace zendro::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zendro::fuzz::run(zendro::fuzz::text_of(data, size));
  return 0;
}
