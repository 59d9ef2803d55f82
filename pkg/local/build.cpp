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
using framework::OpenedStream;
using framework::Result;
using OpenedFolder = Result<std::unique_ptr<Folder>>;

Result<void> write_new(const Folder& folder, const file_t& file) {
  const OpenedStream stream = folder.create_new_file(file.name);
  if (!stream) return tl::unexpected(stream.error());
  (*stream)->write(file.text.data(), file.text.size());
  (*stream)->close();
  if ((*stream)->error()) return tl::unexpected((*stream)->error());
  return {};
}

OpenedFolder new_folder(const Folder& parent, std::string_view name) {
  return framework::remove_all(parent, name, kMostLevels)
      .and_then([&] { return parent.create_folder(name); })
      .and_then([&] { return parent.open_folder(name); });
}

tl::unexpected<IoError> refused(const member_t& member, const char* cause) {
  return tl::unexpected(IoError{member.file + ": " + cause});
}

class builder {
 public:
  builder(const Folder& zips, const package_t& package, const std::string& source)
      : zips_(zips), package_(package) {
    stamp_.source = source;
  }

  Result<stamp_t> run(const Folder& own, const std::string& root) {
    OpenedFolder members = package_.open();
    if (!members) return tl::unexpected(members.error());
    members_ = std::move(*members);
    const OpenedFolder files = new_folder(own, kFilesFolder);
    if (!files) return tl::unexpected(files.error());
    const std::set<std::string> marked = marked_archives(package_);
    folder_target target(**files);
    unpacker unpacked(target, marked);
    for (const member_t& member : package_.members) {
      if (const auto added = add(member, unpacked); !added) return tl::unexpected(added.error());
    }
    for (const file_t& file : catalogs_of(package_, unpacked, root)) {
      if (file.name.starts_with(kNamespacesStem)) stamp_.has_namespaces = true;
      if (const auto made = write_new(own, file); !made) return tl::unexpected(made.error());
    }
    return write_stamp(own, stamp_).map([this] { return stamp_; });
  }

 private:
  Result<void> add(const member_t& member, unpacker& unpacked) {
    // What is written meanwhile, or replaced, has not been proved.
    const std::uint64_t state = members_->stamp_of(member.file);
    Result<void> added = unpack(member, unpacked);
    if (added && unpacked.is_taxonomy_package()) {
      added = add_zip(member, state, zip_name(package_.identity, ++stamp_.zips));
    }
    if (added && members_->stamp_of(member.file) != state) {
      return refused(member, "was changed meanwhile");
    }
    return added;
  }

  // It is closed again then: of a file that is open Windows removes no name.
  Result<void> unpack(const member_t& member, unpacker& unpacked) {
    const OpenedStream stream = members_->open_file(member.file);
    if (!stream) return tl::unexpected(stream.error());
    return unpacked.add_member(*stream, member.path, member.digest);
  }

  Result<void> add_zip(const member_t& member, std::uint64_t state, const std::string& name) {
    if (Result<void> removed = framework::remove_all(zips_, name, kMostLevels); !removed) {
      return removed;
    }
    if (members_->link_file(member.file, zips_, name)) {
      // The same file in the same state.
      if (zips_.stamp_of(name) == state) return {};
      return refused(member, "was changed meanwhile");
    }
    const OpenedStream source = members_->open_file(member.file);
    if (!source) return tl::unexpected(source.error());
    const OpenedStream target = zips_.create_new_file(name);
    if (!target) return tl::unexpected(target.error());
    framework::Sha256 digest;
    framework::HashedCopy().run(**source, **target, digest);
    (*target)->close();
    for (const OpenedStream* stream : {&source, &target}) {
      if ((**stream)->error()) return tl::unexpected((**stream)->error());
    }
    if (digest.finish() == member.digest) return {};
    return refused(member, "has not the digest of its package");
  }

  const Folder& zips_;
  const package_t& package_;
  stamp_t stamp_;
  std::unique_ptr<Folder> members_;
};

}  // namespace

std::string zip_name(const std::string& identity, int number) {
  return identity + (number == 1 ? "" : "." + std::to_string(number)) + ".zip";
}

Result<stamp_t> build(const Folder& local, const Folder& zips, const package_t& package,
                      const std::string& root, const std::string& source) {
  const OpenedFolder own = new_folder(local, package.identity);
  if (!own) return tl::unexpected(own.error());
  return builder(zips, package, source).run(**own, root);
}

}  // namespace zendro::pkg::local
