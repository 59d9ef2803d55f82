// The package core inside one process: each piece of work, and what bounds it.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <pugixml.hpp>
#include <simdjson.h>

#include "app/options/options.h"
#include "framework/io/digest.h"
#include "pkg/cache.h"
#include "pkg/catalogs.h"
#include "pkg/list_files.h"
#include "pkg/package_list.h"
#include "pkg/package_url.h"
#include "tests/temp_folder.h"

#include "benchmarks/generated_lists.h"

namespace zendro::benchmarks {
namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

void write_text(const std::filesystem::path& path, const std::string& text) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

std::string read_text(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Takes every report of an installation and has nothing to give.
class TelemetrySink : public framework::HttpTransport {
 public:
  framework::HttpAnswer get(const framework::HttpRequest&) override { std::abort(); }
  framework::PostResult post(const framework::HttpRequest&, std::string_view) override {
    return {};
  }
};

// A manager in a folder of its own, with these lists.
class Manager {
 public:
  Manager(const std::string& available, const std::string& installed, bool local_files = false) {
    options_[app::option::local_files] = local_files;
    options_[app::option::install_root] = (folder_ / "pkgs").string();
    options_[app::option::cache_root] = (folder_ / "cache").string();
    cache_ = std::make_unique<pkg::pkg_cache_t>("xsd", options_);
    cache_->set_transport_factory([] { return std::make_unique<TelemetrySink>(); });
    write_text(folder_ / "cache/pkgs-available.json", available);
    set_installed(installed);
  }

  void set_installed(const std::string& list) {
    write_text(folder_ / "cache/pkgs-installed.json", list);
  }
  [[nodiscard]] std::filesystem::path cache_file(const std::string& name) const {
    return folder_ / "cache" / name;
  }
  void make_member(const std::string& identity, const std::string& member) {
    write_text(folder_ / "pkgs/xsd" / identity / member, "");
  }
  void make_package_folder(const std::string& identity) {
    std::filesystem::create_directories(folder_ / "pkgs/xsd" / identity);
  }
  [[nodiscard]] pkg::pkg_cache_t& cache() { return *cache_; }
  [[nodiscard]] const json::object& options() const { return cache_->options(); }

 private:
  tests::TempFolder folder_;
  json::object options_;
  std::unique_ptr<pkg::pkg_cache_t> cache_;
};

// A list for all repetitions, which takes longer to make than to load.
template <std::string (*make)(int versions)>
const std::string& list_of(std::int64_t versions) {
  static std::map<std::int64_t, std::string> lists;
  std::string& list = lists[versions];
  if (list.empty()) list = make(static_cast<int>(versions));
  return list;
}
using ListOf = const std::string& (*)(std::int64_t versions);

// A program loads its list once, with memory that it has not touched before. Without this, lists
// that fit into what the heap keeps would be measured with memory from the round before.
void forget_freed_memory() { ::malloc_trim(0); }

void load_list(benchmark::State& state, ListOf list_of) {
  const std::string& text = list_of(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    std::string own = text;
    state.ResumeTiming();
    pkg::read_list_t list = pkg::parse_list(std::move(own));
    require(list.has_value());
    state.PauseTiming();
    list = tl::unexpected(std::string());
    forget_freed_memory();
    state.ResumeTiming();
  }
}

// The members that loading a list looks at: every name with the text of its object, and the build
// number.
void touch_list(benchmark::State& state, ListOf list_of) {
  const std::string& text = list_of(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    const simdjson::padded_string own(text);
    state.ResumeTiming();
    auto parser = std::make_unique<simdjson::ondemand::parser>();
    auto document = parser->iterate(own);
    std::vector<std::pair<std::string_view, std::string_view>> members;
    std::int64_t build_number = 0;
    for (auto field : document.get_object()) {
      const std::string_view name = field.unescaped_key();
      simdjson::ondemand::object object = field.value();
      if (name == "_META") {
        build_number = object["build_number"];
        object.reset();
      }
      members.emplace_back(name, object.raw_json());
    }
    require(build_number == 1 && members.size() == static_cast<std::size_t>(state.range(0)) + 1);
    state.PauseTiming();
    parser.reset();
    members = {};
    forget_freed_memory();
    state.ResumeTiming();
  }
}

// Both by the same names and sizes of lists.
[[maybe_unused]] const bool kListsAreMeasured = [] {
  const auto add = [](const std::string& name, auto* run) {
    benchmark::RegisterBenchmark((name + "/full").c_str(), run, list_of<store_list>)
        ->Arg(24'000)
        ->Arg(100'000)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((name + "/terse").c_str(), run, list_of<terse_list>)
        ->Arg(100'000)
        ->Arg(1'000'000)
        ->Unit(benchmark::kMillisecond);
  };
  add("load_list", load_list);
  add("touch_list", touch_list);
  return true;
}();

constexpr const char* kNothing = "{}";
constexpr int kCatalogPackages = 2'000;
constexpr int kCatalogEntries = 100;

// Calls `add` with every key and member path of the catalogs' entries.
template <typename Add>
void for_each_entry(int package, const Add& add) {
  for (int entry = 0; entry < kCatalogEntries; ++entry) {
    const std::string name = std::to_string(entry) + ".xsd";
    add("https://" + package_name(package) + ".example/schemas/" + name, "schemas.zip|zip/" + name);
  }
}

class CatalogManager {
 public:
  CatalogManager() : manager_(list(), list()), context_("xsd", manager_.options(), {}, lock_) {
    installed_ = pkg::load_installed(context_);
    require(installed_.has_value());
  }
  void write() { require(pkg::write_catalogs(context_, *installed_)); }
  [[nodiscard]] std::filesystem::path file(const std::string& name) const {
    return manager_.cache_file(name);
  }

 private:
  static std::string list() {
    return short_list(kCatalogPackages, false, [](int package, json::object& meta) {
      json::object catalogs;
      for_each_entry(
          package, [&](const std::string& key, const std::string& path) { catalogs[key] = path; });
      meta["catalogs"] = std::move(catalogs);
      return true;
    });
  }

  Manager manager_;
  std::mutex lock_;
  pkg::core_context context_;
  std::optional<pkg::pkgs_available_t> installed_;
};

void write_catalogs(benchmark::State& state) {
  CatalogManager manager;
  for (auto _ : state) manager.write();
}
BENCHMARK(write_catalogs)->Unit(benchmark::kMillisecond);

// Saves a catalog of these keys and targets.
using Entries = std::vector<std::pair<std::string, std::string>>;
void save_with_pugixml(const Entries& entries, bool keep_proxy, const std::string& path) {
  constexpr const char* kNamespace = "urn:oasis:names:tc:entity:xmlns:xml:catalog";
  pugi::xml_document document;
  pugi::xml_node declaration = document.append_child(pugi::node_declaration);
  declaration.append_attribute("version") = "1.0";
  declaration.append_attribute("encoding") = "UTF-8";
  pugi::xml_node root = document.append_child("catalog");
  root.append_attribute("xmlns") = kNamespace;
  root.append_attribute("xmlns:xsi") = "http://www.w3.org/2001/XMLSchema-instance";
  root.append_attribute("xsi:schemaLocation") = (std::string(kNamespace) + " Catalog.xsd").c_str();
  root.append_attribute("xmlns:kel") = "http://www.zendro.example/catalog_ext";
  if (keep_proxy) root.append_attribute("kel:keepProxy") = "true";
  for (const auto& [key, uri] : entries) {
    pugi::xml_node node = root.append_child("uri");
    node.append_attribute("name") = key.c_str();
    node.append_attribute("uri") = uri.c_str();
  }
  require(document.save_file(path.c_str(), "  "));
}

// The same files from texts that are ready and in order.
void save_with_pugixml(benchmark::State& state) {
  Entries entries;
  for (int package = 0; package < kCatalogPackages; ++package) {
    for_each_entry(package, [&](const std::string& key, const std::string& path) {
      entries.emplace_back(key, pkg::package_url({package_name(package), {1, 0, 0}}, path));
    });
  }
  std::sort(entries.begin(), entries.end());
  const tests::TempFolder folder;
  for (auto _ : state) {
    save_with_pugixml({}, true, folder / "namespace-mapping-catalog.xml");
    save_with_pugixml(entries, false, folder / "catalog.xml");
    save_with_pugixml({}, true, folder / "remapping.xml");
  }
  CatalogManager own;
  own.write();
  for (const char* name : {"namespace-mapping-catalog.xml", "catalog.xml", "remapping.xml"}) {
    require(read_text(own.file(name)) == read_text(folder / name));
  }
}
BENCHMARK(save_with_pugixml)->Unit(benchmark::kMillisecond);

// The files for other programs, of packages with one empty member and so many locations each.
void local_files(benchmark::State& state, int packages, int locations, bool is_made_anew) {
  const json::object files = {{"a.xsd", framework::to_hex(framework::sha256(""))}};
  json::object catalogs;
  for (int i = 0; i < locations; ++i) catalogs["http://a.example/" + std::to_string(i)] = "a.xsd";
  const std::string list = short_list(packages, false, [&](int, json::object& meta) {
    meta["files"] = files;
    meta["catalogs"] = catalogs;
    return true;
  });
  Manager manager(kNothing, list, true);
  for (int package = 0; package < packages; ++package) {
    manager.make_member(package_name(package) + "-1.0.0", "a.xsd");
  }
  std::mutex lock;
  pkg::core_context context("xsd", manager.options(), {}, lock);
  const std::optional<pkg::pkgs_available_t> installed = pkg::load_installed(context);
  require(installed && pkg::write_catalogs(context, *installed));
  const std::filesystem::path stamp =
      manager.cache_file("local/" + package_name(0) + "-1.0.0/stamp");
  for (auto _ : state) {
    state.PauseTiming();
    if (is_made_anew) require(std::filesystem::remove(stamp));
    state.ResumeTiming();
    require(pkg::write_catalogs(context, *installed));
  }
  require(std::filesystem::exists(stamp));
}
void local_files_at_rest(benchmark::State& state) { local_files(state, 1'000, 10, false); }
BENCHMARK(local_files_at_rest)->Unit(benchmark::kMillisecond);
void local_locations(benchmark::State& state) { local_files(state, 1, 100'000, true); }
BENCHMARK(local_locations)->Unit(benchmark::kMillisecond);

constexpr int kReferenced = 5'000;
// The references of package p0 reach 5,000 others, half of them through the other half. All of them
// have their member already; it is empty, so that of its verification only the hashing is left out.
std::unique_ptr<Manager> manager_with_references(int packages) {
  constexpr int kDirect = kReferenced / 2;
  constexpr const char* kMember = "schemas.zip";
  const int step = packages / kReferenced;
  const auto reached = [step](int number) { return package_name(number * step); };
  json::array direct;
  for (int number = 1; number <= kDirect; ++number) direct.emplace_back(reached(number));
  const json::object files = {{kMember, framework::to_hex(framework::sha256(""))}};
  const std::string list = short_list(packages, true, [&](int package, json::object& meta) {
    const bool refers = package % step == 0 && package / step <= kDirect;
    meta["files"] = files;
    if (package == 0) meta["references"] = direct;
    if (package != 0 && refers) meta["references"] = json::array{reached(package / step + kDirect)};
    return true;
  });
  auto manager = std::make_unique<Manager>(list, kNothing);
  for (int number = 0; number <= kReferenced; ++number) {
    manager->make_member(reached(number) + "-2.0.0", kMember);
  }
  return manager;
}

void install_with_references(benchmark::State& state) {
  // For all repetitions: it takes longer to make than to use.
  static std::map<std::int64_t, std::unique_ptr<Manager>> managers;
  std::unique_ptr<Manager>& manager = managers[state.range(0)];
  if (!manager) manager = manager_with_references(static_cast<int>(state.range(0)) / 3);
  for (auto _ : state) {
    require(manager->cache().install({"p0"}));
    state.PauseTiming();
    require(manager->cache().load_installed()->packages().size() == kReferenced + 1);
    manager->set_installed(kNothing);
    state.ResumeTiming();
  }
}
BENCHMARK(install_with_references)->Arg(50'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

constexpr int kReferencesOfEach = 10;

// Removes every tenth of the installed packages; each references ten others.
void uninstall_tenth(benchmark::State& state) {
  const int packages = static_cast<int>(state.range(0));
  const auto is_removed = [](int package) { return package % 10 == 0; };
  std::vector<std::string> removed;
  const std::string list = short_list(packages, false, [&](int package, json::object& meta) {
    if (is_removed(package)) removed.push_back(package_name(package));
    json::array references;
    for (int i = 1; i <= kReferencesOfEach; ++i) {
      // What stays needs nothing of what goes, so that all of it can go.
      int other = (package + i * 7919) % packages;
      if (!is_removed(package) && is_removed(other)) ++other;
      references.emplace_back(package_name(other));
    }
    meta["references"] = std::move(references);
    return true;
  });
  Manager manager(list, list);
  const auto make_folders = [&] {
    for (const std::string& name : removed) manager.make_package_folder(name + "-1.0.0");
  };
  make_folders();
  for (auto _ : state) {
    require(manager.cache().uninstall(removed));
    state.PauseTiming();
    manager.set_installed(list);
    make_folders();
    state.ResumeTiming();
  }
}
BENCHMARK(uninstall_tenth)->Arg(10'000)->Arg(20'000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zendro::benchmarks
