// The command-line program as a process, in front of a store on loopback.
#pragma once

#include <string>
#include <vector>

#include "framework/system/files.h"
#include "tests/environment.h"
#include "tests/manager_fixture.h"
#include "tests/process.h"

namespace zendro::tests {

class CliTest : public ManagerTest {
 protected:
  CliTest() {
    set_variable("ZENDRO_COMMON_APPDATA", framework::path_to_utf8(folder_ / "appdata").c_str());
    write_options();
  }
  ~CliTest() override { unset_variable("ZENDRO_COMMON_APPDATA"); }

  void write_options() {
    write_text(folder_ / "appdata/Zendro/options.json", json::serialize(options_));
  }

  /// Runs "zendro WORDS"; in what it writes the folder of the test is "$", the store's URL "@".
  ProcessOutcome zendro(const std::vector<std::string>& words) {
    ProcessOutcome outcome = run_process(built_program("zendro"), words);
    return {outcome.status, plain(outcome.out), plain(outcome.err)};
  }

  /// The objects that it writes with --json; a test failure for anything else.
  std::vector<json::object> objects(std::vector<std::string> words, int status) {
    words.emplace_back("--json");
    const ProcessOutcome outcome = run_process(built_program("zendro"), words);
    EXPECT_EQ(outcome.status, status) << outcome.out;
    EXPECT_EQ(outcome.err, "");
    std::vector<json::object> all;
    for (std::size_t at = 0; at < outcome.out.size();) {
      const std::size_t end = outcome.out.find('\n', at);
      all.push_back(json::parse(outcome.out.substr(at, end - at)).as_object());
      at = end + 1;
    }
    EXPECT_EQ(all.back().at("event"), "result");
    EXPECT_EQ(all.back().at("status"), status);
    return all;
  }
};

}  // namespace zendro::tests
