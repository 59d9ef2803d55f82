#include "store/check/target_check.h"

#include <algorithm>
#include <vector>

#include "pkg/local/mappings.h"

namespace zendro::store {
namespace {

class TargetChecker {
 public:
  TargetChecker(const Resolver& resolver, const pkg::package_t& package,
                const std::string& entry_file)
      : entry_file_(entry_file), resolver_(resolver), own_(resolver.own()), package_(package) {}

  Findings run() {
    check_paths("catalogs", own_.locations);
    check_paths("namespace_catalog", own_.namespaces);
    check_paths("namespace_catalog", own_.public_ids);
    check_mappings();
    check_entry_points();
    return std::move(findings_);
  }

 private:
  void check_paths(const char* member, const NameMap& names) {
    for (const auto& [name, path] : names) {
      const bool is_folder = path.ends_with('/');
      if (is_folder ? own_.has_folder(path) : own_.find_file(path) != own_.files.end()) {
        if (is_folder == name.ends_with('/') || !is_folder) continue;
      }
      const std::string file(shown_path(path));
      report(
          "\"" + name + "\" of \"" + member + "\" leads to nothing: there is no \"" + file + "\"",
          "write the path of a file of the package, or of a folder with \"/\" at the end of both");
    }
  }

  void check_mappings() {
    std::vector<pkg::local::mapping_t> mappings;
    for (const auto& [from, to] : own_.mappings) mappings.push_back({from, to});
    const auto joined = pkg::local::join_mappings(mappings);
    for (const auto& mapping : own_.mappings) {
      const std::string& from = mapping.first;
      const std::string& to = mapping.second;
      const bool has_end = std::any_of(joined.begin(), joined.end(),
                                       [&](const auto& one) { return one.from == from; });
      if (!has_end) {
        report("the mapping of \"" + from + "\" leads in a circle", "map it to a location");
      } else if (!resolver_.has_location_below(to)) {
        report("the mapping of \"" + from + "\" leads to \"" + to + "\", below which nothing is",
               "map it to the beginning of locations in \"catalogs\"");
      }
    }
  }

  void check_entry_points() {
    try {
      const auto* points = package_.meta.map().values().if_contains("entrypoints");
      if (points == nullptr) return;
      for (const auto& point : framework::as_array(*points)) {
        const std::string href(framework::as_string(framework::as_map(point).at("href")));
        if (!resolver_.find_uri(href)) {
          report("the entry point \"" + href + "\" leads to nothing",
                 "write a location that \"catalogs\" has a file for");
        }
      }
    } catch (const std::exception& problem) {
      report(std::string("\"entrypoints\" is not as it has to be: ") + problem.what(),
             R"(write [{"name": "...", "href": "..."}])");
    }
  }

  void report(std::string what, std::string advice) {
    findings_.push_back(
        {Severity::error, own_.identity, entry_file_, 0, std::move(what), std::move(advice)});
  }

  const std::string& entry_file_;
  const Resolver& resolver_;
  const PackageContents& own_;
  const pkg::package_t& package_;
  Findings findings_;
};

}  // namespace

Findings check_targets(const Resolver& resolver, const pkg::package_t& package,
                       const std::string& entry_file) {
  return TargetChecker(resolver, package, entry_file).run();
}

}  // namespace zendro::store
