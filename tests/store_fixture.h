// A folder of sources and a published tree, with the commands of "zendro-store" in front of them.
#pragma once

#include <string>
#include <vector>

#include "framework/system/files.h"
#include "tests/manager_fixture.h"
#include "tests/process.h"

namespace zendro::tests {

class StoreTest : public ManagerTest {
 protected:
  explicit StoreTest(const std::string& type = "xsd") : ManagerTest(type), store_type_(type) {}

  /// Runs "zendro-store WORDS"; in the words and in what it writes the folder of the test is "$".
  ProcessOutcome store(std::vector<std::string> words) {
    for (std::string& word : words) {
      if (word.starts_with("$")) {
        word = framework::path_to_utf8(folder_.path()) + word.substr(1);
      }
    }
    const ProcessOutcome outcome = run_process(built_program("zendro-store"), words);
    return {outcome.status, plain(outcome.out), plain(outcome.err)};
  }
  /// The same, which has to go well; its results.
  std::string done(const std::vector<std::string>& words) {
    const ProcessOutcome outcome = store(words);
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
    return outcome.out;
  }
  /// The same, which has to fail; what it says.
  std::string refused(const std::vector<std::string>& words) {
    const ProcessOutcome outcome = store(words);
    EXPECT_EQ(outcome.status, 1) << outcome.out;
    return outcome.err;
  }

  void init() { done({"init", "$/dir", "--type", store_type_, "--url", server_.url()}); }
  [[nodiscard]] const std::string& type() const { return store_type_; }
  void build() { done({"build", "$/dir", "-o", "$/out"}); }

  /// Serves the tree as it is now.
  void serve_tree() {
    const std::filesystem::path out = folder_ / "out";
    for (const auto& entry : std::filesystem::recursive_directory_iterator(out)) {
      if (!entry.is_regular_file()) continue;
      std::vector<std::pair<std::string, std::string>> headers;
      if (entry.path().filename() == "pkgs-available.json.zip") {
        const std::string line = file_text(out / "pkgs-available.json.zip.sha256");
        headers.emplace_back("x-amz-meta-sha256", line.substr(0, line.find(' ')));
      }
      const std::string path = entry.path().lexically_relative(out).generic_string();
      server_.serve("/" + path, loopback::Reply::from_file(entry.path(), headers));
    }
  }

 private:
  std::string store_type_;
};

}  // namespace zendro::tests
