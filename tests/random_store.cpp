#include "tests/random_store.h"

#include <algorithm>

#include "framework/io/digest.h"

namespace zendro::tests {
namespace {

namespace json = boost::json;

constexpr std::size_t kFewestVersions = 4;
constexpr std::size_t kMostVersions = 16;

// Each is within another one, or stands alone.
const std::vector<std::string> kNames = {"app", "lib", "lib-x", "wms", "ogc-wms", "Base", "base-z"};

json::object meta_of(const std::string& identity, std::string_view address) {
  const std::string member = "xsd/" + identity + ".xsd";
  const std::string bytes = std::string(address) + member;
  return {{"_name", identity.substr(0, identity.rfind('-'))},
          {"_type", "xsd"},
          {"_pkg_installdir", identity},
          {"files", {{member, framework::to_hex(framework::sha256(bytes))}}},
          {"catalogs", {{"http://schemas.example/" + identity + ".xsd", member}}}};
}

}  // namespace

RandomStore::RandomStore(Dice& dice) : dice_(dice) {
  const std::size_t count = kFewestVersions + dice_.below(kMostVersions - kFewestVersions);
  for (std::size_t i = 0; i < count; ++i) publish();
}

void RandomStore::change() {
  ++build_number_;
  for (std::size_t i = dice_.below(4); i > 0; --i) publish();
  for (Version& version : versions_) {
    if (dice_.one_in(12)) version.deprecated = !version.deprecated;
    if (dice_.one_in(10)) version.references = some_filters(3);
  }
  std::erase_if(versions_, [this](const Version&) { return dice_.one_in(10); });
}

std::string RandomStore::document(std::string_view address) const {
  json::object document = {{"_META", {{"build_number", build_number_}}}};
  json::object deprecated;
  for (const Version& version : versions_) {
    json::object meta = meta_of(version.identity, address);
    meta["references"] = json::array(version.references.begin(), version.references.end());
    meta["conflicting_pkgs"] = json::array(version.conflicts.begin(), version.conflicts.end());
    (version.deprecated ? deprecated : document)[version.identity] = std::move(meta);
  }
  document["_DEPRECATED"] = std::move(deprecated);
  return json::serialize(document);
}

std::string RandomStore::any_filter() {
  // Mostly of what there is, so that most references can be fulfilled.
  std::string text =
      versions_.empty() || dice_.one_in(8) ? any_identity() : dice_.pick(versions_).identity;
  for (std::size_t parts = dice_.below(4); parts > 0; --parts) {
    if (text.find_last_of(".-") < text.find_last_not_of("0123456789.-")) break;
    text.resize(text.find_last_of(".-"));
  }
  return text;
}

std::string RandomStore::any_identity() {
  // A filter meets another package where the names lie within each other and the versions agree.
  if (!versions_.empty() && dice_.one_in(2)) {
    const std::string& other = dice_.pick(versions_).identity;
    return dice_.pick(kNames) + other.substr(other.rfind('-'));
  }
  return dice_.pick(kNames) + "-" + std::to_string(1 + dice_.below(2)) + "." +
         std::to_string(dice_.below(2)) + "." + std::to_string(dice_.below(3));
}

std::vector<std::string> RandomStore::some_filters(std::size_t most) {
  std::vector<std::string> filters(dice_.below(most + 1));
  for (std::string& filter : filters) filter = any_filter();
  return filters;
}

void RandomStore::publish() {
  Version version{any_identity(), some_filters(3), {}, dice_.one_in(12)};
  if (dice_.one_in(10)) version.conflicts = some_filters(1);
  std::erase_if(versions_, [&](const Version& old) { return old.identity == version.identity; });
  versions_.push_back(std::move(version));
}

}  // namespace zendro::tests
