// Package-list documents: read, written and read again; packages of one added to another.
#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "pkg/list_files.h"
#include "pkg/merged_view.h"

#include "fuzz/input.h"

namespace zendro::fuzz {
namespace {

using pkg::package_map;
using pkg::pkgs_available_t;

bool same_packages(const package_map& a, const package_map& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const auto& left, const auto& right) {
                      return left.identity == right.identity && left.key == right.key &&
                             left.meta.map().values() == right.meta.map().values();
                    });
}

// The list that is read from what a list writes.
pkgs_available_t rewritten(const pkgs_available_t& list) {
  const std::string text = list.serialise();
  auto again = pkg::parse_list(text);
  require(again.has_value(), "what is written can be read");
  require(again->serialise() == text, "what is read again is written the same");
  require(same_packages(list.packages(), again->packages()), "the packages stay");
  require(same_packages(list.deprecated(), again->deprecated()), "the deprecated packages stay");
  require(list.build_number() == again->build_number(), "the build number stays");
  return std::move(*again);
}

void check_sorted(const package_map& packages) {
  for (std::size_t i = 1; i < packages.size(); ++i) {
    require(packages[i - 1].identity < packages[i].identity, "sorted, each identity once");
  }
}

// Each reader of metadata gives an answer or says that it cannot.
void read_metadata_of(const pkgs_available_t& list) {
  for (const pkg::package_t& package : list.packages()) {
    try {
      const pkg::meta_t& meta = package.meta;
      const auto references = meta.references();
      require(std::is_sorted(references.begin(), references.end()), "references are sorted");
      (void)meta.conflicting_pkgs();
      (void)meta.publisher();
      (void)meta.files();
      (void)meta.catalogs();
      (void)meta.namespace_catalog();
      (void)meta.uri_mappings();
      (void)meta.pkg_installdir();
    } catch (const framework::JsonError&) {
    }
  }
}

// What is read out of the text of metadata is what its values hold.
void check_texts(const pkgs_available_t& list) {
  for (const pkg::package_t& package : list.packages()) {
    const framework::LazyObject& map = package.meta.map();
    for (const char* name : {"_name", "title", "description"}) {
      const auto read = [&]() -> std::optional<std::string> {
        try {
          return std::string(map.string(name));
        } catch (const framework::JsonError&) {
          return std::nullopt;
        }
      };
      const std::optional<std::string> text = read();
      const framework::ParsedJson values = framework::parse_json(map.text());
      require(values.has_value(), "metadata is parsed");
      const framework::json::value* value = values->as_object().if_contains(name);
      if (value == nullptr) {
        require(text == "", "what is missing is empty");
      } else {
        require(text.has_value() == value->is_string(), "only strings are texts");
        require(!text || *text == std::string_view(value->get_string()), "with their characters");
      }
    }
  }
}

void check_add_and_remove(pkgs_available_t list, const pkgs_available_t& other) {
  std::set<pkg::name_semver_t> expected;
  std::vector<pkg::name_semver_t> gone;
  std::vector<const pkg::package_t*> added;
  for (const pkg::package_t& package : list.packages()) expected.insert(package.identity);
  for (const pkg::package_t& package : other.packages()) {
    added.push_back(&package);
    expected.insert(package.identity);
    gone.push_back(package.identity);
  }
  list.add(added, other);
  check_sorted(list.packages());
  require(list.packages().size() == expected.size(), "all are there, none twice");
  list = rewritten(list);
  list.remove(gone);
  for (const pkg::name_semver_t& identity : gone) {
    require(find_exact(list.packages(), identity) == nullptr, "what is removed is gone");
  }
  rewritten(list);
}

void run(std::string_view input) {
  const std::vector<std::string_view> texts = split(input, '\0', 2);
  auto list = pkg::parse_list(std::string(texts[0]));
  require(list || !list.error().empty(), "what cannot be read has a cause");
  if (!list) return;
  check_sorted(list->packages());
  check_sorted(list->deprecated());
  for (const pkg::package_t& package : list->packages()) {
    require(pkg::is_version_key(package.key), "only full identities are packages");
  }
  check_texts(*list);
  rewritten(*list);
  read_metadata_of(*list);
  auto other = pkg::parse_list(std::string(texts.size() == 2 ? texts[1] : "{}"));
  if (!other) return;
  check_add_and_remove(*list, *other);
  const pkg::merged_view_t view(std::move(*list), std::move(*other));
  for (std::size_t i = 1; i < view.versions.size(); ++i) {
    require(view.versions[i - 1].identity < view.versions[i].identity, "a view has one row each");
  }
}

}  // namespace
}  // namespace zendro::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zendro::fuzz::run(zendro::fuzz::text_of(data, size));
  return 0;
}
