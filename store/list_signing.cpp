#include "store/list_signing.h"

#include <algorithm>

#include "framework/sign/signature.h"
#include "framework/system/files.h"

#include "store/tree_on_disk.h"
#include "store/whole_file.h"

namespace zendro::store {
namespace {

using framework::IoError;
using framework::Result;

constexpr std::uint64_t kArchiveLimit = 256 << 20;
constexpr std::size_t kLongestComment = 1024;

Result<std::int64_t> build_number_of(const std::string& archive, const std::string& label) {
  const auto list = list_in_archive(archive, label);
  if (!list) return tl::unexpected(list.error());
  if (list->build_number()) return *list->build_number();
  return tl::unexpected(
      IoError{label + ": the list has no \"build_number\" in \"_META\", so that an older one could "
                      "stand for it; \"build\" writes one"});
}

}  // namespace

Result<SignedList> sign_list(const std::filesystem::path& out, const framework::SecretKey& key,
                             std::string_view comment, std::int64_t time) {
  const auto is_control = [](unsigned char byte) { return byte < ' ' || byte == 0x7F; };
  if (comment.size() > kLongestComment || std::any_of(comment.begin(), comment.end(), is_control)) {
    return tl::unexpected(IoError{"--comment: write one line of at most 1,024 bytes"});
  }
  const std::string name = kArchiveName;
  const std::filesystem::path file = out / name;
  const std::string label = framework::path_to_utf8(file);
  const Result<std::string> archive = framework::read_file(file, kArchiveLimit);
  if (!archive) return tl::unexpected(archive.error());
  const Result<std::int64_t> build = build_number_of(*archive, label);
  if (!build) return tl::unexpected(build.error());

  SignedList signed_list{file, std::string(comment)};
  signed_list.signature += framework::kSignatureSuffix;
  if (comment.empty()) {
    signed_list.trusted_comment = "timestamp:" + std::to_string(time) + "\tfile:" + name +
                                  "\tbuild:" + std::to_string(*build) + "\thashed";
  }
  const std::string document =
      framework::make_signature(*archive, key, signed_list.trusted_comment);
  return write_whole_file(signed_list.signature, document).map([&] { return signed_list; });
}

}  // namespace zendro::store
