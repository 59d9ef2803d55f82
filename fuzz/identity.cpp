// Identities, one a line: writing and reading again, the laws of their order, and finding them.
#include <algorithm>
#include <string>
#include <vector>

#include "framework/text/ascii.h"
#include "pkg/identity_index.h"
#include "pkg/package_list.h"

#include "fuzz/input.h"

namespace zendro::fuzz {
namespace {

using pkg::name_semver_t;

void check_round_trip(const name_semver_t& identity) {
  require(pkg::parse_identity(pkg::to_string(identity)) == identity, "parse(to_string(x)) == x");
  require(pkg::matches(identity.version, identity.version), "a version matches itself");
  require(pkg::matches(pkg::kNoVersion, identity.version), "no version matches every version");
}

void check_order(const std::vector<name_semver_t>& all) {
  for (const name_semver_t& a : all) {
    for (const name_semver_t& b : all) {
      require((a < b) + (b < a) + (a == b) == 1, "one of a < b, b < a, a == b");
      for (const name_semver_t& c : all) require(!(a < b && b < c) || a < c, "a < b < c: a < c");
    }
  }
}

void check_search(const pkg::package_map& packages, const name_semver_t& key) {
  const auto find_if = [&packages](const auto& fits) -> const pkg::package_t* {
    const auto found = std::find_if(packages.begin(), packages.end(), fits);
    return found == packages.end() ? nullptr : &*found;
  };
  const pkg::package_t* expected =
      find_if([&](const pkg::package_t& package) { return package.identity == key; });
  require(pkg::find_exact(packages, key) == expected, "find_exact finds what is there");
  if (expected == nullptr) {
    expected = find_if([&](const pkg::package_t& package) {
      return package.identity.name == key.name &&
             pkg::matches(key.version, package.identity.version);
    });
  }
  require(pkg::find_best(packages, key) == expected, "find_best finds the newest that matches");
}

// `is_taken` says what the index has given before.
void check_index(pkg::identity_index& index, const std::vector<name_semver_t>& all,
                 const name_semver_t& key, std::vector<bool>& is_taken) {
  std::vector<std::size_t> expected;
  bool is_there = false;
  for (std::size_t i = 0; i < all.size(); ++i) {
    const bool in_name =
        framework::ascii_lower(all[i].name).find(framework::ascii_lower(key.name)) !=
        std::string::npos;
    if (!in_name || !pkg::matches(key.version, all[i].version)) continue;
    is_there = true;
    if (!is_taken[i]) expected.push_back(i);
    is_taken[i] = true;
  }
  require(index.find_any(key).has_value() == is_there,
          "the index finds what a search of all finds");
  require(index.take(key) == expected, "each is given once");
}

void run(std::string_view input) {
  constexpr std::size_t most = 40;
  std::vector<name_semver_t> all;
  for (const std::string_view line : split(input, '\n', most)) {
    if (line.find('\0') != std::string_view::npos) continue;  // no name of a list holds it
    all.push_back(pkg::parse_identity(line));
    check_round_trip(all.back());
  }
  check_order(all);

  std::vector<name_semver_t> sorted = all;
  std::sort(sorted.begin(), sorted.end());
  sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
  const auto document = *framework::LazyDocument::parse("{}");
  const framework::LazyObject& none = document->object(document->root());
  pkg::package_map packages;
  for (const name_semver_t& identity : sorted) {
    packages.push_back({identity, {}, pkg::meta_t(none)});
  }
  pkg::identity_index index(all);
  std::vector<bool> is_taken(all.size());
  // The index answers its later queries in another way.
  for (int round = 0; round < 3; ++round) {
    for (const name_semver_t& key : all) check_index(index, all, key, is_taken);
  }
  for (name_semver_t key : all) {
    for (std::uint16_t pkg::semver_t::*part :
         {&pkg::semver_t::patch, &pkg::semver_t::minor, &pkg::semver_t::major}) {
      check_search(packages, key);
      key.version.*part = pkg::kAnyPart;
    }
    check_search(packages, key);
  }
}

}  // namespace
}  // namespace zendro::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zendro::fuzz::run(zendro::fuzz::text_of(data, size));
  return 0;
}
