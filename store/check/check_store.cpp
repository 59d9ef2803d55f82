#include "store/check/check_store.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <tuple>
#include <vector>

#include "framework/io/digest.h"
#include "framework/system/guarded.h"
#include "pkg/plan.h"

#include "store/check/contents_cache.h"
#include "store/check/dtd_check.h"
#include "store/check/link_check.h"
#include "store/check/list_check.h"
#include "store/check/schema_check.h"
#include "store/check/store_names.h"
#include "store/check/target_check.h"
#include "store/parallel.h"

namespace zendro::store {
namespace {

using pkg::package_t;
using PackageList = std::vector<const package_t*>;

void append(Findings& all, Findings more) {
  std::move(more.begin(), more.end(), std::back_inserter(all));
}

/// The packages that stand in the catalogs where one is installed: it and all that it needs.
class Companies {
 public:
  explicit Companies(const pkg::pkgs_available_t& list)
      : list_(list), texts_(pkg::pass_over_metadata), references_(list.packages(), texts_) {}

  [[nodiscard]] PackageList of(const package_t& package) const {
    PackageList company = {&package};
    std::vector<pkg::list_position> needed;
    for (const std::string_view text : texts_.references(package)) {
      if (const package_t* found = find_best(list_.packages(), pkg::parse_identity(text))) {
        needed.push_back(position_of(list_.packages(), *found));
      }
    }
    std::sort(needed.begin(), needed.end());
    needed.erase(std::unique(needed.begin(), needed.end()), needed.end());
    std::vector<pkg::name_semver_t> missing;
    const auto never = [](const package_t&) { return false; };
    for (const auto& request : follow_references(references_, needed, never, missing)) {
      if (request.package != &package) company.push_back(request.package);
    }
    return company;
  }

 private:
  const pkg::pkgs_available_t& list_;
  pkg::metadata_texts texts_;
  pkg::reference_table references_;
};

struct PackageCheck {
  Findings findings;
  std::size_t documents = 0;
  /// What is behind the names that other packages claim, too.
  std::map<std::pair<StoreNames::Kind, std::string>, framework::Sha256Digest> contested;
};

class StoreChecker {
 public:
  StoreChecker(const LoadedStore& store, const std::stop_token& stop)
      : store_(store), stop_(stop), names_(store.list), cache_(store) {
    const Companies companies(store.list);
    for (const auto* packages : {&store.list.packages(), &store.list.deprecated()}) {
      for (const package_t& package : *packages) work_.push_back(companies.of(package));
    }
    checks_.resize(work_.size());
  }

  StoreCheck run() {
    StoreCheck result;
    result.packages = work_.size();
    for_each_in_parallel(work_.size(), [this](std::size_t each) {
      if (stop_.stop_requested()) return;
      framework::guarded(
          [&] { checks_[each] = check(work_[each]); },
          [&](const std::string& failure) {
            checks_[each].findings.push_back({Severity::error,
                                              to_string(work_[each].front()->identity),
                                              {},
                                              0,
                                              "cannot be checked: " + failure,
                                              {}});
          });
    });
    append(result.findings, check_entries(store_));
    append(result.findings, check_relations(store_));
    for (PackageCheck& check : checks_) {
      result.documents += check.documents;
      append(result.findings, std::move(check.findings));
    }
    append(result.findings, check_claims());
    put_in_order(result.findings);
    return result;
  }

 private:
  PackageCheck check(const PackageList& company) {
    std::vector<std::shared_ptr<const PackageContents>> contents;
    contents.reserve(company.size());
    for (const package_t* package : company) contents.push_back(cache_.get(*package));
    const Resolver resolver(std::move(contents));
    const PackageContents& own = resolver.own();
    PackageCheck result;
    result.findings = own.findings;
    result.documents =
        own.documents.size() + static_cast<std::size_t>(std::count_if(
                                   own.files.begin(), own.files.end(),
                                   [](const auto& file) { return file.first.ends_with(".dtd"); }));
    // What is missing there would be said again of whatever leads to it.
    if (own.findings.empty()) {
      append(result.findings, check_targets(resolver, *company.front(), store_.entry_file));
      const FindSupplier find_supplier = [this](std::string_view name) {
        return names_.supplier_of(name);
      };
      LinkCheck links = check_links(resolver, store_.builtin, find_supplier);
      append(result.findings, check_schemas(resolver, links));
      append(result.findings, std::move(links.findings));
      append(result.findings, check_dtds(resolver, store_.builtin, find_supplier));
    }
    note_contested(own, result);
    return result;
  }

  void note_contested(const PackageContents& own, PackageCheck& result) const {
    const auto note = [&](StoreNames::Kind kind, const NameMap& names) {
      for (const auto& [name, path] : names) {
        if (names_.contested(kind, name) == nullptr) continue;
        const auto file = own.find_file(path);
        // A folder stands for all that is in it.
        const std::string_view bytes = file == own.files.end() ? own.identity : file->second;
        result.contested[{kind, name}] = framework::sha256(bytes);
      }
    };
    note(StoreNames::Kind::location, own.locations);
    note(StoreNames::Kind::name_space, own.namespaces);
    note(StoreNames::Kind::public_id, own.public_ids);
    for (const auto& [from, to] : own.mappings) {
      if (names_.contested(StoreNames::Kind::mapping, from) == nullptr) continue;
      result.contested[{StoreNames::Kind::mapping, from}] = framework::sha256(to);
    }
  }

  Findings check_claims() {
    Findings findings;
    const pkg::pkgs_available_t nothing;
    const pkg::planner planner(store_.list, nothing, pkg::pass_over_metadata,
                               pkg::pass_over_metadata);
    const auto are_in_conflict = [&](const package_t& a, const package_t& b) {
      std::vector<pkg::list_position> both = {position_of(store_.list.packages(), a),
                                              position_of(store_.list.packages(), b)};
      std::sort(both.begin(), both.end());
      return !planner.plan({{}, std::move(both)}).conflicts.empty();
    };
    names_.for_each_contested(
        [&](StoreNames::Kind kind, std::string_view name, const PackageList& claimants) {
          const package_t& first = *claimants.front();
          const package_t* other = &first;
          for (const package_t* next : claimants) {
            if (next->identity.name == other->identity.name) continue;
            other = next;
            const auto* one_digest = contested(first, kind, name);
            const auto* other_digest = contested(*next, kind, name);
            if (one_digest == nullptr || other_digest == nullptr || *one_digest == *other_digest ||
                are_in_conflict(first, *next)) {
              continue;
            }
            add_claim(findings, kind, name, *next, first);
          }
        });
    return findings;
  }

  [[nodiscard]] const framework::Sha256Digest* contested(const package_t& package,
                                                         StoreNames::Kind kind,
                                                         std::string_view name) const {
    const auto& all = checks_[position_of(store_.list.packages(), package)].contested;
    const auto found = all.find({kind, std::string(name)});
    return found == all.end() ? nullptr : &found->second;
  }

  void add_claim(Findings& findings, StoreNames::Kind kind, std::string_view name,
                 const package_t& package, const package_t& first) const {
    const std::string quoted = "\"" + std::string(name) + "\"";
    // Where both are installed, tools find the document of the one that comes first.
    const bool is_namespace = kind == StoreNames::Kind::name_space;
    findings.push_back({is_namespace ? Severity::warning : Severity::error,
                        to_string(package.identity), store_.entry_file, 0,
                        quoted + " leads to another document than in " + to_string(first.identity),
                        "let one package have it and the other one reference that, or have them in "
                        "\"conflicting_pkgs\""});
  }

  void put_in_order(Findings& findings) const {
    std::map<std::string_view, std::size_t> places;
    for (std::size_t at = 0; at < work_.size(); ++at) {
      places.try_emplace(work_[at].front()->key, at + 1);
    }
    const auto place = [&places](const Finding& finding) {
      const auto found = places.find(finding.package);
      return found == places.end() ? 0 : found->second;
    };
    std::stable_sort(findings.begin(), findings.end(), [&](const Finding& a, const Finding& b) {
      return std::tuple(place(a), a.severity) < std::tuple(place(b), b.severity);
    });
    findings.erase(std::unique(findings.begin(), findings.end()), findings.end());
  }

  const LoadedStore& store_;
  const std::stop_token& stop_;
  StoreNames names_;
  ContentsCache cache_;
  std::vector<PackageList> work_;  ///< each package with its company; deprecated ones last
  std::vector<PackageCheck> checks_;
};

}  // namespace

StoreCheck check_store(const LoadedStore& store, const std::stop_token& stop) {
  return StoreChecker(store, stop).run();
}

}  // namespace zendro::store
