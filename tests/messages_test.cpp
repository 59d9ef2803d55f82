#include <regex>
#include <thread>

#include <gtest/gtest.h>

#include "framework/text/utf8.h"
#include "msg/logger.h"
#include "msg/message.h"
#include "msg/shown.h"
#include "msg/text_builder.h"
#include "tests/stopwatch.h"

namespace zendro::msg {
namespace {

using framework::to_utf8;
using framework::to_wide;

TEST(MessageTable, CodesAreRowNumbersAndUnknownOnesAreEmpty) {
  EXPECT_EQ(message_identifier(0), L"verbose_start_loading_pkg_catalog");
  EXPECT_EQ(message_identifier(43), L"log_file_exists");
  EXPECT_EQ(message_identifier(82), L"label_conflicts");
  EXPECT_EQ(message_identifier(84), L"local_files_left_out");
  EXPECT_EQ(message_text(25), L"Zendro {pkgtype} {path} doesn not exist.");
  EXPECT_EQ(message_text(49), L"The following depricated {pkgtypes} will be removed: {pkgs}.");
  for (const int code : {-1, 83, 86, 1'000'000}) {
    EXPECT_TRUE(message_identifier(code).empty());
    EXPECT_TRUE(message_text(code).empty());
  }
  EXPECT_EQ(parameter_role(0), L"location");
  EXPECT_EQ(parameter_role(3), L"subParam");
  EXPECT_TRUE(parameter_role(4).empty());
  EXPECT_TRUE(parameter_role(-1).empty());
}

TEST(Format, FillsOnceAndKeepsValuesOnTheirLine) {
  EXPECT_EQ(fill(L"{a}-{b}", {{L"a", L"{b}"}, {L"b", L"2"}}), L"{b}-2");
  EXPECT_EQ(fill(L"x{unknown} {", {{L"a", L"1"}}), L"x{unknown} {");
  EXPECT_EQ(fill(L"{{a}}", {{L"a", L"1"}}), L"{1}");
  EXPECT_EQ(fill(L"{a}", {{L"a", L"one\r\ntwo\x1b[0m\x2028"}}), L"one  two [0m ");
  EXPECT_EQ(format_message(static_cast<int>(Code::not_initialized), {{L"pkgtype", L""}}),
            L" Manager cache is not initialized.");
  EXPECT_EQ(format_message(83, {}), L"");
}

TEST(Shown, MakesVisibleWhatNobodySeesAndLeavesOrdinaryText) {
  const std::vector<std::pair<std::string, std::string>> kTexts = {
      {"good\u202Egpj.1.0", "good<U+202E>gpj.1.0"},
      {"\u2066a\u2069\u200B\u2060\uFEFF\u00AD\u034F\u061C",
       "<U+2066>a<U+2069><U+200B><U+2060><U+FEFF><U+00AD><U+034F><U+061C>"},
      {"\u3164\u115F\uFFA0\u180E\uFFF9\uFDD0\uFFFE\U000E0041\U0001D173",
       "<U+3164><U+115F><U+FFA0><U+180E><U+FFF9><U+FDD0><U+FFFE><U+E0041><U+1D173>"},
      {"a\u200Db \u200C- a\uFE0F 1\uFE0F", "a<U+200D>b <U+200C>- a<U+FE0F> 1<U+FE0F>"},
      {"one\r\ntwo\x1B[0m\u0085\u2028x\x80", "one  two [0m  x\uFFFD"},
      // Persian, Hindi, old Malayalam, the Arabic sign of a year, a family, a key, a heart.
      {"\u0645\u06CC\u200C\u062E\u0648\u0627\u0647\u0645", ""},
      {"\u0915\u094D\u200D\u0937 \u0928\u0D4D\u200D \u0601\u0661", ""},
      {"\U0001F468\u200D\u2764\uFE0F\u200D\U0001F468 1\uFE0F\u20E3 \u2764\uFE0F", ""},
      {"\u8FBB\U000E0100 \u05E9\u05DC\u05D5\u05DD caf\u0065\u0301", ""}};
  for (const auto& [text, expected] : kTexts) {
    const std::wstring visible = shown(text);
    EXPECT_EQ(to_utf8(visible), expected.empty() ? text : expected);
    EXPECT_EQ(shown(visible), visible);
    EXPECT_EQ(shown(to_wide(text)), visible);
  }
}

TEST(Shown, CutsBetweenCharacters) {
  const std::vector<std::pair<std::string, std::string>> kTexts = {
      {"12345678", "12345678"},
      {"123456789", "1234567\u2026"},
      {"123456e\u0301\u0301\u0301", "123456\u2026"},
      {"12345\U0001F468\u200D\U0001F469\u200D\U0001F466", "12345\u2026"},
      {"1234\u202E", "1234\u2026"},
      {"\u202E12", "\u2026"}};
  for (const auto& [text, expected] : kTexts) {
    const std::wstring cut = shown(text, 8);
    EXPECT_EQ(to_utf8(cut), expected) << text;
    EXPECT_EQ(shown(cut, 8), cut);
  }
  // However many marks: a character with more than any has is cut all the same.
  std::wstring zalgo = L"a";
  zalgo.append(1'000, L'\x0301');
  EXPECT_EQ(shown(zalgo, 500).size(), 456u);
  std::string picture;
  for (int i = 0; i < 50'000'000 / 4; ++i) picture += "\U0001F4E6";
  const tests::Stopwatch stopwatch;
  const std::wstring cut = shown(picture, kMostOfCell);
  EXPECT_LE(cut.size(), kMostOfCell);
  EXPECT_EQ(to_utf8(cut).find("\uFFFD"), std::string::npos) << "no half of a character";
  EXPECT_LT(stopwatch.seconds(), 0.02);
  EXPECT_EQ(shown_lines(L"12345\r\n123\n", 4), L"123\x2026\n123\n");
}

TEST(Message, ShowsItsHintOnALineOfItsOwn) {
  const Message message{Code::create_folder, {{L"path", L"/x"}}, Severity::error, L"no\nspace"};
  EXPECT_EQ(message.text(), L"Can't create folder /x.\nno space");
  EXPECT_EQ(message.identifier(), L"create_folder");
  const Message plain{{}, {}, Severity::error, L"cause"};
  EXPECT_EQ(plain.text(), L"cause");
  EXPECT_EQ(plain.identifier(), L"io_error");
}

TEST(TextBuilder, AssemblesMessages) {
  TextBuilder builder;
  const std::vector<std::wstring> parts = {L"a", L"b", L"c"};
  builder.begin_message(L"Warning").add(L"look at ").add_quoted(L"x");
  builder.begin_message().add_list(parts, 2);
  builder.begin_message().add_list(parts, 3);
  EXPECT_EQ(builder.text(), L"Warning: look at 'x'\na, b, ...\na, b, c");
  EXPECT_GE(builder.capacity(), 1024u);
  builder.add(std::wstring(5000, L'x'));
  EXPECT_GE(builder.capacity(), 10'000u);
}

TEST(Utf, ConvertsBothWaysAndReplacesRubbish) {
  const std::string text = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
  EXPECT_EQ(to_utf8(to_wide(text)), text);
  // A lone continuation byte, an overlong form, a surrogate, a character that is cut off.
  for (const char* rubbish : {"\x80", "\xC0\xAF", "\xED\xA0\x80", "\xE2\x82"}) {
    EXPECT_EQ(to_wide(rubbish)[0], L'\xFFFD') << rubbish;
  }
}

class Recorder : public LogHandler {
 public:
  explicit Recorder(std::vector<std::wstring>& lines, std::wstring name = {})
      : lines_(lines), name_(std::move(name)) {}
  void handle_line(std::int64_t time, std::wstring_view kind, std::wstring_view line) override {
    EXPECT_GT(time, 1'700'000'000);
    EXPECT_EQ(kind, kLogKind);
    if (action) action();
    lines_.push_back(name_ + std::wstring(line));
  }
  std::function<void()> action;

 private:
  std::vector<std::wstring>& lines_;
  std::wstring name_;
};

TEST(Logger, PrefixesLinesWithLocalTimeAndKind) {
  std::vector<std::wstring> lines;
  Logger logger;
  EXPECT_FALSE(logger.log(kLogKind, L"nobody listens", kLevelProgress));
  logger.add_handler(std::make_shared<Recorder>(lines));
  EXPECT_TRUE(logger.log(kLogKind, L"Install {arg1}.", kLevelDetail));
  EXPECT_TRUE(logger.log(kLogKind, static_cast<int>(Code::log_OK), {L"x"}, kLevelProgress));
  ASSERT_EQ(lines.size(), 2u);
  const std::wregex form(LR"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d PKG Install \{arg1\}\.)");
  EXPECT_TRUE(std::regex_match(lines[0], form)) << to_utf8(lines[0]);
  EXPECT_TRUE(lines[1].ends_with(L" PKG OK."));

  const auto now = std::time(nullptr);
  wchar_t today[32];
  std::wcsftime(today, std::size(today), L"%Y-%m-%dT%H:", std::localtime(&now));
  EXPECT_TRUE(lines[1].starts_with(today));
}

TEST(Logger, DropsLinesBelowItsThreshold) {
  std::vector<std::wstring> lines;
  Logger logger(std::wstring(kPrefixFormat), kLevelProgress);
  logger.add_handler(std::make_shared<Recorder>(lines));
  EXPECT_FALSE(logger.log(kLogKind, L"detail", kLevelDetail));
  EXPECT_FALSE(logger.log(kLogKind, 59, {}, kLevelDetail));
  EXPECT_TRUE(logger.log(kLogKind, L"progress", kLevelProgress));
  EXPECT_EQ(lines.size(), 1u);
}

TEST(Logger, CallsHandlersInOrderAndKeepsARemovedOneAliveDuringItsCall) {
  std::vector<std::wstring> lines;
  Logger logger;
  auto first = std::make_shared<Recorder>(lines, L"1:");
  const std::weak_ptr<Recorder> watched = first;
  // Removes itself while it is being called; nothing else holds it then.
  first->action = [&logger, handler = first.get()] { logger.remove_handler(handler); };
  logger.add_handler(std::move(first));
  logger.add_handler(std::make_shared<Recorder>(lines, L"2:"));
  logger.log(kLogKind, L"a", kLevelProgress);
  EXPECT_TRUE(watched.expired());
  logger.log(kLogKind, L"b", kLevelProgress);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_TRUE(lines[0].starts_with(L"1:") && lines[1].starts_with(L"2:"));
  EXPECT_TRUE(lines[2].starts_with(L"2:") && lines[2].ends_with(L"b"));
}

}  // namespace
}  // namespace zendro::msg
