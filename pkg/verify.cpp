#include "pkg/verify.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <utility>

#include "framework/io/digest.h"
#include "framework/system/files.h"
#include "framework/system/guarded.h"
#include "pkg/download.h"
#include "pkg/package_folder.h"
#include "pkg/percent_encoding.h"
#include "pkg/request_check.h"

namespace zendro::pkg {
namespace {

using framework::EntryKind;
using framework::Folder;

// A member to be read.
struct task_t {
  std::size_t order;  ///< among all findings
  std::shared_ptr<const Folder> folder;
  std::string local_name;
  std::optional<framework::Sha256Digest> digest;
  member_finding_t finding;  ///< what it would be
};

using numbered_findings = std::map<std::size_t, member_finding_t>;

// Threads that read members. The tasks that wait are few, so that few folders are open at a time.
class readers {
 public:
  explicit readers(core_context& context) : context_(context) {
    const unsigned count = std::max(1u, std::thread::hardware_concurrency());
    for (unsigned i = 0; i < count; ++i) threads_.emplace_back([this] { work(); });
  }
  ~readers() { close(); }
  readers(const readers&) = delete;
  readers& operator=(const readers&) = delete;

  void add(task_t task) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return tasks_.size() < kMostWaiting; });
    tasks_.push_back(std::move(task));
    changed_.notify_all();
    tell(lock);
  }

  /// Once all has been read.
  numbered_findings finish() {
    std::unique_lock lock(mutex_);
    while (!tasks_.empty()) {
      changed_.wait(lock);
      tell(lock);
    }
    lock.unlock();
    close();
    lock.lock();
    tell(lock);
    return std::move(findings_);
  }

 private:
  static constexpr std::size_t kMostWaiting = 64;

  void close() {
    {
      const std::lock_guard lock(mutex_);
      is_closed_ = true;
    }
    changed_.notify_all();
    for (std::thread& thread : threads_) {
      if (thread.joinable()) thread.join();
    }
  }

  // Progress is told on the thread of the operation.
  void tell(std::unique_lock<std::mutex>& lock) {
    const std::size_t done = std::exchange(done_, 0);
    lock.unlock();
    for (std::size_t i = 0; i < done; ++i) context_.progress().member_done();
    lock.lock();
  }

  void work() {
    std::unique_lock lock(mutex_);
    for (;;) {
      changed_.wait(lock, [this] { return is_closed_ || !tasks_.empty(); });
      if (tasks_.empty()) return;
      task_t task = std::move(tasks_.front());
      tasks_.pop_front();
      lock.unlock();
      bool is_whole = false;
      framework::guarded([&] { is_whole = read(task); },
                         [&](const std::string& failure) {
                           task.finding.state = member_state::unreadable;
                           task.finding.cause = failure;
                         });
      lock.lock();
      ++done_;
      if (!is_whole) findings_.emplace(task.order, std::move(task.finding));
      changed_.notify_all();
    }
  }

  // Whether the member is whole; else the finding says what it is.
  bool read(task_t& task) {
    task.finding.state = member_state::missing;
    if (task.folder->kind_of(task.local_name) == EntryKind::absent) return false;
    const framework::OpenedStream file = task.folder->open_file(task.local_name);
    framework::Sha256 digest;
    std::array<char, framework::kIoBlock> block;
    std::int64_t count = file ? 0 : -1;
    while (file && !context_.stop_requested() &&
           (count = (*file)->read(block.data(), block.size())) > 0) {
      digest.update(block.data(), static_cast<std::size_t>(count));
    }
    task.finding.state = member_state::damaged;
    if (count == 0) return task.digest && digest.finish() == *task.digest;
    task.finding.state = member_state::unreadable;
    task.finding.cause = file ? (*file)->error().text : file.error().text;
    return false;
  }

  core_context& context_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<task_t> tasks_;
  numbered_findings findings_;
  std::size_t done_ = 0;  ///< that have not been told
  bool is_closed_ = false;
  std::vector<std::thread> threads_;
};

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
      : context_(context), contents_(context, installed), readers_(context) {}

  void add(const package_t& package) {
    try {
      add_members(package);
    } catch (const framework::JsonError& error) {
      found({package.identity, "", "", member_state::unreadable, error.what()});
    }
  }

  std::vector<member_finding_t> finish() {
    findings_.merge(readers_.finish());
    std::vector<member_finding_t> all;
    for (auto& [order, finding] : findings_) all.push_back(std::move(finding));
    return all;
  }

 private:
  void found(member_finding_t finding) { findings_.emplace(order_++, std::move(finding)); }

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
        readers_.add({order_++,
                      folder,
                      local_member_name(member),
                      framework::parse_sha256(framework::as_string(file.value())),
                      {package.identity, std::string(member), place.member_path(member),
                       member_state::missing}});
      }
    }
    for (const std::string& name : contents_.take_foreign(place, *folder)) {
      found({package.identity, name, place.path() + name, member_state::foreign});
    }
  }

  core_context& context_;
  folder_contents contents_;
  std::size_t order_ = 0;
  numbered_findings findings_;
  readers readers_;
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
