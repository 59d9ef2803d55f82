#include <filesystem>
#include <map>
#include <mutex>
#include <string>

#include "app/options/options.h"
#include "app/options/package_types.h"
#include "framework/io/digest.h"
#include "framework/system/files.h"
#include "framework/text/ascii.h"
#include "framework/url/http_url.h"
#include "pkg/catalogs.h"
#include "pkg/core_context.h"
#include "pkg/package_folder.h"
#include "pkg/percent_encoding.h"
#include "pkg/shared_folders.h"

#include "store/check/list_check.h"

namespace zendro::store {
namespace {

/// A client of the type, as it comes: of it only names are asked, nothing is opened.
struct Client {
  explicit Client(const std::string& type) : options(options_of(type)) {}

  static pkg::json::object options_of(const std::string& type) {
    pkg::json::object options;
    app::set_type(options, type);
    // An absolute path on any system.
    const std::filesystem::path base = std::filesystem::current_path().root_path();
    const std::string root = framework::path_to_utf8(base / "zendro" / "");
    options[app::option::install_root] = root;
    options[app::option::cache_root] =
        root + std::string(app::package_type(type).cache_folder) + "/";
    return options;
  }

  pkg::json::object options;
  std::mutex lock;
};

class EntryChecker {
 public:
  explicit EntryChecker(const LoadedStore& store)
      : store_(store),
        client_(store.type),
        context_(store.type, client_.options, {}, client_.lock) {}

  Findings run() {
    check_list();
    for (const pkg::package_t& package : store_.list.packages()) check(package);
    for (const pkg::package_t& package : store_.list.deprecated()) {
      check(package);
      if (pkg::find_exact(store_.list.packages(), package.identity) != nullptr) {
        warn("stands among the deprecated versions and among the others",
             "take it out of \"_DEPRECATED\", or out of the rest of the list");
      }
    }
    return std::move(findings_);
  }

 private:
  void check_list() {
    for (const std::string_view key : store_.list.refused()) {
      identity_ = key.substr(0, pkg::kLongestKey);
      error("the key is no identity, so that clients leave the entry out",
            "write a name, a hyphen and three numbers, as in name-1.2.0");
    }
    identity_.clear();
    if (!store_.list.build_number()) {
      error("there is no build number, so that an older list may replace a newer one",
            R"(write "_META": {"build_number": 1}, and a higher number each time)");
    }
  }

  void check(const pkg::package_t& package) {
    identity_ = package.key;
    try {
      package.meta.check();
      pkg::check_catalog_entries(package);
      check_names(package);
      check_folder(package);
      check_members(package);
    } catch (const framework::JsonError& problem) {
      std::string cause = problem.what();
      if (cause.starts_with(identity_ + ": ")) cause.erase(0, identity_.size() + 2);
      error("its metadata has a member of the wrong type: " + cause,
            "docs/lists.md has the type of each member");
    }
  }

  void check_names(const pkg::package_t& package) {
    if (const std::string written = to_string(package.identity); written != identity_) {
      error("clients read the key as " + written, "write \"" + written + "\" as the key");
    }
    if (package.meta.name() != package.identity.name) {
      error("\"_name\" is \"" + std::string(package.meta.name()) + "\"",
            "write \"" + package.identity.name + "\"");
    }
    if (package.meta.files() == nullptr || package.meta.files()->empty()) {
      warn("has no files", "name its members and their digests in \"files\"");
    }
  }

  void check_folder(const pkg::package_t& package) {
    const pkg::package_folder folder(context_, package.meta);
    if (const auto checked = folder.check_names(); !checked) {
      return error("clients refuse its folder: " + cause_of(checked.error(), folder),
                   "write \"" + store_.type + "\" as \"_type\" and \"" +
                       to_string(package.identity) + "\" as \"_pkg_installdir\"");
    }
    const auto [owner, is_new] = owners_.try_emplace(folder.key(), &package);
    if (!is_new && owner->second->identity.name != package.identity.name) {
      return error("its folder is that of " + to_string(owner->second->identity),
                   "write \"" + to_string(package.identity) + "\" as \"_pkg_installdir\"");
    }
    const pkg::package_t* other = folders_.add(package);
    if (other != nullptr && !are_levels(package.identity, other->identity)) {
      warn("cannot stand beside " + to_string(other->identity) +
               ": both have one folder, but other bytes in a member of one name",
           "give each line of versions a folder of its own");
    }
  }

  static std::string cause_of(const framework::IoError& error, const pkg::package_folder& folder) {
    const std::string start = folder.path() + ": ";
    return error.text.starts_with(start) ? error.text.substr(start.size()) : error.text;
  }

  /// Of patch levels one replaces the other.
  static bool are_levels(const pkg::name_semver_t& a, const pkg::name_semver_t& b) {
    return a.version.major == b.version.major && a.version.minor == b.version.minor;
  }

  void check_members(const pkg::package_t& package) {
    const auto* files = package.meta.files();
    if (files == nullptr) return;
    std::map<std::string, std::string> local_names;
    for (const auto& [key, value] : *files) {
      const std::string member(key);
      const std::string digest(framework::as_string(value));
      if (!framework::parse_sha256(digest)) {
        error(member + ": \"" + digest + "\" is no SHA-256 digest", "write 64 hexadecimal digits");
      }
      check_path(member);
      const auto [other, is_new] = local_names.try_emplace(
          framework::comparable_name(pkg::local_member_name(member)), member);
      if (!is_new) {
        error(member + ": clients keep it under the name of " + other->second,
              "give each member a path of its own");
      }
      const auto [claim, is_first] = members_.try_emplace(member, std::pair(digest, identity_));
      if (!is_first && !framework::equal_ignoring_case(claim->second.first, digest)) {
        error(member + ": has another digest in " + claim->second.second,
              "a path never changes its bytes: give each version a path of its own");
      }
    }
  }

  /// Whether a client would ask for it.
  void check_path(const std::string& member) {
    const std::string base = store_.url.empty() ? "https://store.invalid/" : store_.url;
    const framework::RequestUrl url = framework::http_request_url(base, member);
    if (!url) return error(member + ": clients do not ask for it: " + url.error(), kRelative);
    const framework::RequestUrl from = framework::http_request_url(base);
    if (!from) return;
    const std::string_view why = framework::why_not_trusted(*from, *url);
    if (!why.empty()) error(member + ": clients do not ask for it: " + std::string(why), kRelative);
  }

  void error(std::string what, std::string advice) {
    add(Severity::error, std::move(what), std::move(advice));
  }
  void warn(std::string what, std::string advice) {
    add(Severity::warning, std::move(what), std::move(advice));
  }
  void add(Severity severity, std::string what, std::string advice) {
    findings_.push_back(
        {severity, identity_, store_.entry_file, 0, std::move(what), std::move(advice)});
  }

  static constexpr const char* kRelative = "write a path relative to the URL of the store";

  const LoadedStore& store_;
  Client client_;
  pkg::core_context context_;
  std::string identity_;
  std::map<std::string, const pkg::package_t*> owners_;  ///< by folder
  pkg::shared_folders folders_;
  std::map<std::string, std::pair<std::string, std::string>> members_;  ///< digest, identity
  Findings findings_;
};

}  // namespace

Findings check_entries(const LoadedStore& store) { return EntryChecker(store).run(); }

}  // namespace zendro::store
