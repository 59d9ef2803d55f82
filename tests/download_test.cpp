// Proving and downloading the members of packages.
#include "pkg/download.h"

#include <algorithm>

#include "app/options/options.h"
#include "framework/io/digest.h"
#include "pkg/core_context.h"
#include "pkg/percent_encoding.h"
#include "tests/manager_fixture.h"

namespace zendro::tests {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

class DownloadTest : public ManagerTest {
 protected:
  const std::string download_failed_ = "download_pkg pkg=a-1.0.0 pkgtype=XML Schema";
};

TEST(LocalMemberName, IsOneSegmentOfAnIri) {
  EXPECT_EQ(pkg::local_member_name("a/b c.zip"), "a%2Fb%20c.zip");
  EXPECT_EQ(pkg::local_member_name("a%20b%"), "a%20b%");
  EXPECT_EQ(pkg::local_member_name("azAZ09-._~!$&'()*+,;=:@%"), "azAZ09-._~!$&'()*+,;=:@%");
  EXPECT_EQ(pkg::local_member_name("\"<>?#[]\\^`{|}\x7F\n"),
            "%22%3C%3E%3F%23%5B%5D%5C%5E%60%7B%7C%7D%7F%0A");
  // U+00A0, U+D7FF, U+F900, U+FDCF, U+FDF0, U+FFEF, U+10000, U+1FFFD, U+DFFFD, U+E1000 and U+EFFFD
  // may stand in an IRI; the rest of each row is next to them and may not.
  const std::string kept =
      "\xC2\xA0\xED\x9F\xBF\xEF\xA4\x80\xEF\xB7\x8F\xEF\xB7\xB0\xEF\xBF\xAF\xF0\x90\x80\x80\xF0\x9F"
      "\xBF\xBD\xF3\x9F\xBF\xBD"
      "\xF3\xA1\x80\x80\xF3\xAF\xBF\xBD";
  EXPECT_EQ(pkg::local_member_name(kept), kept);
  EXPECT_EQ(pkg::local_member_name("\xC2\x9F"), "%C2%9F");                // U+009F
  EXPECT_EQ(pkg::local_member_name("\xEE\x80\x80"), "%EE%80%80");         // U+E000
  EXPECT_EQ(pkg::local_member_name("\xEF\xB7\x90"), "%EF%B7%90");         // U+FDD0
  EXPECT_EQ(pkg::local_member_name("\xEF\xBF\xB0"), "%EF%BF%B0");         // U+FFF0
  EXPECT_EQ(pkg::local_member_name("\xF0\x9F\xBF\xBE"), "%F0%9F%BF%BE");  // U+1FFFE
  EXPECT_EQ(pkg::local_member_name("\xF3\xA0\x80\x81"), "%F3%A0%80%81");  // U+E0001
  EXPECT_EQ(pkg::local_member_name("\xF3\xB0\x80\x80"), "%F3%B0%80%80");  // U+F0000
  EXPECT_EQ(pkg::local_member_name("\xFF\xC3"), "%FF%C3");                // no UTF-8
}

TEST_F(DownloadTest, StoresMembersFlatAndProvesThemWithoutTheStore) {
  start_with({{"a-1.0.0", {{"xsd/x y.zip", "one"}, {"two.zip", ""}}}});
  server_.serve("/store/xsd/x%20y.zip", loopback::Reply::bytes("one"));
  EXPECT_TRUE(cache().install({"a"}));
  EXPECT_EQ(file_text(package_folder("a-1.0.0") / "xsd%2Fx%20y.zip"), "one");
  EXPECT_EQ(file_text(package_folder("a-1.0.0") / "two.zip"), "");
  EXPECT_THAT(
      take_log(),
      ElementsAre("Filter a matched XML Schema a-1.0.0.", "Install a-1.0.0.",
                  "Create folder $/pkgs/xsd/a-1.0.0/.",
                  "Download from Zendro XML Schema store: xsd/x y.zip.", "Downloading xsd/x y.zip.",
                  "Download from Zendro XML Schema store: two.zip.", "Downloading two.zip."));
  EXPECT_THAT(take_requests(),
              ElementsAre("GET /bootstrap", "GET /store/xsd/x%20y.zip", "GET /store/two.zip",
                          "POST /api/package-manager/v1/telemetry"));

  // Forgotten by the list, but still on the disk: nothing has to be fetched.
  fs::remove(cache_file("pkgs-installed.json"));
  EXPECT_TRUE(cache().install({"a"}));
  EXPECT_THAT(take_requests(), ElementsAre("POST /api/package-manager/v1/telemetry"));
  EXPECT_EQ(take_log().back(), "File $/pkgs/xsd/a-1.0.0/two.zip already exists.");
}

TEST_F(DownloadTest, FetchesAgainWhatDoesNotHaveItsDigest) {
  start_with({{"a-1.0.0", {{"one.zip", "right"}}}});
  write_text(package_folder("a-1.0.0") / "one.zip", "wrong, and longer than the right one");
  EXPECT_TRUE(cache().install({"a"}));
  EXPECT_THAT(take_messages(), IsEmpty());
  EXPECT_EQ(file_text(package_folder("a-1.0.0") / "one.zip"), "right");
  EXPECT_THAT(take_log(), ElementsAre("Filter a matched XML Schema a-1.0.0.", "Install a-1.0.0.",
                                      "File $/pkgs/xsd/a-1.0.0/one.zip already exists.",
                                      "Checksum mismatch for member one.zip of XML Schema a-1.0.0.",
                                      "Download from Zendro XML Schema store: one.zip.",
                                      "Downloading one.zip."));
}

TEST_F(DownloadTest, StopsAtTheFirstBadDigest) {
  const std::string good = framework::to_hex(framework::sha256("x"));
  std::string upper = good;
  for (char& c : upper) c = static_cast<char>(std::toupper(c));
  TestPackage package{"a-1.0.0", {{"1.zip", "x"}, {"2.zip", "x"}, {"3.zip", "x"}}};
  package.more["files"] =
      json::object{{"1.zip", upper}, {"2.zip", good.substr(1)}, {"3.zip", good}};
  start_with({package});
  EXPECT_FALSE(cache().install({"a"}));
  EXPECT_THAT(take_messages(), ElementsAre("checksum_invalid pkg=a-1.0.0 file=2.zip sum=" +
                                           good.substr(1) + " pkgtype=XML Schema"));
  EXPECT_TRUE(fs::exists(package_folder("a-1.0.0") / "1.zip"));
  EXPECT_FALSE(fs::exists(package_folder("a-1.0.0") / "3.zip"));
  EXPECT_THAT(take_requests(), ElementsAre("GET /bootstrap", "GET /store/1.zip"));
}

// "a/b" and "a%2Fb" are one local file.
TEST_F(DownloadTest, MembersOfOneLocalNameHaveTheSameBytes) {
  start_with({{"good-1.0.0", {{"a/b", "x"}, {"a%2Fb", "x"}}},
              {"bad-1.0.0", {{"a/b", "x"}, {"a%2Fb", "y"}, {"c", "z"}}}});
  EXPECT_TRUE(cache().install({"good"}));
  EXPECT_EQ(file_text(package_folder("good-1.0.0") / "a%2Fb"), "x");
  take_requests();
  EXPECT_FALSE(cache().install({"bad"}));
  EXPECT_THAT(texts().front(), testing::HasSubstr("Another member has the same local name."));
  EXPECT_EQ(take_messages().size(), 1U);
  EXPECT_EQ(file_text(package_folder("bad-1.0.0") / "a%2Fb"), "x");
  EXPECT_FALSE(fs::exists(package_folder("bad-1.0.0") / "c"));
}

TEST_F(DownloadTest, AMemberIsNoLargerThanTheOptionSays) {
  start_with({{"a-1.0.0", {{"one.zip", std::string(1000, 'x')}}}});
  set_option(app::option::member_size_limit, 999);
  EXPECT_FALSE(cache().install({"a"}));
  EXPECT_THAT(texts().front(), testing::HasSubstr("@store/one.zip: holds more than 999 bytes"));
  EXPECT_THAT(take_messages(), ElementsAre("io_error", download_failed_));
  EXPECT_FALSE(fs::exists(package_folder("a-1.0.0") / "one.zip"));
  set_option(app::option::member_size_limit, 1000);
  EXPECT_TRUE(cache().install({"a"}));
}

TEST_F(DownloadTest, NoTextTellsThePasswordOfAMember) {
  if (fs::path::preferred_separator != '/') GTEST_SKIP() << "no name of a file has a colon";
  const std::string host = server_.url("store/").substr(std::string_view("http://").size());
  const std::string member = "http://me:my secret@" + host + "one.zip";
  start_with({{"a-1.0.0", {{member, "x"}}}});
  EXPECT_FALSE(cache().install({"a"}));
  EXPECT_THAT(texts(), testing::Each(testing::Not(testing::HasSubstr("secret"))));
  EXPECT_THAT(texts().front(), testing::HasSubstr("a user name or password of its own"));
  EXPECT_THAT(take_log(), testing::Each(testing::Not(testing::HasSubstr("secret"))));
}

TEST_F(DownloadTest, AWrongDownloadIsAnErrorAndIsMendedByTheNextRun) {
  start_with({{"a-1.0.0", {{"one.zip", "right"}}}});
  server_.set_fault("/store/one.zip",
                    loopback::Fault::replaced(loopback::Reply::bytes("<html>")).first(1));
  EXPECT_FALSE(cache().install({"a"}));
  EXPECT_THAT(take_messages(),
              ElementsAre("checksum_mismatch pkg=a-1.0.0 file=one.zip pkgtype=XML Schema"));
  EXPECT_EQ(file_text(package_folder("a-1.0.0") / "one.zip"), "<html>");
  EXPECT_FALSE(fs::exists(cache_file("pkgs-installed.json")));
  EXPECT_TRUE(cache().install({"a"}));
  EXPECT_EQ(file_text(package_folder("a-1.0.0") / "one.zip"), "right");
}

TEST_F(DownloadTest, ATransferThatFailsIsReportedWithItsCause) {
  start_with({{"a-1.0.0", {{"one.zip", std::string(100'000, 'x')}}}});
  const auto folder_after = [&](const loopback::Fault& fault) {
    fs::remove_all(package_folder("a-1.0.0"));
    server_.set_fault("/store/one.zip", fault);
    EXPECT_FALSE(cache().install({"a"}));
    EXPECT_THAT(texts().front(), testing::HasSubstr("@store/one.zip: "));
    EXPECT_THAT(take_messages(), ElementsAre("io_error", download_failed_));
    return fs::exists(package_folder("a-1.0.0") / "one.zip");
  };
  // Without an answer that counts no file is opened.
  EXPECT_FALSE(folder_after(loopback::Fault::replaced(loopback::Reply::with_status(404))));
  EXPECT_FALSE(folder_after(loopback::Fault::replaced(loopback::Reply::with_status(204))));
  EXPECT_FALSE(
      folder_after(loopback::Fault::replaced(loopback::Reply::redirect("ftp://127.0.0.1/x"))));
  EXPECT_FALSE(folder_after(loopback::Fault::close()));
  EXPECT_TRUE(folder_after(loopback::Fault::close(50'000)));
  EXPECT_TRUE(folder_after(loopback::Fault::bad_chunks()));
  server_.clear_faults();
  EXPECT_TRUE(cache().install({"a"}));
}

TEST_F(DownloadTest, AMemberThatMakesNoUrlIsNamedWithItsPackageAndTheReason) {
  start_with({{"a-1.0.0", {{"http://[x/m.zip", ""}}}, {"b-1.0.0", {{"ftp://me:pw@h/m.zip", ""}}}});
  for (const auto& [package, text] :
       {std::pair("a",
                  "a-1.0.0: \"http://[x/m.zip\" makes no address in the store @store/: "
                  "not a URL"),
        std::pair("b",
                  "b-1.0.0: \"ftp://***@h/m.zip\" makes no address in the store @store/: "
                  "not an http or https URL")}) {
    EXPECT_FALSE(cache().install({package}));
    EXPECT_EQ(texts().front(), text);
    EXPECT_EQ(take_messages().size(), 2U);
  }
}

TEST_F(DownloadTest, WhatCannotBeWrittenIsReportedWithItsPath) {
  start_with({{"a-1.0.0", {{"one.zip", "x"}}}});
  fs::create_directories(package_folder("a-1.0.0") / "one.zip");  // a folder in the member's place
  EXPECT_FALSE(cache().install({"a"}));
  EXPECT_THAT(texts().front(), testing::HasSubstr("$/pkgs/xsd/a-1.0.0/one.zip"));
  EXPECT_THAT(take_messages(), ElementsAre("io_error", download_failed_));
}

TEST_F(DownloadTest, TracesEachPackageToAFileOfItsOwnInTheLogFolder) {
  set_option(app::option::log_remote_io, true);
  const std::string longest = "\x1f\x20\x7f" + std::string(150 - 13, 'a') + "-1.0.0";
  std::vector<TestPackage> packages;
  for (const std::string& identity : {std::string("../../up-1.0.0"), longest, "b" + longest}) {
    const std::string folder = std::to_string(identity.size());
    packages.push_back({identity, {{"one.zip", "x"}}, {}, {}, {{"_pkg_installdir", folder}}});
  }
  start_with(packages);
  EXPECT_TRUE(cache().install({"../../up", longest, "b" + longest}));
  const std::string shown = "%1F %7F" + std::string(150 - 13, 'a') + "-1.0.0";
  const std::string name = "b" + longest;
  std::vector<std::string> logs;
  for (const auto& entry : fs::directory_iterator(cache_file("logs"))) {
    logs.push_back(entry.path().filename().string());
  }
  const std::string digest = framework::to_hex(framework::sha256(name));
  EXPECT_THAT(logs, testing::IsSupersetOf({std::string("io_pkgstore.log"), "io_" + shown + ".log",
                                           "io_b" + shown.substr(0, 149) + "-" + digest + ".log"}));
  EXPECT_THAT(file_text(cache_file("logs/io_..%2F..%2Fup-1.0.0.log")),
              testing::HasSubstr("one.zip"));
}

TEST_F(DownloadTest, TellsHowFarItIs) {
  const std::string big(300'000, 'x');
  start_with(
      {{"a-1.0.0", {{"one.zip", big}, {"two.zip", "x"}}}, {"b-1.0.0", {{"three.zip", big}}}});
  std::vector<pkg::progress_t> seen;
  cache().set_progress_sink([&seen](const pkg::progress_t& progress) { seen.push_back(progress); });
  EXPECT_TRUE(cache().install({"a", "b"}));
  ASSERT_FALSE(seen.empty());
  bool complete = false;
  for (std::size_t i = 1; i < seen.size(); ++i) {
    EXPECT_GE(seen[i].members_done, seen[i - 1].members_done);
    complete |= seen[i].bytes == big.size() && seen[i].bytes_done == big.size();
  }
  EXPECT_TRUE(complete);
  EXPECT_EQ(seen.back().members_done, 3u);
  EXPECT_EQ(seen.back().members, 3u);

  // Of an operation without members its transfers are told.
  seen.clear();
  EXPECT_TRUE(cache().update_store_information(true));
  ASSERT_FALSE(seen.empty());
  const auto under_way = [](const pkg::progress_t& progress) { return progress.bytes_done > 0; };
  EXPECT_GE(std::count_if(seen.begin(), seen.end(), under_way), 2) << "bootstrap and list";
  EXPECT_FALSE(under_way(seen.back())) << "what has arrived is not under way";
}

// A transport whose transfers break off without anything being recorded.
class SilentlyFailing : public framework::HttpTransport {
 public:
  explicit SilentlyFailing(bool& asked) : asked_(asked) {}
  framework::HttpAnswer get(const framework::HttpRequest& request) override {
    if (request.url.ends_with("bootstrap")) return real_->get(request);
    asked_ = true;
    return tl::unexpected(framework::IoError());
  }
  framework::PostResult post(const framework::HttpRequest&, std::string_view) override {
    return {};
  }

 private:
  bool& asked_;
  std::unique_ptr<framework::HttpTransport> real_ = framework::make_http_transport();
};

// What is recorded decides about the outcome of a download, nothing else.
TEST_F(DownloadTest, TheRecordedErrorsDecide) {
  start_with({{"a-1.0.0", {{"one.zip", "x"}}}});
  bool asked = false;
  cache().set_transport_factory([&asked] { return std::make_unique<SilentlyFailing>(asked); });
  EXPECT_TRUE(cache().install({"a"}));
  EXPECT_TRUE(asked);
  EXPECT_FALSE(fs::exists(package_folder("a-1.0.0") / "one.zip"));
  cache().set_transport_factory({});

  std::mutex lock;
  std::vector<std::wstring> messages;
  json::object options = options_;
  app::set_type(options, "xsd");
  pkg::core_context context("xsd", options,
                            {.messages =
                                 [&messages](const msg::Message& message) {
                                   messages.emplace_back(message.identifier());
                                 }},
                            lock);
  const std::optional<pkg::pkgs_available_t> available = cache().load_available();
  ASSERT_TRUE(available);
  context.warn(msg::Code::access_pkg_store_telemetry, {});  // a warning is not an error
  EXPECT_TRUE(pkg::download_pkg(context, pkg::parse_identity("a-1.0.0"), *available));
  fs::remove_all(package_folder("a-1.0.0"));
  context.reporter().report(framework::IoError{"an error of an earlier step"});
  EXPECT_FALSE(pkg::download_pkg(context, pkg::parse_identity("a-1.0.0"), *available));
  EXPECT_EQ(messages.back(), L"download_pkg");
  EXPECT_EQ(file_text(package_folder("a-1.0.0") / "one.zip"), "x");
  EXPECT_FALSE(pkg::download_pkg(context, pkg::parse_identity("a-1"), *available));
  EXPECT_EQ(messages.back(), L"pkg_not_available");
}

}  // namespace
}  // namespace zendro::tests
