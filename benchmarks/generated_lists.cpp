#include "benchmarks/generated_lists.h"

#include <algorithm>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

namespace zendro::benchmarks {
namespace {

constexpr std::uint32_t kSeed = 20'000'101;
constexpr const char* kVersions[] = {"2.0.0", "1.1.0", "1.0.0"};
constexpr int kCatalogEntries = 4;
constexpr int kMostReferences = 4;

// Numbers and texts without meaning.
class RandomSource {
 public:
  // The distributions of the standard library differ between systems.
  int below(int bound) { return static_cast<int>(engine_() % static_cast<std::uint32_t>(bound)); }
  std::string text(int letters, const char* alphabet, int size) {
    std::string text;
    for (int i = 0; i < letters; ++i) text += alphabet[below(size)];
    return text;
  }
  std::string word() { return text(3 + below(8), "abcdefghijklmnopqrstuvwxyz", 26); }
  std::string words(int count) {
    std::string words = word();
    for (int i = 1; i < count; ++i) words += ' ' + word();
    return words;
  }
  std::string digest() { return text(64, "0123456789abcdef", 16); }

 private:
  std::mt19937 engine_{kSeed};
};

// The order of lists: names are compared by bytes.
std::vector<int> in_order(int packages) {
  std::vector<std::pair<std::string, int>> names;
  for (int package = 0; package < packages; ++package) {
    names.emplace_back(package_name(package), package);
  }
  std::sort(names.begin(), names.end());
  std::vector<int> order;
  for (const auto& name : names) order.push_back(name.second);
  return order;
}

json::object store_meta(const std::string& name, const std::string& identity, int packages,
                        RandomSource& random) {
  const std::string member = "xsd/" + identity + "/schemas.zip";
  json::object catalogs;
  json::object namespaces;
  json::object mappings;
  for (int entry = 0; entry < kCatalogEntries; ++entry) {
    const std::string word = random.word();
    const std::string place = "https://" + name + ".example/schemas/" + identity + "/";
    const std::string path = member + "|zip/" + word + ".xsd";
    catalogs[place + word + ".xsd"] = path;
    namespaces[place + word] = path;
  }
  mappings["http://old." + name + ".example/"] = "https://" + name + ".example/schemas/";
  json::array references;
  for (int left = random.below(kMostReferences + 1); left > 0; --left) {
    references.emplace_back(package_name(random.below(packages)));
  }
  return {{"_name", name},
          {"_type", "xsd"},
          {"_pkg_installdir", identity},
          {"title", random.words(4)},
          {"description", random.words(60)},
          {"homepage", "https://" + name + ".example/"},
          {"publisher", random.words(2)},
          {"files", {{member, random.digest()}}},
          {"references", std::move(references)},
          {"catalogs", std::move(catalogs)},
          {"namespace_catalog", std::move(namespaces)},
          {"uri_mappings", std::move(mappings)}};
}

void append_version(std::string& list, const std::string& identity, const json::object& meta) {
  list += ",\n\"" + identity + "\":" + json::serialize(meta);
}

}  // namespace

std::string package_name(int package) { return "p" + std::to_string(package); }

std::string store_list(int versions) {
  RandomSource random;
  const int packages = (versions + 2) / 3;
  std::string list = "{\n\"_META\":{\"build_number\":1}";
  int left = versions;
  for (const int package : in_order(packages)) {
    for (const char* version : kVersions) {
      if (left-- <= 0) break;
      const std::string name = package_name(package);
      const std::string identity = name + "-" + version;
      append_version(list, identity, store_meta(name, identity, packages, random));
    }
  }
  return list + "\n}\n";
}

std::string terse_list(int versions) {
  return short_list(versions, false, [](int, json::object&) { return true; });
}

std::string short_list(int packages, bool all_versions,
                       const std::function<bool(int package, json::object& meta)>& describe) {
  std::string list = "{\n\"_META\":{\"build_number\":1}";
  for (const int package : in_order(packages)) {
    const std::string name = package_name(package);
    json::object more;
    if (!describe(package, more)) continue;
    for (const char* version : kVersions) {
      if (!all_versions && version != std::string_view("1.0.0")) continue;
      const std::string identity = name + "-" + version;
      json::object meta = {{"_name", name},
                           {"_type", "xsd"},
                           {"_pkg_installdir", identity},
                           {"title", "A title of " + identity},
                           {"publisher", "Publisher"},
                           {"description",
                            "What is in it is told in a sentence that is about as long as such "
                            "sentences are."}};
      for (const json::key_value_pair& member : more) meta[member.key()] = member.value();
      append_version(list, identity, meta);
    }
  }
  return list + "\n}\n";
}

}  // namespace zendro::benchmarks
