#include "pkg/verify.h"

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "framework/io/digest.h"
#include "framework/system/files.h"
#include "framework/system/guarded.h"
#include "framework/system/work_ahead.h"
#include "pkg/download.h"
#include "pkg/member_digest.h"
#include "pkg/package_folder.h"
#include "pkg/percent_encoding.h"
#include "pkg/request_check.h"

namespace zendro::pkg {
namespace {

using framework::EntryKind;
using framework::Folder;

using finding_t = std::optional<member_finding_t>;

// Members whose folder is open while they wait to be read.
constexpr std::size_t kMostWaiting = 64;

// Compares a member with its digest: `finding`, which says which it is, or nothing where it is
// whole.
finding_t look_at(const core_context& context, const Folder& folder, const std::string& local_name,
                  const std::optional<framework::Sha256Digest>& digest, member_finding_t finding) {
  bool is_whole = false;
  const auto read = [&] {
    if (folder.kind_of(local_name) == EntryKind::absent) return;
    const auto found = digest_of_member(context, folder, local_name);
    is_whole = found && digest && *found == *digest;
    finding.state = found ? member_state::damaged : member_state::unreadable;
    if (!found) finding.cause = found.error().text;
  };
  framework::guarded(read, [&](const std::string& failure) {
    finding.state = member_state::unreadable;
    finding.cause = failure;
  });
  if (is_whole) return std::nullopt;
  return finding;
}

// The names that belong to installed packages, by folder.
class folder_contents {
 public:
  folder_contents(core_context& context, const pkgs_available_t& installed) {
    for (const package_t& package : installed.packages()) {
      try {
        const json::object* files = package.meta.files();
        std::set<std::string>& names = names_[package_folder(context, package.meta).key()];
        if (files == nullptr) continue;
        for (const json::key_value_pair& file : *files) {
          names.insert(framework::comparable_name(local_member_name(file.key())));
        }
      } catch (const framework::JsonError&) {  // NOLINT(bugprone-empty-catch): has no members
      }
    }
  }

  /// What lies in the folder and belongs to none. Each folder is looked at once.
  std::vector<std::string> take_foreign(const package_folder& place, const Folder& folder) {
    const auto names = names_.extract(place.key());
    std::vector<std::string> foreign;
    if (names.empty()) return foreign;
    const auto entries = folder.list();
    if (!entries) return foreign;
    for (const Folder::Entry& entry : *entries) {
      if (!names.mapped().contains(framework::comparable_name(entry.name))) {
        foreign.push_back(entry.name);
      }
    }
    return foreign;
  }

 private:
  std::map<std::string, std::set<std::string>> names_;
};

std::uint64_t count_members(const std::vector<const package_t*>& packages) {
  std::uint64_t count = 0;
  for (const package_t* package : packages) {
    try {
      if (const json::object* files = package->meta.files()) count += files->size();
    } catch (const framework::JsonError&) {  // NOLINT(bugprone-empty-catch): is a finding later
    }
  }
  return count;
}

class verifying {
 public:
  verifying(core_context& context, const pkgs_available_t& installed)
      : context_(context), contents_(context, installed) {}

  void add(const package_t& package) {
    try {
      add_members(package);
    } catch (const framework::JsonError& error) {
      found({package.identity, "", "", member_state::unreadable, error.what()});
    }
  }

  /// In package order.
  std::vector<member_finding_t> finish() {
    while (!members_.is_empty()) take();
    return std::move(findings_);
  }

 private:
  void add_work(std::function<finding_t()> work) {
    if (!members_.has_room()) take();
    members_.add(std::move(work));
  }

  // Progress is told on the thread of the operation.
  void take() {
    finding_t finding = members_.take();
    const bool is_member =
        !finding || (finding->state != member_state::foreign && !finding->member.empty());
    if (is_member) context_.progress().member_done();
    if (finding) findings_.push_back(std::move(*finding));
  }

  void found(member_finding_t finding) {
    add_work([finding = std::move(finding)] { return finding; });
  }

  void add_members(const package_t& package) {
    const package_folder place(context_, package.meta);
    opened_folder opened = place.open();
    const json::object* files = package.meta.files();
    if (!opened) {
      const std::string cause = opened.error().cause().text;
      const bool is_absent = opened.error().is_absent();
      const member_state state = is_absent ? member_state::missing : member_state::unreadable;
      if (files == nullptr || files->empty()) {
        found({package.identity, "", place.path(), state, cause});
        return;
      }
      for (const json::key_value_pair& file : *files) {
        found({package.identity, file.key(), place.member_path(file.key()), state, cause});
      }
      return;
    }
    const std::shared_ptr<const Folder> folder = std::move(*opened);
    if (files != nullptr) {
      for (const json::key_value_pair& file : *files) {
        const std::string_view member(file.key().data(), file.key().size());
        member_finding_t missing{package.identity, std::string(member), place.member_path(member),
                                 member_state::missing};
        add_work([this, folder, name = local_member_name(member),
                  digest = framework::parse_sha256(framework::as_string(file.value())),
                  missing = std::move(missing)] {
          return look_at(context_, *folder, name, digest, missing);
        });
      }
    }
    for (const std::string& name : contents_.take_foreign(place, *folder)) {
      found({package.identity, name, place.path() + name, member_state::foreign});
    }
  }

  core_context& context_;
  folder_contents contents_;
  std::vector<member_finding_t> findings_;
  framework::WorkAhead<finding_t> members_{kMostWaiting};
};

}  // namespace

bool is_damaged(const verification_t& verification) {
  return std::any_of(
      verification.findings.begin(), verification.findings.end(),
      [](const member_finding_t& finding) { return finding.state != member_state::foreign; });
}

std::optional<verification_t> verify(core_context& context, const pkgs_available_t& installed,
                                     const std::vector<const package_t*>& packages) {
  verification_t verification{packages.size(), count_members(packages), {}, false};
  context.progress().begin(verification.members);
  verifying run(context, installed);
  for (const package_t* package : packages) {
    if (context.is_stopped()) return std::nullopt;
    run.add(*package);
  }
  verification.findings = run.finish();
  if (context.is_stopped()) return std::nullopt;
  return verification;
}

bool repair(core_context& context, const pkgs_available_t& installed,
            const verification_t& verification) {
  std::set<name_semver_t> damaged;
  for (const member_finding_t& finding : verification.findings) {
    if (finding.state != member_state::foreign) damaged.insert(finding.package);
  }
  const pkgs_available_t none;
  request_check check(context, installed, none);
  std::uint64_t members = 0;
  for (const name_semver_t& identity : damaged) {
    if (!check.check(*find_exact(installed.packages(), identity))) return false;
    members = check.members();
  }
  context.progress().begin(members);
  // What is installed is what its own metadata says, whatever the store lists by now.
  return std::all_of(damaged.begin(), damaged.end(), [&](const name_semver_t& identity) {
    return download_pkg(context, identity, installed);
  });
}

}  // namespace zendro::pkg
