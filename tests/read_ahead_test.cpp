// Reading ahead: requests that are sent before their turn, which nobody must notice.
#include <algorithm>
#include <chrono>
#include <limits>
#include <set>
#include <thread>

#include "framework/http/http.h"
#include "framework/io/digest.h"
#include "tests/cause.h"
#include "tests/manager_fixture.h"

namespace zendro::tests {
namespace {

namespace fs = std::filesystem;
using loopback::Fault;
using loopback::Reply;
using std::chrono::milliseconds;

framework::TransportSettings impatient() {
  framework::TransportSettings settings;
  settings.stall_time = std::chrono::seconds(1);
  return settings;
}

/// One request after the other, whatever is expected.
class OneByOne : public framework::HttpTransport {
 public:
  explicit OneByOne(const framework::TransportSettings& settings = impatient())
      : inner_(framework::make_http_transport(settings)) {}
  framework::HttpAnswer get(const framework::HttpRequest& request) override {
    return inner_->get(request);
  }
  framework::PostResult post(const framework::HttpRequest& request,
                             std::string_view body) override {
    return inner_->post(request, body);
  }

 private:
  std::unique_ptr<framework::HttpTransport> inner_;
};

/// Whether one of a few runs takes no longer than it should. What else the machine does weighs most
/// on short ones, so the server answers later in each.
bool holds_once(milliseconds delay, const std::function<bool(milliseconds)>& run) {
  for (const int factor : {1, 1, 2, 4}) {
    if (run(factor * delay)) return true;
  }
  return false;
}

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

  // What the last install() took.
  std::chrono::steady_clock::duration took_{0};

  Seen install(bool reads_ahead, const std::function<void()>& prepare = {}) {
    fs::remove_all(package_folder("a-1.0.0"));
    fs::remove(cache_file("pkgs-installed.json"));
    if (prepare) prepare();
    cache().set_transport_factory([reads_ahead]() -> std::unique_ptr<framework::HttpTransport> {
      if (reads_ahead) return framework::make_http_transport(impatient());
      return std::make_unique<OneByOne>();
    });
    Seen seen;
    const auto begin = std::chrono::steady_clock::now();
    seen.done = cache().install({"a"});
    took_ = std::chrono::steady_clock::now() - begin;
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
  EXPECT_TRUE(holds_once(milliseconds(50), [&](milliseconds delay) {
    for (const auto& [name, bytes] : package.members) {
      server_.set_fault("/store/" + name, Fault::late(delay));
    }
    const std::size_t before = server_.connections();
    EXPECT_TRUE(install(true).done);
    EXPECT_LE(server_.connections() - before, 21U) << "no more than a server can be asked to bear";
    // Each once, the bootstrap and what is told at the end.
    return took_ < 30 * delay && requested_.size() == 62U;
  }));
}

// Such as the smallest of web servers, which knows one connection at a time and keeps it open.
TEST_F(ReadAheadTest, AServerOfOneConnectionIsAskedAsFastAsWithoutReadingAhead) {
  start_with({{"a-1.0.0", {{"0.zip", "0"}, {"1.zip", std::string(300'000, '1')}, {"2.zip", "2"}}}});
  server_.limit_connections(1);
  EXPECT_TRUE(holds_once(milliseconds(200), [this](milliseconds delay) {
    for (const char* path :
         {"/bootstrap", "/telemetry", "/store/0.zip", "/store/1.zip", "/store/2.zip"}) {
      server_.set_fault(path, Fault::late(delay));
    }
    const Seen one_by_one = install(false);
    const auto without = took_;
    EXPECT_TRUE(one_by_one.done);
    EXPECT_TRUE(install(true) == one_by_one);
    return took_ < without * 6 / 5;
  }));
}

// A server whose members are answered late, and a client that gets them as a download does.
class LateStore {
 public:
  LateStore(int members, milliseconds delay, bool closes = false) {
    for (int i = 0; i < members; ++i) {
      std::vector<std::pair<std::string, std::string>> headers;
      if (closes) headers.emplace_back("Connection", "close");
      server.serve("/" + path(i), Reply::bytes(body(i), headers));
      server.set_fault("/" + path(i), Fault::late(delay));
    }
  }

  // The time that it took.
  milliseconds get(framework::HttpTransport& transport, int members) {
    const auto begin = std::chrono::steady_clock::now();
    std::vector<std::string> urls;
    for (int i = 1; i < members; ++i) urls.push_back(server.url(path(i)));
    transport.expect(urls);
    for (int i = 0; i < members; ++i) {
      framework::HttpRequest request;
      request.url = server.url(path(i));
      const framework::HttpAnswer answer = transport.get(request);
      EXPECT_EQ(cause_of(answer), "");
      EXPECT_TRUE(answer && framework::read_all(**answer, 512, 1 << 20) == body(i)) << i;
    }
    transport.expect({});
    return ceil<milliseconds>(std::chrono::steady_clock::now() - begin);
  }

  loopback::LoopbackServer server;

 private:
  static std::string path(int number) { return "m" + std::to_string(number); }
  // Large ones among them: they are held back after their first blocks.
  static std::string body(int number) {
    return std::string(number % 5 == 3 ? 300'000 : 20, static_cast<char>('0' + number % 10));
  }
};

// How a server of few connections fares with reading ahead, measured beside doing without.
struct FewConnections {
  std::size_t connections;
  loopback::Surplus surplus;
  bool closes;
};

// The best of several runs: what else the machine does only ever adds to them.
class BestTimes {
 public:
  BestTimes(const FewConnections& few, milliseconds delay) : few_(few), delay_(delay) {}

  void run() {
    // A second in which the machine does something else is no fault; a request that nobody serves
    // is.
    framework::TransportSettings settings;
    settings.stall_time = std::chrono::seconds(10);
    OneByOne one_by_one(settings);
    without_ = std::min(without_, LimitedStore(few_, delay_).get(one_by_one, kMembers));

    LimitedStore store(few_, delay_);
    const auto transport = framework::make_http_transport(settings);
    first_ = std::min(first_, store.get(*transport, kMembers));
    const std::size_t before = store.server.connections();
    again_ = std::min(again_, store.get(*transport, kMembers));
    further_ = std::min(further_, store.server.connections() - before);
  }
  /// Whether reading ahead is no slower, and faster once it is known how many connections there
  /// are; no further ones are tried then.
  [[nodiscard]] bool are_good() const {
    return first_ < without_ * 6 / 5 &&
           again_ < (few_.connections > 1 ? without_ * 4 / 5 : without_ * 6 / 5) &&
           further_ <= (few_.closes ? 2U * kMembers : 0U);
  }
  friend std::ostream& operator<<(std::ostream& out, const BestTimes& times) {
    return out << times.few_.connections << (times.few_.closes ? ", closing" : "") << ": "
               << times.without_.count() << " ms without, " << times.first_.count() << " and "
               << times.again_.count() << " ms with, " << times.further_ << " more connections";
  }

 private:
  static constexpr int kMembers = 20;
  struct LimitedStore : LateStore {
    LimitedStore(const FewConnections& few, milliseconds delay)
        : LateStore(kMembers, delay, few.closes) {
      server.limit_connections(few.connections, few.surplus);
    }
  };

  FewConnections few_;
  milliseconds delay_;
  milliseconds without_ = milliseconds::max();
  milliseconds first_ = milliseconds::max();
  milliseconds again_ = milliseconds::max();
  std::size_t further_ = std::numeric_limits<std::size_t>::max();
};

TEST(ReadAhead, AServerOfFewConnectionsIsNoSlowerAndIsRemembered) {
  for (const FewConnections few : {FewConnections{1, loopback::Surplus::waits, false},
                                   {1, loopback::Surplus::waits, true},
                                   {1, loopback::Surplus::closed, false},
                                   {2, loopback::Surplus::waits, false},
                                   {2, loopback::Surplus::closed, false},
                                   {5, loopback::Surplus::waits, false}}) {
    // What a request costs by itself, on slow machines, weighs less the later it is answered.
    for (const int delay : {25, 50, 100}) {
      BestTimes times(few, milliseconds(delay));
      int runs = 0;
      do times.run();
      while (!times.are_good() && ++runs < 6);
      if (times.are_good()) break;
      EXPECT_LT(delay, 100) << times;
    }
  }
}

TEST(ReadAhead, AServerThatWasSlowOnceIsReadAheadAgain) {
  EXPECT_TRUE(holds_once(milliseconds(20), [](milliseconds delay) {
    LateStore store(60, delay);
    store.server.set_fault("/m2", Fault::late(10 * delay).first(1));
    const auto transport = framework::make_http_transport(impatient());
    const bool is_overtaken = store.get(*transport, 3) < 8 * delay;
    EXPECT_EQ(store.server.request_count("/m2"), 2U) << "by the connection that works";
    std::this_thread::sleep_for(10 * delay);
    store.get(*transport, 1);
    return is_overtaken && store.get(*transport, 60) < 30 * delay;
  }));
}

TEST(ReadAhead, ARequestThatWasSentTwiceOutlivesTheFirst) {
  LateStore store(3, milliseconds(30));
  Fault broken = Fault::close();
  broken.delay = milliseconds(60);
  store.server.set_fault("/m2", broken);
  store.server.observe([&store](const loopback::ServedRequest& request) {
    if (request.path == "/m2") store.server.set_fault("/m2", Fault::late(milliseconds(100)));
  });
  store.get(*framework::make_http_transport(impatient()), 3);
  EXPECT_EQ(store.server.request_count("/m2"), 2U);
}

// Servers close connections on which nobody reads; what was cut short meanwhile is fetched anew.
// On a busy machine, nothing may have been sent ahead: then the only request is the one that fails.
bool fetches_anew_what_was_cut_short() {
  loopback::LoopbackServer server;
  for (const char* name : {"a", "b", "c"})
    server.serve(std::string("/") + name, Reply::bytes(name));
  server.set_fault("/b", Fault::replaced(Reply::with_status(503)).first(1));
  server.set_fault("/c", Fault::close(0).first(1));
  const auto transport = framework::make_http_transport(impatient());
  transport->expect({server.url("b"), server.url("c")});
  for (const std::string name : {"a", "b", "c"}) {
    framework::HttpRequest request;
    request.url = server.url(name);
    const framework::HttpAnswer answer = transport->get(request);
    // Time for what was sent ahead.
    std::this_thread::sleep_for(milliseconds(100));
    char bytes[2] = {};
    if (!answer || (*answer)->read(bytes, 1) != 1) return false;
    EXPECT_EQ(bytes, name);
    EXPECT_EQ((*answer)->read(bytes, 1), 0);
    EXPECT_EQ(server.request_count("/" + name), name == "a" ? 1U : 2U);
  }
  return true;
}

TEST(ReadAhead, AnAnswerThatDidNotOutliveTheWaitIsAskedForAgain) {
  bool is_fetched = false;
  for (int i = 0; i < 10 && !is_fetched; ++i) is_fetched = fetches_anew_what_was_cut_short();
  EXPECT_TRUE(is_fetched);
}

}  // namespace
}  // namespace zendro::tests
