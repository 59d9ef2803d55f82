// What a published tree answers to HTTP requests. Knows no connections. Thread-safe.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/io/io.h"
#include "framework/system/folder.h"

#include "store/tree_on_disk.h"

namespace zendro::store {

struct TreeRequest {
  std::string method;
  std::string target;         ///< as it was sent
  std::string authority;      ///< host and port that the client knows the server by
  std::string if_none_match;  ///< empty: the header is missing
};

struct TreeAnswer {
  unsigned status = 200;
  std::vector<std::pair<std::string, std::string>> headers;  ///< besides Content-Length
  std::string text;                                          ///< the body, where there is no file
  std::shared_ptr<framework::IOImpl_base> file;              ///< at its beginning
  std::uint64_t size = 0;                                    ///< of the body
};

class StaticTree {
 public:
  explicit StaticTree(const PublishedTree& tree, std::unique_ptr<framework::Folder> root)
      : type_(tree.type), root_(std::move(root)) {}

  /// The answer, its body included also where HEAD is asked for. Reached are files below the
  /// tree's folder whose path has no link and no name that begins with a dot. The bootstrap
  /// document names the server itself, so that a tree that was made for another URL can be tried.
  [[nodiscard]] TreeAnswer answer(const TreeRequest& request) const;

 private:
  [[nodiscard]] TreeAnswer file_answer(const TreeRequest& request, std::string_view path) const;

  const std::string type_;
  const std::unique_ptr<framework::Folder> root_;
};

}  // namespace zendro::store
