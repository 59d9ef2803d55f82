// Sends many requests, several at a time, and gives back what came of each: to object stores, which
// are asked for much that is small. Redirects are not followed. Used by one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "framework/http/http.h"

namespace zendro::framework {

struct BatchRequest {
  enum class Method { get, head, put };
  Method method = Method::get;
  std::string url;
  std::vector<std::pair<std::string, std::string>> headers;
  std::filesystem::path file;  ///< of a PUT: its body, opened when its turn comes
};

struct BatchResult {
  /// No more of a body is kept, in bytes.
  static constexpr std::size_t kBodyLimit = 64 * 1024;

  long status = 0;  ///< 0: there is no answer
  HttpHeaders headers;
  std::string body;
  IoError error;  ///< why there is no answer, or why it is not whole
};

class RequestBatch {
 public:
  /// Signs with the key where there is one. Throws std::bad_alloc.
  RequestBatch(const TransportSettings& settings, std::optional<AwsKey> key);
  ~RequestBatch();
  RequestBatch(const RequestBatch&) = delete;
  RequestBatch& operator=(const RequestBatch&) = delete;

  /// Called with what has come of the request at a place, in the order of their ends.
  using Sink = std::function<void(std::size_t place, BatchResult result)>;

  /// Sends the requests, `at_once` at a time, each under the rules of TransportSettings. Once
  /// `stop` is requested no more is sent, and what is under way is broken off without a word.
  void run(const std::vector<BatchRequest>& requests, std::size_t at_once, const Sink& sink,
           const std::stop_token& stop = {});

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace zendro::framework
