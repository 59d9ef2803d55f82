// An S3-compatible object store as a place to publish to. Used by one thread at a time.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "framework/http/request_batch.h"
#include "framework/io/digest.h"
#include "framework/io/io.h"

namespace zendro::store {

/// Where a tree is published: "https://endpoint/bucket/prefix/".
/// Takes "s3://BUCKET/PREFIX", whose prefix may be missing, and the http or https URL of the store.
framework::Result<std::string> object_store_url(std::string_view target, std::string_view endpoint);

/// The key that the usual variables hold: AWS_ACCESS_KEY_ID, AWS_SECRET_ACCESS_KEY, AWS_REGION or
/// AWS_DEFAULT_REGION ("us-east-1" without them), AWS_SESSION_TOKEN.
struct ObjectStoreKey {
  framework::AwsKey key;
  std::string session_token;  ///< empty: none
};
framework::Result<ObjectStoreKey> object_store_key();

struct StoredObject {
  std::uint64_t size = 0;
  std::string digest;                        ///< that its own metadata gives; empty: none
  std::optional<std::int64_t> build_number;  ///< of a list
};

/// A file to be stored.
struct NewObject {
  std::string path;  ///< below the URL that is published to, not encoded
  std::filesystem::path file;
  std::string digest;  ///< of its bytes, which the object store checks
  std::optional<std::int64_t> build_number;
};

class ObjectStore {
 public:
  ObjectStore(std::string url, ObjectStoreKey key,
              const framework::TransportSettings& settings = {});

  /// What stands at the paths, in their order; nothing where nothing does. Fails for the first one
  /// that cannot be looked at.
  framework::Result<std::vector<std::optional<StoredObject>>> look_at(
      const std::vector<std::string>& paths, const std::stop_token& stop);

  /// Stores the objects, several at a time, with their digests as metadata "sha256". What fails for
  /// a reason that may pass is tried three times. `done` is told of each that is stored.
  framework::Result<void> put(const std::vector<NewObject>& objects, const std::stop_token& stop,
                              const std::function<void(const NewObject&)>& done = {});

 private:
  using Results = std::vector<framework::BatchResult>;
  framework::Result<Results> send(const std::vector<framework::BatchRequest>& requests,
                                  const std::stop_token& stop,
                                  const std::function<void(std::size_t)>& done = {});
  [[nodiscard]] framework::BatchRequest request_to(const std::string& path,
                                                   framework::BatchRequest::Method method) const;
  [[nodiscard]] framework::IoError error_of(const framework::BatchRequest& request,
                                            const framework::BatchResult& result) const;

  std::string url_;
  ObjectStoreKey key_;
  framework::RequestBatch batch_;
};

}  // namespace zendro::store
