// Reading ahead: requests that are sent before their turn, which nobody must notice.
#include <algorithm>
#include <chrono>
#include <set>
#include <thread>

#include "framework/digest.h"
#include "framework/http.h"
#include "tests/manager_fixture.h"

namespace zendro::tests {
namespace {

namespace fs = std::filesystem;
using demo::Fault;
using demo::Reply;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

framework::TransportSettings impatient() {
  framework::TransportSettings settings;
  settings.stall_time = std::chrono::seconds(1);
  return settings;
}

/// One request after the other, whatever is expected.
class OneByOne : public framework::HttpTransport {
 public:
  std::shared_ptr<framework::HttpResponse> get(const framework::HttpRequest& request,
                                               framework::IoError& error) override {
    return inner_->get(request, error);
  }
  framework::SendOutcome post(const framework::HttpRequest& request, std::string_view body,
                              framework::IoError& error) override {
    return inner_->post(request, body, error);
  }

 private:
  std::unique_ptr<framework::HttpTransport> inner_ = framework::make_http_transport(impatient());
};

class ReadAheadTest : public ManagerTest {
 protected:
  /// All that a user can tell of a run.
  struct Seen {
    bool done = false;
    std::vector<std::string> messages;
    std::vector<std::string> log;
    std::map<std::string, std::string> files;
    std::size_t bootstraps = 0;
    bool operator==(const Seen&) const = default;
  };

  Seen install(bool reads_ahead, const std::function<void()>& prepare = {}) {
    fs::remove_all(package_folder("a-1.0.0"));
    fs::remove(cache_file("pkgs-installed.json"));
    if (prepare) prepare();
    cache().set_transport_factory([reads_ahead]() -> std::unique_ptr<framework::HttpTransport> {
      if (reads_ahead) return framework::make_http_transport(impatient());
      return std::make_unique<OneByOne>();
    });
    Seen seen;
    seen.done = cache().install({"a"});
    seen.messages = take_messages();
    seen.log = take_log();
    seen.files = snapshot();
    const std::vector<std::string> requests = take_requests();
    seen.bootstraps =
        static_cast<std::size_t>(std::count(requests.begin(), requests.end(), "GET /bootstrap"));
    requested_.clear();
    requested_.insert(requests.begin(), requests.end());
    return seen;
  }

  void expect_no_difference(const std::string& what, bool done,
                            const std::function<void()>& prepare = {}) {
    const Seen one_by_one = install(false, prepare);
    const Seen ahead = install(true, prepare);
    EXPECT_EQ(one_by_one.done, done) << what;
    EXPECT_EQ(one_by_one.done, ahead.done) << what;
    EXPECT_EQ(one_by_one.messages, ahead.messages) << what;
    EXPECT_EQ(one_by_one.log, ahead.log) << what;
    EXPECT_TRUE(one_by_one.files == ahead.files) << what;
    EXPECT_EQ(one_by_one.bootstraps, ahead.bootstraps) << what;
  }

  std::multiset<std::string> requested_;  ///< by the last run
};

struct Case {
  const char* what;
  std::function<Fault(const std::string& url)> fault;
  bool done = false;
};

const Case kFaults[] = {
    {"404", [](const auto&) { return Fault::replaced(Reply::with_status(404)); }},
    {"204", [](const auto&) { return Fault::replaced(Reply::with_status(204)); }},
    {"500", [](const auto&) { return Fault::replaced(Reply::with_status(500, "<html>oops")); }},
    {"other bytes", [](const auto&) { return Fault::replaced(Reply::bytes("<html>")); }},
    {"a redirect", [](const auto& url) { return Fault::replaced(Reply::redirect(url)); }, true},
    {"a redirect to elsewhere",
     [](const auto&) { return Fault::replaced(Reply::redirect("ftp://127.0.0.1/")); }},
    {"closed", [](const auto&) { return Fault::close(); }},
    {"cut short", [](const auto&) { return Fault::close(3); }},
    {"reset", [](const auto&) { return Fault::reset(); }},
    {"wrong length", [](const auto&) { return Fault::wrong_length(500'000); }},
    {"garbage", [](const auto&) { return Fault::bad_chunks(); }},
    {"late", [](const auto&) { return Fault::late(milliseconds(150)); }, true},
};

// Large ones among them: they are held back after their first blocks.
std::vector<std::pair<std::string, std::string>> members() {
  return {{"0.zip", "zero"},  {"1.zip", std::string(400'000, '1')}, {"2.zip", ""},
          {"3.zip", "three"}, {"4.zip", std::string(900'000, '4')}, {"5.zip", "five five"}};
}

TEST_F(ReadAheadTest, AFaultAtAnyMemberLooksTheSame) {
  start_with({{"a-1.0.0", members()}});
  for (const auto& [name, bytes] : members()) {
    server_.serve("/elsewhere/" + name, Reply::bytes(bytes));
  }
  expect_no_difference("no fault", true);
  for (const Case& fault : kFaults) {
    for (const auto& [name, bytes] : members()) {
      server_.set_fault("/store/" + name, fault.fault(server_.url("elsewhere/" + name)));
      const bool is_same = std::string_view(fault.what) == "cut short" && bytes.size() <= 3;
      expect_no_difference(std::string(fault.what) + " at " + name, fault.done || is_same);
      server_.clear_faults();
    }
  }
  for (const char* name : {"1.zip", "5.zip"}) {
    server_.set_fault(std::string("/store/") + name, Fault::stall(3));
    expect_no_difference(std::string("a stall at ") + name, false);
    server_.clear_faults();
  }
}

TEST_F(ReadAheadTest, WhatIsOnTheDiskLooksTheSame) {
  start_with({{"a-1.0.0", members()}});
  for (const auto& [name, bytes] : members()) {
    const fs::path file = package_folder("a-1.0.0") / name;
    expect_no_difference(name + " is there", true, [&] { write_text(file, bytes); });
    EXPECT_EQ(requested_.count("GET /store/" + name), 0U);
    expect_no_difference(name + " is there, damaged", true, [&] { write_text(file, "?"); });
    EXPECT_EQ(requested_.count("GET /store/" + name), 1U);
    expect_no_difference(name + " cannot be written", false, [&] { fs::create_directories(file); });
  }
}

TEST_F(ReadAheadTest, NothingIsAskedForBehindAMemberThatIsRefused) {
  TestPackage package{"a-1.0.0", members()};
  package.more = package.meta();
  package.more["files"].as_object()["3.zip"] = "no digest";
  start_with({package});
  expect_no_difference("no digest", false);
  EXPECT_THAT(requested_, testing::Not(testing::Contains("GET /store/3.zip")));
  EXPECT_THAT(requested_, testing::Not(testing::Contains("GET /store/4.zip")));
  EXPECT_THAT(requested_, testing::Contains("GET /store/2.zip"));
}

TEST_F(ReadAheadTest, WaitsForManyAnswersAtOnce) {
  TestPackage package{"a-1.0.0", {}};
  for (int i = 0; i < 60; ++i) package.members.emplace_back(std::to_string(i) + ".zip", "x");
  start_with({package});
  constexpr milliseconds kLate{50};
  for (const auto& [name, bytes] : package.members) {
    server_.set_fault("/store/" + name, Fault::late(kLate));
  }
  const std::size_t before = server_.connections();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(install(true).done);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 30 * kLate);
  EXPECT_LE(server_.connections() - before, 21U) << "no more than a server can be asked to bear";
  EXPECT_EQ(requested_.size(), 62U) << "each once, the bootstrap and what is told at the end";
}

// Servers close connections on which nobody reads; what was cut short meanwhile is fetched anew.
TEST(ReadAhead, AnAnswerThatDidNotOutliveTheWaitIsAskedForAgain) {
  demo::LoopbackServer server;
  for (const char* name : {"a", "b", "c"})
    server.serve(std::string("/") + name, Reply::bytes(name));
  server.set_fault("/b", Fault::replaced(Reply::with_status(503)).first(1));
  server.set_fault("/c", Fault::close(0).first(1));
  const auto transport = framework::make_http_transport(impatient());
  transport->expect({server.url("b"), server.url("c")});
  for (const char* name : {"a", "b", "c"}) {
    framework::IoError error;
    framework::HttpRequest request;
    request.url = server.url(name);
    const auto answer = transport->get(request, error);
    ASSERT_TRUE(answer) << error.text;
    // Time for what was sent ahead.
    std::this_thread::sleep_for(milliseconds(100));
    char byte = 0;
    EXPECT_EQ(answer->read(&byte, 1), 1) << name;
    EXPECT_EQ(byte, *name);
    EXPECT_EQ(answer->read(&byte, 1), 0);
  }
}

}  // namespace
}  // namespace zendro::tests
