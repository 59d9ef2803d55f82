#include "pkg/download.h"

#include <algorithm>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "app/options/options.h"
#include "framework/http/http.h"
#include "framework/io/digest.h"
#include "framework/io/hashed_copy.h"
#include "framework/system/files.h"
#include "framework/system/folder.h"
#include "framework/system/work_ahead.h"
#include "framework/url/http_url.h"
#include "framework/url/loggable.h"
#include "pkg/member_digest.h"
#include "pkg/package_folder.h"
#include "pkg/percent_encoding.h"
#include "pkg/remote_io_log.h"
#include "pkg/store.h"

namespace zendro::pkg {
namespace {

using framework::EntryKind;
using framework::Folder;
using framework::IoError;
using framework::OpenedStream;
using framework::Sha256Digest;

// A member's name as the list writes it, without the password that a URL may hold.
msg::Argument member_argument(std::string_view member, std::wstring_view name = L"file") {
  return text_argument(name, framework::hide_credentials(member));
}

// Members whose digests are made before their turn.
constexpr std::size_t kMostAhead = 16;

// A member as the metadata lists it.
struct listed_member_t {
  std::string_view name;
  std::string_view digest_text;
  std::string local_name;
  std::optional<Sha256Digest> digest;  // nothing where the text is none
  // What holds of its local name among the members before it.
  bool is_repeated = false;  // one of them has it with the same digest
  bool is_taken = false;     // one of them has it with another digest
};

// The members in their order, up to the first one that will be refused.
std::vector<listed_member_t> listed_members(const json::object& files) {
  std::vector<listed_member_t> members;
  std::map<std::string, Sha256Digest> digests;  // by comparable local name
  members.reserve(files.size());
  for (const json::key_value_pair& file : files) {
    listed_member_t& member = members.emplace_back();
    member.name = {file.key().data(), file.key().size()};
    member.digest_text = framework::as_string(file.value());
    member.local_name = local_member_name(member.name);
    member.digest = framework::parse_sha256(member.digest_text);
    if (!member.digest) break;
    const auto [first, is_new] =
        digests.try_emplace(framework::comparable_name(member.local_name), *member.digest);
    member.is_taken = first->second != *member.digest;
    member.is_repeated = !is_new && !member.is_taken;
    if (member.is_taken) break;
  }
  return members;
}

// The download of one package.
class package_download {
 public:
  package_download(core_context& context, const package_t& package)
      : context_(context),
        package_(package),
        place_(context, package.meta),
        size_limit_(app::to_size_limit(app::get_member_size_limit(&context.options()))) {}

  ~package_download() {
    if (store_) context_.http().expect({});
  }
  package_download(const package_download&) = delete;
  package_download& operator=(const package_download&) = delete;

  bool run() {
    if (!open_folder()) return false;
    const json::object* files = package_.meta.files();
    if (files == nullptr) return true;
    const std::vector<listed_member_t> members = listed_members(*files);
    following_ = members;
    while (!following_.empty()) {
      prove_following();
      const listed_member_t& member = following_.front();
      following_ = following_.subspan(1);
      --looked_at_;
      if (context_.is_stopped()) return false;
      if (!provide(member)) return false;
      if (is_proving(member)) digest_of_local(member);  // its file has gone meanwhile
      context_.progress().member_done();
    }
    return true;
  }

 private:
  bool open_folder() {
    opened_folder folder = place_.open();
    if (!folder && folder.error().is_absent()) {
      context_.log(msg::Code::log_create_folder, msg::kLevelProgress,
                   {path_argument(place_.path())});
      folder = place_.create();
    }
    if (!folder) {
      return context_.fail(msg::Code::create_folder, {path_argument(place_.path())},
                           folder.error().cause().text);
    }
    folder_ = std::move(*folder);
    return true;
  }

  // Has the digests made, on all processors, of the next members that are on the disk. One with the
  // file of another one before it waits for its turn, as that may be downloaded anew.
  void prove_following() {
    for (; looked_at_ < std::min(kMostAhead, following_.size()); ++looked_at_) {
      const listed_member_t& member = following_[looked_at_];
      const bool is_good = member.digest && !member.is_taken && !member.is_repeated;
      if (!is_good || folder_->kind_of(member.local_name) == EntryKind::absent) continue;
      proving_.push_back(&member);
      digests_.add(
          [this, name = member.local_name] { return digest_of_member(context_, *folder_, name); });
    }
  }

  [[nodiscard]] bool is_proving(const listed_member_t& member) const {
    return !proving_.empty() && proving_.front() == &member;
  }

  // The digest of a member, where it has been asked for or the member is on the disk by now. What
  // is unreadable has none.
  std::optional<Sha256Digest> digest_of_local(const listed_member_t& member) {
    const bool is_ahead = is_proving(member);
    if (is_ahead) proving_.pop_front();
    const framework::Result<Sha256Digest> digest =
        is_ahead ? digests_.take() : digest_of_member(context_, *folder_, member.local_name);
    return digest ? std::optional(*digest) : std::nullopt;
  }

  // Proves a member, or downloads it.
  bool provide(const listed_member_t& member) {
    // Two members may have the same local file only if they have the same bytes.
    if (!member.digest || member.is_taken) {
      return context_.fail(msg::Code::checksum_invalid,
                           {pkg_argument(package_.identity), member_argument(member.name),
                            text_argument(L"sum", member.digest_text), context_.pkgtype()},
                           member.is_taken ? "Another member has the same local name." : "");
    }
    if (folder_->kind_of(member.local_name) != EntryKind::absent) {
      context_.log(msg::Code::log_file_exists, msg::kLevelDetail,
                   {path_argument(place_.path() +
                                  local_member_name(framework::hide_credentials(member.name)))});
      if (digest_of_local(member) == member.digest) return true;
      if (context_.is_stopped()) return false;
      context_.log(msg::Code::checksum_mismatch, msg::kLevelProgress, mismatch(member.name));
    }
    return download(member);
  }

  // Lets the transport read ahead: the members that will be downloaded after the current one. A
  // trace is to show one request after the other.
  void expect_following() {
    if (open_trace_log() != nullptr) return;
    std::vector<std::string> urls;
    for (const listed_member_t& member : following_) {
      if (!member.digest || member.is_taken) break;
      if (member.is_repeated || folder_->kind_of(member.local_name) != EntryKind::absent) continue;
      framework::RequestUrl url = member_url(member.name);
      if (!url) break;
      urls.push_back(std::move(*url));
    }
    context_.http().expect(urls);
  }

  [[nodiscard]] std::shared_ptr<framework::IOImpl_base> open_trace_log() const {
    return open_remote_io_log(context_, to_string(package_.identity));
  }

  bool download(const listed_member_t& member) {
    context_.log(msg::Code::log_about_to_download, msg::kLevelProgress,
                 {context_.pkgtype(), member_argument(member.name, L"pkgs")});
    if (!store_) {
      store_ = bootstrap_store(context_);
      if (!store_) return false;
      expect_following();
    }
    context_.log(msg::Code::log_download_file, msg::kLevelDetail, {member_argument(member.name)});
    framework::Sha256 digest;
    if (transfer(member.name, member.local_name, digest) && digest.finish() != member.digest) {
      return context_.fail(msg::Code::checksum_mismatch, mismatch(member.name));
    }
    // What the I/O layer recorded decides, whether it was recorded by this member or before.
    if (context_.reporter().has_errors()) {
      return context_.fail(msg::Code::download_pkg,
                           {pkg_argument(package_.identity), context_.pkgtype()});
    }
    return true;
  }

  // Copies the member from the store to its file. The file is touched only when the store answers.
  bool transfer(std::string_view member, const std::string& local_name, framework::Sha256& digest) {
    const OpenedStream source = open_member(member);
    const OpenedStream file = source ? folder_->create_file(local_name) : source;
    if (!file) {
      context_.reporter().report(file.error());
      return false;
    }
    bool complete = copy_.run(**source, **file, digest);
    (*file)->close();
    complete = complete && !(*file)->error();
    context_.reporter().report((*source)->error());
    context_.reporter().report((*file)->error());
    return complete;
  }

  // Where the store has the member; a cause where that would be elsewhere than in the store.
  [[nodiscard]] framework::RequestUrl member_url(std::string_view member) const {
    framework::RequestUrl base = framework::http_request_url(*store_);
    if (!base) return base;
    framework::RequestUrl url = framework::http_request_url(*store_, member);
    const std::string_view cause = url ? framework::why_not_trusted(*base, *url) : "";
    if (!cause.empty()) return tl::unexpected(std::string(cause));
    return url;
  }

  // The answer of the store for the member.
  OpenedStream open_member(std::string_view member) {
    framework::RequestUrl url = member_url(member);
    if (!url) {
      return tl::unexpected(IoError{to_string(package_.identity) + ": \"" +
                                    framework::loggable_url(member) +
                                    "\" makes no address in the store " +
                                    framework::loggable_url(*store_) + ": " + url.error()});
    }
    framework::HttpRequest request;
    request.url = std::move(*url);
    request.size_limit = size_limit_;
    request.trace_log = open_trace_log();
    request.many_follow = true;
    return context_.get(request);
  }

  [[nodiscard]] msg::Arguments mismatch(std::string_view member) const {
    return {pkg_argument(package_.identity), member_argument(member), context_.pkgtype()};
  }

  core_context& context_;
  const package_t& package_;
  package_folder place_;
  std::uint64_t size_limit_;
  framework::HashedCopy copy_;
  std::unique_ptr<Folder> folder_;
  std::span<const listed_member_t> following_;  ///< members whose turn has not come
  std::size_t looked_at_ = 0;                   ///< by prove_following(), of these
  std::deque<const listed_member_t*> proving_;  ///< whose digests are asked for
  std::optional<std::string> store_;            ///< the store URL once it is known
  // The last member: what works ahead uses the others.
  framework::WorkAhead<framework::Result<Sha256Digest>> digests_{kMostAhead};
};

}  // namespace

bool download_pkg(core_context& context, const name_semver_t& package,
                  const pkgs_available_t& available) {
  const package_t* entry = find_exact(available.packages(), package);
  if (entry == nullptr) {
    return context.fail(msg::Code::pkg_not_available, {pkg_argument(package), context.pkgtype()});
  }
  return package_download(context, *entry).run();
}

}  // namespace zendro::pkg
