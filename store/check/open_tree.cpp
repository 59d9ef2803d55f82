#include <utility>

#include "app/options/package_types.h"
#include "framework/io/digest.h"
#include "framework/sign/signature.h"
#include "framework/system/files.h"
#include "framework/text/percent.h"
#include "pkg/local/names.h"
#include "pkg/store.h"

#include "store/check/list_opener.h"
#include "store/tree_on_disk.h"

namespace zendro::store {
namespace {

namespace fs = std::filesystem;
using framework::IoError;
using framework::Result;

constexpr std::uint64_t kTreeMemberLimit = std::uint64_t{4} << 30;
constexpr std::size_t kDigits = 64;

class CheckedTree {
 public:
  explicit CheckedTree(fs::path folder) : folder_(std::move(folder)) {}

  Result<OpenedStore> open(const SigningKeys& keys) {
    Result<std::string> archive = read(kArchiveName, pkg::kArchiveLimit);
    if (!archive) return tl::unexpected(archive.error());
    check_digest_file(*archive);
    if (!keys.empty()) {
      opener_.check_signature(*archive, read(kSignatureName, framework::kSignatureLimit), keys);
    }
    check_bootstraps();
    opener_.open_archive(std::move(*archive), shown(kArchiveName));
    return opener_.take(
        [folder = folder_](std::string_view member) { return CheckedTree(folder).member(member); });
  }

 private:
  [[nodiscard]] Result<std::string> read(std::string_view name, std::uint64_t limit) const {
    return framework::read_file(folder_ / framework::path_from_utf8(name), limit);
  }
  [[nodiscard]] std::string shown(std::string_view name) const {
    return framework::path_to_utf8(folder_ / framework::path_from_utf8(name));
  }

  void check_digest_file(const std::string& archive) {
    const Result<std::string> digest = read(kDigestName, pkg::kBootstrapLimit);
    if (digest) return opener_.check_digest(archive, digest->substr(0, kDigits), kDigestName);
    opener_.error(kDigestName,
                  "clients that take the list from a folder refuse it: the digest is missing",
                  "write " + framework::to_hex(framework::sha256(archive)));
  }

  void check_bootstraps() {
    for (const app::PackageType& type : app::package_types()) {
      const std::string name = bootstrap_path(type.word);
      if (!framework::file_exists(folder_ / framework::path_from_utf8(name))) continue;
      opener_.set_type(std::string(type.word));
      const Result<std::string> document = read(name, pkg::kBootstrapLimit);
      if (!document) {
        opener_.error(name, "clients do not read it: " + document.error().text, "");
        continue;
      }
      opener_.check_bootstrap(*document, name, opener_.url());
    }
  }

  [[nodiscard]] Result<std::shared_ptr<const std::string>> member(std::string_view path) const {
    const std::string name = framework::percent_decode(path);
    if (!pkg::local::is_plain_path(name)) {
      return tl::unexpected(IoError{"the path leads to no file of the tree"});
    }
    return read(name, kTreeMemberLimit).map([](std::string&& bytes) {
      return std::make_shared<const std::string>(std::move(bytes));
    });
  }

  fs::path folder_;
  ListOpener opener_;
};

}  // namespace

Result<OpenedStore> open_tree(const fs::path& folder, const SigningKeys& keys) {
  return CheckedTree(folder).open(keys);
}

}  // namespace zendro::store
