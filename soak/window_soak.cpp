// The real window for thousands of operations: what the program has in use does not grow.
//
// Each round opens the window on a list that is new, installs a package with what it references and
// an old patch level of another one, applies the patch, uninstalls all and closes the window, with
// keys and through the worker as a user does. The store is part of the program.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/io/digest.h"
#include "tests/window_fixture.h"
#include "tests/zip_builder.h"

#include "soak/history.h"

namespace zendro::soak {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using tests::file_text;
using tests::TestPackage;

constexpr int kRounds = 100;  // unless told otherwise
constexpr int kSamples = 200;
constexpr int kReports = 20;

int rounds_to_do() {
  const char* text = std::getenv("ZENDRO_SOAK_ROUNDS");
  return text == nullptr ? kRounds : std::max(std::atoi(text), 1);
}

void show(const std::string& lines) {
  std::fputs(lines.c_str(), stdout);
  std::fflush(stdout);
}

// A package whose member is an archive with a schema, to which the catalogs lead.
TestPackage package(const std::string& identity, std::vector<std::string> references = {}) {
  const std::string name = identity.substr(0, identity.find('-'));
  const std::string schema = name + ".xsd";
  const std::string archive = identity + ".zip";
  const std::string member = archive + "|zip/" + schema;
  return {identity,
          {{archive, tests::make_zip({{schema, "<schema id=\"" + identity + "\"/>"}})}},
          std::move(references),
          {},
          {{"catalogs", {{"http://schemas.example/" + schema, member}}},
           {"namespace_catalog", {{"urn:" + name, member}}}}};
}

class Soak : public tests::WindowTest {
 protected:
  void do_round(int round);

 private:
  void open_window();
  void tick(const std::string& identity, const std::string& summary);
  void click(int button);
  void apply(const std::string& log_line);
  void expect_files_of_first_round(const std::string& when);

  const std::vector<TestPackage> packages_ = {package("app-1.0.0", {"lib"}), package("lib-1.0.0"),
                                              package("tool-1.0.0"), package("tool-1.0.1")};
  std::map<std::string, std::string> first_round_;  // names and digests of files
};

void Soak::do_round(int round) {
  server_.forget_requests();
  publish(packages_, round);
  ASSERT_NO_FATAL_FAILURE(open_window());
  EXPECT_THAT(file_text(cache_file("pkgs-available.json")),
              HasSubstr("\"build_number\":" + std::to_string(round)));
  EXPECT_THAT(rows(), ElementsAre("[ ] app", "  [ ] app-1.0.0", "[ ] lib", "  [ ] lib-1.0.0",
                                  "[ ] tool", "  [ ] tool-1.0.0", "  [ ] tool-1.0.1"));

  const std::string summary =
      "The following packages will be installed:\n    app-1.0.0\n    lib-1.0.0";
  ASSERT_NO_FATAL_FAILURE(tick("app-1.0.0", summary));
  ASSERT_NO_FATAL_FAILURE(tick("tool-1.0.0", summary + "\n    tool-1.0.0"));
  ASSERT_NO_FATAL_FAILURE(apply(" PKG Install app-1.0.0, lib-1.0.0, tool-1.0.0.\n"));
  EXPECT_THAT(installed(), ElementsAre("app-1.0.0", "lib-1.0.0", "tool-1.0.0"));
  EXPECT_THAT(file_text(cache_file("catalog.xml")), HasSubstr("zendro://pkg/tool-1.0.0/"));
  expect_files_of_first_round("after the install");

  click(packages_ui::kIdPatch);
  ASSERT_NO_FATAL_FAILURE(wait_for_pane("The following packages will be patched:\n    tool-1.0.0"));
  ASSERT_NO_FATAL_FAILURE(apply(" PKG Upgrade from tool-1.0.0.\n"));
  EXPECT_THAT(installed(), ElementsAre("app-1.0.0", "lib-1.0.0", "tool-1.0.1"));
  EXPECT_THAT(file_text(cache_file("catalog.xml")),
              AllOf(HasSubstr("zendro://pkg/tool-1.0.1/"), Not(HasSubstr("tool-1.0.0"))));
  expect_files_of_first_round("after the patch");

  click(packages_ui::kIdClear);
  ASSERT_NO_FATAL_FAILURE(wait_for_pane(
      "The following packages will be uninstalled:\n    app-1.0.0\n    lib-1.0.0\n    tool-1.0.1"));
  ASSERT_NO_FATAL_FAILURE(apply(" PKG Uninstall app-1.0.0, lib-1.0.0, tool-1.0.1.\n"));
  EXPECT_THAT(installed(), IsEmpty());
  EXPECT_THAT(file_text(cache_file("catalog.xml")), Not(HasSubstr("zendro://")));
  expect_files_of_first_round("after the uninstall");

  simulator().Char(WXK_ESCAPE);
  ASSERT_NO_FATAL_FAILURE(wait_until([this] { return !dialog().IsShown(); }, "the window closes"));
}

void Soak::open_window() {
  open();
  wait_until([this] { return dialog().idle(); }, "the list is up to date");
  // Without a window manager nobody else gives the window the keyboard.
  dialog().Raise();
  wait_until([this] { return dialog().IsActive(); }, "the window has the keyboard");
  grid().SetFocus();
}

void Soak::tick(const std::string& identity, const std::string& summary) {
  grid().EnsureVisible(find(identity));
  grid().SetCurrentItem(find(identity));
  simulator().Char(WXK_SPACE);
  wait_for_pane(summary);
}

void Soak::click(int button) {
  const wxWindow& window = *dialog().FindWindow(button);
  simulator().MouseMove(window.ClientToScreen(wxPoint() + window.GetSize() / 2));
  simulator().MouseClick();
}

// The log line comes last but for what is told of failures.
void Soak::apply(const std::string& log_line) {
  click(packages_ui::kIdApply);
  wait_until([&] { return dialog().idle() && pane().find(log_line) != std::string::npos; },
             log_line);
}

// But for the list of what the store has, which is new in each round.
void Soak::expect_files_of_first_round(const std::string& when) {
  std::string files;
  for (const auto& [name, bytes] : snapshot()) {
    if (!name.starts_with("pkgs/") || name.find("pkgs-available") != std::string::npos) continue;
    files += name + " " + framework::to_hex(framework::sha256(bytes)) + "\n";
  }
  EXPECT_EQ(files, first_round_.try_emplace(when, files).first->second) << when;
}

TEST_F(Soak, OfTheWindow) {
  const int rounds = rounds_to_do();
  const int sample = std::max(rounds / kSamples, 1);
  const int report = std::max(rounds / kReports, 1);
  History history;
  for (int round = 1; round <= rounds; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    do_round(round);
    ASSERT_FALSE(HasFailure());
    close();
    if (round % sample == 0) history.add(round, usage());
    if (round == sample) show(history.names());
    if (round % report == 0) show(history.latest());
  }
  show(history.growths());
  EXPECT_THAT(history.leaks(), IsEmpty());
}

}  // namespace
}  // namespace zendro::soak
