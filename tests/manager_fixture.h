// A package manager in a folder of its own, in front of a store on loopback: what the tests of
// whole operations share.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/text/json.h"
#include "pkg/cache.h"
#include "tests/loopback/loopback_server.h"
#include "tests/temp_folder.h"

namespace zendro::tests {

namespace json = boost::json;

/// A package as a test thinks of it. Its members lie below "<type>/<identity>/" in the store.
struct TestPackage {
  std::string identity;
  std::vector<std::pair<std::string, std::string>> members;  ///< name and bytes
  std::vector<std::string> references = {};
  std::vector<std::string> conflicts = {};
  json::object more = {};  ///< further members of the metadata; they win over the usual ones

  [[nodiscard]] json::object meta() const;
};

/// A package with one member, which is named after it.
TestPackage package_of_one_member(const std::string& identity,
                                  std::vector<std::string> references = {},
                                  std::vector<std::string> conflicts = {});

/// The bytes of a file; a test failure and "" when there is none.
std::string file_text(const std::filesystem::path& path);
void write_text(const std::filesystem::path& path, std::string_view text);

class ManagerTest : public testing::Test {
 protected:
  explicit ManagerTest(std::string type = "xsd");
  ~ManagerTest() override;

  /// Serves this list and all members from now on.
  void publish(const std::vector<TestPackage>& packages, int build_number = 1,
               const json::object& deprecated = {});
  /// Serves the text as the list document, with the true digest unless another is given.
  void publish_document(std::string_view text, const std::string& digest_header = "true");
  void serve_bootstrap(const std::string& body);
  /// Publishes and updates a cache that then has this list.
  void start_with(const std::vector<TestPackage>& packages);

  /// What the sinks have received since the last call, each entry a line: the identifier of a
  /// message with its arguments in the order given ("! " in front of a warning); the text of a log
  /// line. The folder of the test is written "$", the store's URL "@", separators "/".
  std::vector<std::string> take_messages();
  std::vector<std::string> take_log();
  /// The texts of the messages as a user reads them, since the last take_messages().
  [[nodiscard]] const std::vector<std::string>& texts() const { return texts_; }

  /// A file of the cache root, and of the folder of a package.
  [[nodiscard]] std::filesystem::path cache_file(const std::string& name) const;
  [[nodiscard]] std::filesystem::path package_folder(const std::string& identity) const;
  /// The identities of the list of installed packages, in the order of the document.
  [[nodiscard]] std::vector<std::string> installed() const;
  /// All files below the test's folder but the lock, with their bytes.
  [[nodiscard]] std::map<std::string, std::string> snapshot() const;
  /// The requests since the last call as "GET /path" lines.
  std::vector<std::string> take_requests();
  /// The bodies of the telemetry requests so far.
  [[nodiscard]] std::vector<std::string> telemetry() const;

  /// The cache with its sinks; made anew after set_option.
  pkg::pkg_cache_t& cache();
  void set_option(std::string_view key, const json::value& value);
  /// A cache without sinks on the same folders.
  [[nodiscard]] pkg::pkg_cache_t silent_cache() const;

  /// The text with "$" for the folder of the test, "@" for the store's URL, "/" as separator.
  [[nodiscard]] std::string plain(std::string text) const;

  TempFolder folder_;
  loopback::LoopbackServer server_;
  json::object options_;

 private:
  std::string type_;
  std::unique_ptr<pkg::pkg_cache_t> cache_;
  std::vector<std::string> messages_;
  std::vector<std::string> texts_;
  std::vector<std::string> log_;
  std::size_t requests_taken_ = 0;
};

}  // namespace zendro::tests
