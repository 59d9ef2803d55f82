#include "pkg/lock_document.h"

#include <map>
#include <optional>
#include <set>
#include <vector>

#include "framework/io/digest.h"
#include "framework/system/files.h"
#include "pkg/install.h"
#include "pkg/list_files.h"

namespace zendro::pkg {
namespace {

constexpr std::string_view kVersionKey = "zendro_lock";
constexpr std::int64_t kVersion = 1;

// The digests of each package, by member.
using digests_t = std::map<std::string, framework::Sha256Digest>;
using locked_t = std::map<name_semver_t, digests_t>;

digests_t digests_of(const json::object& files) {
  digests_t digests;
  for (const json::key_value_pair& file : files) {
    const auto digest = framework::parse_sha256(framework::as_string(file.value()));
    if (!digest) throw framework::JsonError(std::string(file.key()) + " has no digest");
    digests.emplace(file.key(), *digest);
  }
  return digests;
}

// Throws JsonError.
locked_t read_lock(std::string_view type, std::string_view text) {
  const framework::ParsedJson value = framework::parse_json(text);
  if (!value) throw framework::JsonError("not JSON: " + value.error());
  const json::object& document = framework::as_map(*value);
  const auto member = [&](std::string_view key) {
    const json::value* found = document.if_contains(key);
    if (found == nullptr) throw framework::JsonError("there is no \"" + std::string(key) + "\"");
    return *found;
  };
  if (framework::as_integer(member(kVersionKey)) != kVersion) {
    throw framework::JsonError("it was written by another version of this program");
  }
  if (framework::as_string(member("type")) != type) {
    throw framework::JsonError("it is of another package type");
  }
  locked_t locked;
  const json::value packages = member("packages");
  for (const json::key_value_pair& package : framework::as_map(packages)) {
    if (!is_version_key(package.key())) {
      throw framework::JsonError(std::string(package.key()) + " is no package version");
    }
    locked[parse_identity(package.key())] = digests_of(framework::as_map(package.value()));
  }
  return locked;
}

// Refuses an entry of a list that has other digests than the lock.
bool has_digests(core_context& context, const package_t& package, const digests_t& locked,
                 std::string_view path) {
  return read_metadata(package, [&](const meta_t& meta) {
    const json::object* files = meta.files();
    const digests_t digests = files == nullptr ? digests_t() : digests_of(*files);
    if (digests == locked) return true;
    std::string member;
    for (const auto* one : {&locked, &digests}) {
      for (const auto& [name, digest] : *one) {
        const bool differs = !locked.contains(name) || !digests.contains(name) ||
                             locked.at(name) != digests.at(name);
        if (differs && member.empty()) member = name;
      }
    }
    return context.fail(
        msg::Code::checksum_mismatch,
        {pkg_argument(package.identity), text_argument(L"file", member), context.pkgtype()},
        "The list gives another digest than " + std::string(path) + ".");
  });
}

// Refuses what could only stand beside a newer level that is there.
bool is_in_place(core_context& context, const name_semver_t& identity,
                 const pkgs_available_t& installed) {
  name_semver_t line = identity;
  line.version.patch = kAnyPart;
  const package_t* newest = find_best(installed.packages(), line);
  if (newest == nullptr || newest->identity.version.patch <= identity.version.patch) return true;
  return context.fail(msg::Code::pkg_conflict_newer,
                      {pkg_argument(identity), context.pkgtype(),
                       text_argument(L"newer", to_string(newest->identity))});
}

}  // namespace

std::string lock_document(std::string_view type, const pkgs_available_t& installed) {
  std::string text;
  framework::JsonWriter writer(text);
  text += "{\"" + std::string(kVersionKey) + "\":" + std::to_string(kVersion) + ",\"type\":";
  writer.append(type);
  text += ",\"packages\":{";
  const char* separator = "\n";
  for (const package_t& package : installed.packages()) {
    text += separator;
    separator = ",\n";
    writer.append(package.key);
    text += ':';
    read_metadata(package, [&](const meta_t& meta) {
      const json::object* files = meta.files();
      writer.append(files == nullptr ? json::object() : *files);
      return true;
    });
  }
  return text += "\n}}\n";
}

bool install_locked(core_context& context, std::string_view path) {
  if (!context.is_initialised()) {
    return context.fail(msg::Code::not_initialized, {context.pkgtype()});
  }
  locked_t locked;
  try {
    const framework::Result<std::string> text =
        framework::read_file(framework::path_from_utf8(path), kListLimit);
    if (!text) throw framework::JsonError(text.error().text);
    locked = read_lock(context.type(), *text);
  } catch (const framework::JsonError& error) {
    return context.fail(msg::Code::invalid_pkg_information,
                        {context.pkgtype(), path_argument(path)}, error.what());
  }
  const std::optional<pkgs_available_t> available = load_available(context);
  if (!available) return false;
  const std::optional<pkgs_available_t> installed = load_installed(context);
  if (!installed) return false;

  std::set<name_semver_t> identities;
  std::vector<const package_t*> entries;
  for (const auto& [identity, digests] : locked) {
    const package_t* entry = available->find_entry(identity);
    if (entry == nullptr) {
      return context.fail(msg::Code::pkg_not_available,
                          {pkg_argument(identity), context.pkgtype()});
    }
    if (!has_digests(context, *entry, digests, path)) return false;
    if (const package_t* present = find_exact(installed->packages(), identity)) {
      if (!has_digests(context, *present, digests, path)) return false;
    } else if (!is_in_place(context, identity, *installed)) {
      return false;
    }
    identities.insert(identity);
    entries.push_back(entry);
  }
  if (entries.empty()) return context.fail(msg::Code::no_pkgs_to_install, {context.pkgtypes()});
  // References choose from this alone.
  pkgs_available_t chosen;
  chosen.add(entries, *available);
  return install_pkgs(context, identities, chosen, *available);
}

}  // namespace zendro::pkg
