#include "store/publish/publish.h"

#include "framework/io/hashed_copy.h"
#include "framework/system/files.h"

namespace zendro::store {
namespace {

using framework::IoError;
using framework::path_from_utf8;
using framework::path_to_utf8;
using framework::Result;

tl::unexpected<IoError> failed(std::string_view where, std::string_view cause) {
  return tl::unexpected(IoError{std::string(where) + ": " + std::string(cause)});
}

Result<std::string> digest_of(const std::filesystem::path& path) {
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
      objects.push_back(
          {member.path, tree_.folder / path_from_utf8(member.path), member.digest, {}});
    }
  }
  for (const NewObject& object : objects) {
    const Result<std::string> digest = digest_of(object.file);
    if (!digest) return tl::unexpected(digest.error());
    if (*digest != object.digest) {
      return failed(path_to_utf8(object.file), "has not the digest that the list gives");
    }
  }
  return objects;
}

Result<void> Publication::put_members() {
  const auto members = published_members(tree_.list.packages());
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
    const Result<std::string> digest = digest_of(file);
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

Result<PublishOutcome> Publication::run() {
  const auto objects = heads();
  if (!objects) return tl::unexpected(objects.error());
  const auto list = store_.look_at({objects->front().path}, stop_);
  if (!list) return tl::unexpected(list.error());
  const std::optional<std::int64_t> build = tree_.list.build_number();
  if (list->front() && list->front()->build_number && build &&
      *list->front()->build_number > *build) {
    return failed(path_to_utf8(objects->front().file),
                  "has build number " + std::to_string(*build) + ", but number " +
                      std::to_string(*list->front()->build_number) + " is published already");
  }
  Result<void> done = put_members();
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
