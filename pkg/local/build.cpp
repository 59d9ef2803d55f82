#include "pkg/local/build.h"

#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "framework/io/hashed_copy.h"
#include "framework/system/removal.h"
#include "pkg/local/keys.h"
#include "pkg/local/names.h"
#include "pkg/local/unpacking.h"

namespace zendro::pkg::local {
namespace {

using framework::Folder;
using framework::IoError;

// The files that the keys of a package take for archives.
std::set<std::string> marked_archives(const package_t& package) {
  constexpr std::string_view kMark = "|zip";
  std::set<std::string> marked;
  for (const key_t& key : package.keys) {
    for (std::size_t at = 0; (at = key.member_path.find(kMark, at)) != std::string_view::npos;) {
      marked.insert(file_path(key.member_path.substr(0, at)));
      at += kMark.size();
    }
  }
  return marked;
}

bool write_new(const Folder& folder, const file_t& file, IoError& error) {
  const auto stream = folder.create_new_file(file.name, error);
  if (!stream) return false;
  stream->write(file.text.data(), file.text.size());
  stream->close();
  error = stream->error();
  return !error;
}

std::unique_ptr<Folder> new_folder(const Folder& parent, std::string_view name, IoError& error) {
  if (!framework::remove_all(parent, name, kMostLevels, error)) return nullptr;
  return parent.create_folder(name, error) ? parent.open_folder(name, error) : nullptr;
}

class builder {
 public:
  builder(const Folder& zips, const package_t& package) : zips_(zips), package_(package) {}

  bool run(const Folder& own, const std::string& root, stamp_t& stamp, IoError& error) {
    members_ = package_.open(error);
    const std::unique_ptr<Folder> files = members_ ? new_folder(own, kFilesFolder, error) : nullptr;
    if (!files) return false;
    const std::set<std::string> marked = marked_archives(package_);
    unpacker unpacked(*files, marked);
    for (const member_t& member : package_.members) {
      if (!add(member, unpacked, stamp, error)) return false;
    }
    for (const file_t& file : catalogs_of(package_, unpacked, root)) {
      if (file.name.starts_with(kNamespacesStem)) stamp.has_namespaces = true;
      if (!write_new(own, file, error)) return false;
    }
    return true;
  }

 private:
  bool add(const member_t& member, unpacker& unpacked, stamp_t& stamp, IoError& error) {
    // What is written meanwhile, or replaced, has not been proved.
    const std::uint64_t state = members_->stamp_of(member.file);
    const auto stream = members_->open_file(member.file, error);
    if (!stream || !unpacked.add_member(stream, member.path, member.digest, error)) return false;
    if (unpacked.is_taxonomy_package() &&
        !add_zip(member, state, zip_name(package_.identity, ++stamp.zips), error)) {
      return false;
    }
    if (members_->stamp_of(member.file) == state) return true;
    error.text = member.file + ": was changed meanwhile";
    return false;
  }

  bool add_zip(const member_t& member, std::uint64_t state, const std::string& name,
               IoError& error) {
    if (!framework::remove_all(zips_, name, kMostLevels, error)) return false;
    IoError ignored;
    if (members_->link_file(member.file, zips_, name, ignored)) {
      // The same file in the same state.
      if (zips_.stamp_of(name) == state) return true;
      error.text = member.file + ": was changed meanwhile";
      return false;
    }
    const auto source = members_->open_file(member.file, error);
    const auto target = source ? zips_.create_new_file(name, error) : nullptr;
    if (!target) return false;
    framework::Sha256 digest;
    const bool is_copied = framework::HashedCopy().run(*source, *target, digest);
    target->close();
    error = source->error() ? source->error() : target->error();
    if (!is_copied || error) return false;
    if (digest.finish() == member.digest) return true;
    error.text = member.file + ": has not the digest of its package";
    return false;
  }

  const Folder& zips_;
  const package_t& package_;
  std::unique_ptr<Folder> members_;
};

}  // namespace

std::string zip_name(const std::string& identity, int number) {
  return identity + (number == 1 ? "" : "." + std::to_string(number)) + ".zip";
}

tl::expected<stamp_t, IoError> build(const Folder& local, const Folder& zips,
                                     const package_t& package, const std::string& root,
                                     const std::string& source) {
  IoError error;
  stamp_t stamp;
  stamp.source = source;
  const std::unique_ptr<Folder> own = new_folder(local, package.identity, error);
  if (own && builder(zips, package).run(*own, root, stamp, error) &&
      write_stamp(*own, stamp, error)) {
    return stamp;
  }
  return tl::unexpected(std::move(error));
}

}  // namespace zendro::pkg::local
