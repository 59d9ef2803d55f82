#include "pkg/download.h"

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "framework/digest.h"
#include "framework/files.h"
#include "framework/folder.h"
#include "framework/hashed_copy.h"
#include "framework/http.h"
#include "pkg/package_folder.h"
#include "pkg/percent_encoding.h"
#include "pkg/remote_io_log.h"
#include "pkg/store.h"

namespace zendro::pkg {
namespace {

using framework::EntryKind;
using framework::Folder;
using framework::IoError;
using framework::IOImpl_base;
using framework::Sha256Digest;

// The download of one package.
class package_download {
 public:
  package_download(core_context_t& context, const package_t& package)
      : context_(context), package_(package), place_(context, package.meta) {}

  ~package_download() {
    if (store_) context_.http().expect({});
  }
  package_download(const package_download&) = delete;
  package_download& operator=(const package_download&) = delete;

  bool run() {
    if (!open_folder()) return false;
    const json::object* files = package_.meta.files();
    if (files == nullptr) return true;
    following_ = *files;
    while (!following_.empty()) {
      const json::key_value_pair& file = following_.front();
      following_ = following_.subspan(1);
      const std::string_view member(file.key().data(), file.key().size());
      if (!provide(member, framework::as_string(file.value()))) return false;
      context_.progress().member_done();
    }
    return true;
  }

 private:
  // The digests of members by their comparable local names.
  using digests_t = std::map<std::string, Sha256Digest>;

  bool open_folder() {
    IoError error;
    folder_ = place_.open(error);
    if (!folder_ && !error) {
      context_.log(msg::Code::log_create_folder, msg::kLevelProgress,
                   {path_argument(place_.path())});
      folder_ = place_.create(error);
    }
    if (folder_) return true;
    return context_.fail(msg::Code::create_folder, {path_argument(place_.path())}, error.text);
  }

  // Proves a member, or downloads it.
  bool provide(std::string_view member, std::string_view digest_text) {
    const std::optional<Sha256Digest> expected = framework::parse_sha256(digest_text);
    if (!expected) {
      return context_.fail(msg::Code::checksum_invalid,
                           {pkg_argument(package_.identity), text_argument(L"file", member),
                            text_argument(L"sum", digest_text), context_.pkgtype()});
    }
    const std::string local_name = local_member_name(member);
    if (claim(local_name, *expected, provided_) == claim_t::refused) {
      return context_.fail(msg::Code::checksum_invalid,
                           {pkg_argument(package_.identity), text_argument(L"file", member),
                            text_argument(L"sum", digest_text), context_.pkgtype()},
                           "Another member has the same local name.");
    }
    if (folder_->kind_of(local_name) != EntryKind::absent) {
      context_.log(msg::Code::log_file_exists, msg::kLevelDetail,
                   {path_argument(place_.path() + local_name)});
      if (digest_of_local(local_name) == expected) return true;
      context_.log(msg::Code::checksum_mismatch, msg::kLevelProgress, mismatch(member));
    }
    return download(member, local_name, *expected);
  }

  enum class claim_t { first, again, refused };

  // Two members may have the same local file only if they have the same bytes.
  static claim_t claim(const std::string& local_name, const Sha256Digest& digest,
                       digests_t& provided) {
    const auto [first, is_new] =
        provided.try_emplace(framework::comparable_name(local_name), digest);
    if (is_new) return claim_t::first;
    return first->second == digest ? claim_t::again : claim_t::refused;
  }

  // Lets the transport read ahead: the members that will be downloaded after the current one, up to
  // the first one that will be refused. A trace is to show one request after the other.
  void expect_following() {
    if (!trace_log().empty()) return;
    std::vector<std::string> urls;
    digests_t provided = provided_;
    for (const json::key_value_pair& file : following_) {
      const std::string_view member(file.key().data(), file.key().size());
      if (!file.value().is_string()) break;
      const std::optional<Sha256Digest> digest =
          framework::parse_sha256(framework::as_string(file.value()));
      if (!digest) break;
      const std::string local_name = local_member_name(member);
      const claim_t claimed = claim(local_name, *digest, provided);
      if (claimed == claim_t::refused) break;
      if (claimed == claim_t::first && folder_->kind_of(local_name) == EntryKind::absent) {
        urls.push_back(framework::resolve_url(*store_, member));
      }
    }
    context_.http().expect(urls);
  }

  [[nodiscard]] std::filesystem::path trace_log() const {
    return remote_io_log_path(context_, to_string(package_.identity));
  }

  std::optional<Sha256Digest> digest_of_local(const std::string& local_name) {
    IoError error;  // what is unreadable is downloaded anew
    const std::shared_ptr<IOImpl_base> file = folder_->open_file(local_name, error);
    framework::Sha256 digest;
    if (!file || !framework::hash_stream(*file, digest)) return std::nullopt;
    return digest.finish();
  }

  bool download(std::string_view member, const std::string& local_name,
                const Sha256Digest& expected) {
    context_.log(msg::Code::log_about_to_download, msg::kLevelProgress,
                 {context_.pkgtype(), text_argument(L"pkgs", member)});
    if (!store_) {
      bootstrap_result_t store = bootstrap_store(context_);
      if (!store.ok) return false;
      store_ = std::move(store.store_url);
      expect_following();
    }
    context_.log(msg::Code::log_download_file, msg::kLevelDetail, {text_argument(L"file", member)});
    framework::Sha256 digest;
    if (transfer(member, local_name, digest) && digest.finish() != expected) {
      return context_.fail(msg::Code::checksum_mismatch, mismatch(member));
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
    framework::HttpRequest request;
    request.url = framework::resolve_url(*store_, member);
    request.trace_log = trace_log();
    IoError error;
    const std::shared_ptr<IOImpl_base> source = context_.get(request, error);
    const std::shared_ptr<IOImpl_base> file =
        source ? folder_->create_file(local_name, error) : nullptr;
    if (!file) {
      context_.reporter().report(error);
      return false;
    }
    bool complete = copy_.run(*source, *file, digest);
    file->close();
    complete = complete && !file->error();
    context_.reporter().report(source->error());
    context_.reporter().report(file->error());
    return complete;
  }

  [[nodiscard]] msg::Arguments mismatch(std::string_view member) const {
    return {pkg_argument(package_.identity), text_argument(L"file", member), context_.pkgtype()};
  }

  core_context_t& context_;
  const package_t& package_;
  package_folder_t place_;
  framework::HashedCopy copy_;
  std::unique_ptr<Folder> folder_;
  std::span<const json::key_value_pair> following_;  ///< members whose turn has not come
  digests_t provided_;
  std::optional<std::string> store_;  ///< the store URL once it is known
};

}  // namespace

bool download_pkg(core_context_t& context, const name_semver_t& package,
                  const pkgs_available_t& available) {
  const package_t* entry = find_exact(available.packages(), package);
  if (entry == nullptr) {
    return context.fail(msg::Code::pkg_not_available, {pkg_argument(package), context.pkgtype()});
  }
  return package_download(context, *entry).run();
}

}  // namespace zendro::pkg
