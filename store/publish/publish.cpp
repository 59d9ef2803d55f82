#include "store/publish/publish.h"

#include "framework/io/hashed_copy.h"
#include "framework/system/files.h"

#include "store/failure.h"

namespace zendro::store {
namespace {

using framework::path_from_utf8;
using framework::path_to_utf8;
using framework::Result;

Result<std::string> file_digest(const std::filesystem::path& path) {
  const framework::OpenedStream file = framework::open_file(path);
  if (!file) return tl::unexpected(file.error());
  framework::Sha256 digest;
  if (!framework::hash_stream(**file, digest)) return tl::unexpected((*file)->error());
  return framework::to_hex(digest.finish());
}

class Publication {
 public:
  Publication(const PublishedTree& tree, ObjectStore& store, const pkg::progress_sink& progress,
              const std::stop_token& stop)
      : tree_(tree), store_(store), progress_(progress, stop), stop_(stop) {}

  Result<PublishOutcome> run();

 private:
  Result<void> compare_with_published();
  Result<void> put_members();
  Result<std::vector<NewObject>> missing(const std::vector<PublishedMember>& members);
  Result<std::vector<NewObject>> heads();
  Result<void> put_heads(const std::vector<NewObject>& objects);

  const PublishedTree& tree_;
  ObjectStore& store_;
  pkg::progress_reporter progress_;
  std::stop_token stop_;
  PublishOutcome outcome_;
};

/// The members that are to be stored, each proved by its digest.
Result<std::vector<NewObject>> Publication::missing(const std::vector<PublishedMember>& members) {
  std::vector<std::string> paths;
  for (const PublishedMember& member : members) paths.push_back(member.path);
  const auto stored = store_.look_at(paths, stop_);
  if (!stored) return tl::unexpected(stored.error());
  std::vector<NewObject> objects;
  for (std::size_t place = 0; place < members.size(); ++place) {
    const PublishedMember& member = members[place];
    const std::optional<StoredObject>& there = (*stored)[place];
    if (there && there->digest == member.digest) {
      ++outcome_.present;
      progress_.member_done();
    } else if (there) {
      return failed(member.path,
                    there->digest.empty()
                        ? "is there without a digest in its metadata (sha256), so that nothing "
                          "proves its bytes: remove it from the object store first"
                        : "is there with other bytes. A member path never changes them: give what "
                          "is new a version of its own");
    } else {
      const std::filesystem::path file = tree_.folder / path_from_utf8(member.path);
      // A mirror need not have what is deprecated.
      if (member.is_deprecated && framework::is_missing(file)) continue;
      objects.push_back({member.path, file, member.digest, {}});
    }
  }
  for (const NewObject& object : objects) {
    const Result<std::string> digest = file_digest(object.file);
    if (!digest) return tl::unexpected(digest.error());
    if (*digest != object.digest) {
      return failed(path_to_utf8(object.file), "has not the digest that the list gives");
    }
  }
  return objects;
}

Result<void> Publication::put_members() {
  const auto members = published_members(tree_.list);
  if (!members) return tl::unexpected(members.error());
  progress_.begin(members->size());
  const auto objects = missing(*members);
  if (!objects) return tl::unexpected(objects.error());
  return store_.put(*objects, stop_, [this](const NewObject&) {
    ++outcome_.stored;
    progress_.member_done();
  });
}

/// What leads to the members, in the order in which it is stored.
Result<std::vector<NewObject>> Publication::heads() {
  std::vector<NewObject> objects;
  for (const std::string& name : {std::string(kArchiveName), std::string(kDigestName),
                                  std::string(kSignatureName), bootstrap_path(tree_.type)}) {
    const std::filesystem::path file = tree_.folder / path_from_utf8(name);
    if (framework::is_missing(file)) continue;
    const Result<std::string> digest = file_digest(file);
    if (!digest) return tl::unexpected(digest.error());
    objects.push_back({name, file, *digest, {}});
  }
  objects.front().build_number = tree_.list.build_number();
  return objects;
}

Result<void> Publication::put_heads(const std::vector<NewObject>& objects) {
  std::vector<std::string> paths;
  for (const NewObject& object : objects) paths.push_back(object.path);
  const auto stored = store_.look_at(paths, stop_);
  if (!stored) return tl::unexpected(stored.error());
  for (std::size_t place = 0; place < objects.size(); ++place) {
    const std::optional<StoredObject>& there = (*stored)[place];
    if (there && there->digest == objects[place].digest) continue;
    if (auto put = store_.put({objects[place]}, stop_); !put) return put;
    outcome_.is_list_new |= place == 0;
  }
  return {};
}

/// Refuses what managers would refuse, or never see, because of what is published already.
Result<void> Publication::compare_with_published() {
  const auto there =
      store_.look_at({std::string(kArchiveName), std::string(kSignatureName)}, stop_);
  if (!there) return tl::unexpected(there.error());
  const std::optional<StoredObject>& list = there->front();
  const std::optional<std::int64_t> build = tree_.list.build_number();
  const std::string archive = path_to_utf8(tree_.folder / path_from_utf8(kArchiveName));
  if (list && list->build_number && build && *list->build_number > *build) {
    return failed(archive, "has build number " + std::to_string(*build) + ", but number " +
                               std::to_string(*list->build_number) + " is published already");
  }
  if (there->back() && framework::is_missing(tree_.folder / path_from_utf8(kSignatureName))) {
    return failed(archive,
                  "is not signed, but the list that is published is, and a list without its "
                  "signature is refused: sign it with \"zendro-store sign\"");
  }
  return {};
}

Result<PublishOutcome> Publication::run() {
  const auto objects = heads();
  if (!objects) return tl::unexpected(objects.error());
  Result<void> done = compare_with_published();
  if (done) done = put_members();
  if (done) done = put_heads(*objects);
  if (!done) return tl::unexpected(done.error());
  return outcome_;
}

}  // namespace

Result<PublishOutcome> publish(const PublishedTree& tree, ObjectStore& store,
                               const pkg::progress_sink& progress, const std::stop_token& stop) {
  return Publication(tree, store, progress, stop).run();
}

}  // namespace zendro::store
