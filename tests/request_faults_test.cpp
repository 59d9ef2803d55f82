// Every request of every operation meets each fault of the network: the operation says what failed,
// changes nothing but what it may, and is set right by the next run.
#include <algorithm>
#include <functional>
#include <memory>

#include "framework/http/http.h"
#include "tests/manager_fixture.h"
#include "tests/zip_builder.h"

namespace zendro::tests {
namespace {

namespace fs = std::filesystem;
using loopback::Fault;
using loopback::Reply;
using testing::IsEmpty;

constexpr const char* kPackageFile = "in.zendro_xmlschemas";

std::string bytes_of(const std::string& member) {
  std::string bytes;
  while (bytes.size() < 400) bytes += member + " ";
  return bytes;
}

TestPackage package(const std::string& identity, std::vector<std::string> references = {}) {
  const std::string member = identity + ".zip";
  return {identity, {{member, bytes_of(member)}}, std::move(references)};
}

struct Operation {
  const char* name;
  std::vector<std::string> installed;  ///< before it
  int first_build;                     ///< of the list that is there before it; the store has 2
  bool registers;                      ///< packages in the list of available ones
  std::function<bool(pkg::pkg_cache_t&, const std::string& folder)> run;
};

const Operation kOperations[] = {
    {"Update",
     {},
     1,
     false,
     [](auto& cache, auto&) { return cache.update_store_information(true); }},
    {"Install", {}, 2, false, [](auto& cache, auto&) { return cache.install({"app"}); }},
    {"Patch", {"lib-1.0.0"}, 2, false, [](auto& cache, auto&) { return cache.install({"lib"}); }},
    {"PackageFile", {}, 2, true, [](auto& cache, const auto& folder) {
       return cache.install({folder + "/" + kPackageFile});
     }}};

class RequestFaultsTest : public ManagerTest, public testing::WithParamInterface<Operation> {
 protected:
  RequestFaultsTest() : wrong_host_(loopback::make_self_signed("elsewhere.example")) {
    write_text(other_ / "trusted.pem", wrong_host_.certificate);
    elsewhere_ = std::make_unique<loopback::LoopbackServer>(std::uint16_t{0}, wrong_host_);
  }

  std::vector<std::pair<const char*, Fault>> faults() {
    const auto leads_to = [](const std::string& url) {
      return Fault::replaced(Reply::redirect(url, 307));
    };
    return {{"refused", leads_to(closed_)},
            {"reset", Fault::reset()},
            {"reset in the body", Fault::reset(10)},
            {"no answer", Fault::close()},
            {"short", Fault::close(10)},
            {"stalled", Fault::stall()},
            {"stalled in the body", Fault::stall(10)},
            {"endless", Fault::endless(kEndless)},
            {"garbage chunks", Fault::bad_chunks()},
            {"length too small", Fault::wrong_length(5)},
            {"length too large", Fault::wrong_length(1'000'000)},
            {"204", Fault::replaced(Reply::with_status(204))},
            {"206", Fault::replaced(Reply::with_status(206, "part"))},
            {"304", Fault::replaced(Reply::with_status(304))},
            {"404", Fault::replaced(Reply::with_status(404, "not here"))},
            {"500", Fault::replaced(Reply::with_status(500, "<html>oops</html>"))},
            {"a page", Fault::replaced(Reply::bytes("<html>Log in, please</html>"))},
            {"redirect without an end", leads_to("?again")},
            {"redirect to ftp", leads_to("ftp://127.0.0.1/x")},
            {"redirect to a file", leads_to("file:///etc/passwd")},
            {"wrong host", leads_to(elsewhere_->url("x"))},
            {"unknown issuer", leads_to(unknown_.url("x"))}};
  }

  void prepare() {
    const std::vector<TestPackage> packages = {package("app-1.0.0", {"lib-1.0"}),
                                               package("lib-1.0.0"), package("lib-1.0.1")};
    publish(packages, GetParam().first_build);
    use_short_times();
    ASSERT_TRUE(cache().update_store_information(true));
    for (const std::string& identity : GetParam().installed) {
      ASSERT_TRUE(cache().install({identity}));
    }
    publish(packages, 2);
    const TestPackage in = package("in-1.0.0", {"lib-1.0"});
    const json::object meta = {{in.identity, in.meta()}, {"provides", {in.identity}}};
    write_text(folder_ / kPackageFile,
               make_zip({{"ZENDROPKG-INF/pkg-meta.json", json::serialize(meta)},
                         {in.members[0].first, in.members[0].second}}));
    fs::copy(folder_ / "pkgs", other_ / "start", fs::copy_options::recursive);
    take_messages();
    take_requests();
  }

  void restore() {
    fs::remove_all(folder_ / "pkgs");
    fs::copy(other_ / "start", folder_ / "pkgs", fs::copy_options::recursive);
  }

  bool run() { return GetParam().run(cache(), folder_.path().string()); }

  // Lets the fault befall one request of the run, and all that follow it.
  bool run_with(const Fault& fault, const std::vector<std::string>& requests, std::size_t number) {
    const auto path_of = [](const std::string& line) { return line.substr(line.find(' ') + 1); };
    const std::string path = path_of(requests[number]);
    std::size_t seen = 0;
    if (number == 0) server_.set_fault(path, fault);
    server_.observe([&](const loopback::ServedRequest&) {
      if (++seen == number) server_.set_fault(path, fault);
    });
    const bool succeeded = run();
    server_.observe({});
    server_.clear_faults();
    return succeeded;
  }

  // Whether a message names what was asked for, or that it is the store that could not be read.
  [[nodiscard]] bool named(const std::string& request) const {
    const std::string name = request.substr(request.rfind('/') + 1);
    std::vector<std::string> names = {name, elsewhere_->url(), unknown_.url(), closed_};
    return std::any_of(texts().begin(), texts().end(), [&names](const std::string& text) {
      return std::any_of(names.begin(), names.end(), [&text](const std::string& one) {
        return text.find(one) != std::string::npos;
      });
    });
  }

  // The lists and catalogs, and what stands beside the folders of packages.
  [[nodiscard]] std::map<std::string, std::string> guarded_files() const {
    std::map<std::string, std::string> files = snapshot();
    std::erase_if(files, [](const auto& file) { return file.first.starts_with("pkgs/xsd/"); });
    if (GetParam().registers) files.erase("pkgs/.xsd_cache/pkgs-available.json");
    return files;
  }

 private:
  static constexpr std::uint64_t kEndless = 8 << 20;

  void use_short_times() {
    cache().set_transport_factory([this] {
      using std::chrono::seconds;
      return framework::make_http_transport({.ca_file = other_ / "trusted.pem",
                                             .connect_timeout = seconds(5),
                                             .stall_time = seconds(1)});
    });
  }

  TempFolder other_;
  loopback::TlsIdentity wrong_host_;
  std::unique_ptr<loopback::LoopbackServer> elsewhere_;
  loopback::LoopbackServer unknown_{0, loopback::make_self_signed("localhost")};
  const std::string closed_ = loopback::LoopbackServer().url();  ///< nobody listens there any more
};

TEST_P(RequestFaultsTest, AreReportedAndSetRightByTheNextRun) {
  prepare();
  ASSERT_TRUE(run());
  ASSERT_THAT(take_messages(), IsEmpty());
  const std::vector<std::string> requests = take_requests();
  const auto goal = snapshot();
  ASSERT_GE(requests.size(), 2U);
  for (std::size_t number = 0; number < requests.size(); ++number) {
    const bool is_telemetry = requests[number].starts_with("POST ");
    for (const auto& [name, fault] : faults()) {
      SCOPED_TRACE(requests[number] + ": " + name);
      restore();
      const auto before = guarded_files();
      const bool succeeded = run_with(fault, requests, number);
      EXPECT_EQ(succeeded, is_telemetry);
      if (is_telemetry) {
        EXPECT_THAT(take_messages(), IsEmpty());  // it was sent; nobody asks what became of it
      } else {
        EXPECT_TRUE(named(requests[number])) << testing::PrintToString(texts());
        EXPECT_EQ(guarded_files(), before);
        take_messages();
        EXPECT_TRUE(run());
        EXPECT_THAT(take_messages(), IsEmpty());
      }
      EXPECT_EQ(snapshot(), goal);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Of, RequestFaultsTest, testing::ValuesIn(kOperations),
                         [](const auto& operation) { return operation.param.name; });

}  // namespace
}  // namespace zendro::tests
