// What goes wrong, seen in the real window: the cause stands in the pane, the window is idle again,
// and the grid shows what is installed.
#include <chrono>
#include <memory>
#include <stdexcept>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/options/options.h"
#include "app/package_file_start.h"
#include "tests/window_fixture.h"
#include "tests/zip_builder.h"

namespace zendro::tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

const std::vector<TestPackage> kAppAndTool = {
    {"app-1.0.0", {{"m/app.xsd", "<app/>"}}, {"lib"}},
    {"lib-1.0.0", {{"m/lib.xsd", "<lib/>"}}},
    {"tool-1.0.0", {{"m/tool.xsd", "<tool/>"}}},
};

// Throws whatever it is told to when a URL that contains a text is fetched.
class ThrowingTransport : public framework::HttpTransport {
 public:
  ThrowingTransport(std::string text, std::function<void()> fail)
      : text_(std::move(text)), fail_(std::move(fail)) {}
  framework::HttpAnswer get(const framework::HttpRequest& request) override {
    if (request.url.find(text_) != std::string::npos) fail_();
    return inner_->get(request);
  }
  framework::PostResult post(const framework::HttpRequest& request,
                             std::string_view body) override {
    return inner_->post(request, body);
  }

 private:
  std::string text_;
  std::function<void()> fail_;
  std::unique_ptr<framework::HttpTransport> inner_ = framework::make_http_transport();
};

class FailuresWindowTest : public WindowTest {
 protected:
  void open_with_store() {
    publish(kAppAndTool);
    open_and_wait();
    ASSERT_THAT(rows(), Contains("  [ ] app-1.0.0"));
  }

  // Ticks or unticks a version and applies that, by keys.
  void apply(const std::string& identity) {
    go_to(identity);
    press(WXK_SPACE);
    apply_again();
  }

  void apply_again() {
    ASSERT_THAT(live_buttons(), Contains("Apply"));
    press(WXK_RETURN);
    wait_idle();
  }

  // The window after a run that failed: idle, this is installed, and what was wanted instead is
  // still ticked and can be applied again.
  void expect_failed(const std::vector<std::string>& on_disk,
                     const std::vector<std::string>& wanted) {
    EXPECT_TRUE(dialog().idle());
    EXPECT_THAT(live_buttons(), Contains("Apply"));
    expect_ticked_and_installed(wanted, on_disk);
  }

  // The window with nothing pending: this is installed.
  void expect_settled(const std::vector<std::string>& identities) {
    EXPECT_TRUE(dialog().idle());
    EXPECT_THAT(live_buttons(), Contains("Close"));
    EXPECT_THAT(live_buttons(), Not(Contains("Apply")));
    expect_ticked_and_installed(identities, identities);
  }

  void expect_ticked_and_installed(const std::vector<std::string>& wanted,
                                   const std::vector<std::string>& on_disk) {
    std::vector<std::string> ticked;
    for (const std::string& row : rows()) {
      if (row.starts_with("  [x] ")) ticked.push_back(row.substr(6));
    }
    EXPECT_EQ(ticked, wanted);
    EXPECT_EQ(std::filesystem::exists(cache_file("pkgs-installed.json"))
                  ? installed()
                  : std::vector<std::string>(),
              on_disk);
  }

  void give_up_after(std::chrono::seconds time) {
    window_cache_->set_transport_factory([time] {
      framework::TransportSettings settings;
      settings.connect_timeout = time;
      settings.stall_time = time;
      return framework::make_http_transport(settings);
    });
  }
};

TEST_F(FailuresWindowTest, AnExceptionOfTheWorker) {
  std::function<void()> fail = [] { throw std::runtime_error("no more sockets"); };
  window_cache_->set_transport_factory(
      [&fail] { return std::make_unique<ThrowingTransport>("lib.xsd", [&fail] { fail(); }); });
  open_with_store();
  apply("app-1.0.0");
  EXPECT_THAT(pane(), HasSubstr("no more sockets"));
  expect_failed({}, {"app-1.0.0", "lib-1.0.0"});

  fail = [] { throw 5; };
  apply_again();
  EXPECT_THAT(pane(), HasSubstr("\nUnknown failure\n"));
  expect_failed({}, {"app-1.0.0", "lib-1.0.0"});

  fail = [] {};
  apply_again();
  expect_settled({"app-1.0.0", "lib-1.0.0"});
}

// The same while the list is brought up to date.
TEST_F(FailuresWindowTest, AnExceptionAtTheStart) {
  publish(kAppAndTool);
  ASSERT_TRUE(silent_cache().update_store_information(true));
  window_cache_->set_transport_factory([]() -> std::unique_ptr<framework::HttpTransport> {
    throw std::runtime_error("no sockets");
  });
  open_and_wait();
  EXPECT_THAT(pane(), HasSubstr("no sockets"));
  EXPECT_THAT(rows(), Contains("  [ ] tool-1.0.0")) << "from the cache";
  expect_settled({});
}

TEST_F(FailuresWindowTest, AStoreThatStalls) {
  give_up_after(std::chrono::seconds(1));
  open_with_store();
  server_.set_fault("/store/m/tool.xsd", loopback::Fault::stall(2));
  apply("tool-1.0.0");
  EXPECT_THAT(pane(), HasSubstr(server_.url("store/m/tool.xsd")));
  EXPECT_THAT(pane(), HasSubstr("slower than 100 bytes/s for 1 s")) << "what the transport said";
  expect_failed({}, {"tool-1.0.0"});
  close();

  server_.set_fault("/bootstrap", loopback::Fault::stall());
  open_and_wait();
  EXPECT_THAT(pane(), HasSubstr(server_.url("bootstrap")));
  EXPECT_THAT(rows(), Contains("  [ ] tool-1.0.0")) << "from the cache";
}

TEST_F(FailuresWindowTest, AStoreThatCannotBeReached) {
  publish(kAppAndTool);
  ASSERT_TRUE(silent_cache().update_store_information(true));
  ASSERT_TRUE(silent_cache().install({"tool"}));
  // Nobody listens on the port of "tcpmux" here.
  options_[app::option::store_bootstrap_url] = "http://127.0.0.1:1/bootstrap";
  window_cache_ = std::make_shared<pkg::pkg_cache_t>("xsd", options_);
  open_and_wait();
  EXPECT_THAT(pane(), HasSubstr("http://127.0.0.1:1/bootstrap"));
  expect_settled({"tool-1.0.0"});

  // What needs no store works.
  apply("tool-1.0.0");
  EXPECT_THAT(pane(), HasSubstr(" PKG Uninstall tool-1.0.0.\n"));
  expect_settled({});
}

TEST_F(FailuresWindowTest, AFreshMachineWithoutAStore) {
  serve_bootstrap("no JSON");
  open_and_wait();
  EXPECT_THAT(rows(), IsEmpty());
  EXPECT_THAT(pane(), HasSubstr("\nCan't read Zendro XML Schema store information."));
  EXPECT_THAT(live_buttons(), ElementsAre("Close"));
  close();

  publish(kAppAndTool);
  serve_bootstrap(R"({"pkg.store_url": ")" + server_.url("store/") + "\"}");
  ASSERT_TRUE(silent_cache().update_store_information(true));
  server_.set_fault("/bootstrap", loopback::Fault::close());
  open_and_wait({"lib-1", "nothing"});
  EXPECT_THAT(pane(), HasSubstr("\nCan't connect to Zendro XML Schema store."));
  EXPECT_THAT(pane(), EndsWith("\nNo information found for XML Schema nothing.\n"
                               "The following packages will be installed:\n    lib-1.0.0\n"));
  press(WXK_RETURN);
  wait_idle();
  EXPECT_THAT(pane(), HasSubstr(server_.url("bootstrap"))) << "the cause";
  expect_failed({}, {"lib-1.0.0"});
}

TEST_F(FailuresWindowTest, DamagedLists) {
  publish(kAppAndTool);
  ASSERT_TRUE(silent_cache().update_store_information(true));
  ASSERT_TRUE(silent_cache().install({"tool"}));
  const std::string available = file_text(cache_file("pkgs-available.json"));
  const std::string of_installed = file_text(cache_file("pkgs-installed.json"));
  server_.set_fault("/bootstrap", loopback::Fault::close());

  write_text(cache_file("pkgs-available.json"), available.substr(0, available.size() / 2));
  open_and_wait();
  EXPECT_THAT(pane(), HasSubstr(cache_file("pkgs-available.json").string()));
  EXPECT_THAT(rows(), ElementsAre("[x] tool", "  [x] tool-1.0.0")) << "what is installed";
  close();

  // The store mends a damaged list.
  server_.clear_faults();
  open_and_wait();
  EXPECT_EQ(rows().size(), 6u);
  EXPECT_EQ(file_text(cache_file("pkgs-available.json")), available);
  close();

  write_text(cache_file("pkgs-installed.json"), "{\"lib-1.0.0\": 5}");
  open_and_wait();
  const std::string list = cache_file("pkgs-installed.json").string();
  EXPECT_THAT(pane(), HasSubstr("\nFailed to load packages from " + list +
                                ":\nCan't read XML Schema information from " + list + ".\n"));
  EXPECT_THAT(pane(), Not(EndsWith("click \"Apply\".\n")));
  EXPECT_EQ(rows().size(), 6u);
  close();

  // Nothing is installed over a list of installed packages that cannot be read.
  write_text(cache_file("pkgs-installed.json"), of_installed.substr(0, of_installed.size() / 2));
  open_and_wait();
  EXPECT_THAT(pane(), HasSubstr(cache_file("pkgs-installed.json").string()));
  EXPECT_THAT(rows(), Contains("  [ ] app-1.0.0"));
  go_to("app-1.0.0");
  press(WXK_SPACE);
  press(WXK_RETURN);
  wait_idle();
  EXPECT_THAT(pane(), HasSubstr(cache_file("pkgs-installed.json").string()));
  EXPECT_THAT(rows(), Contains("  [x] app-1.0.0")) << "still wanted";
  EXPECT_EQ(file_text(cache_file("pkgs-installed.json")),
            of_installed.substr(0, of_installed.size() / 2));
  EXPECT_FALSE(std::filesystem::exists(package_folder("app-1.0.0") / "m%2Fapp.xsd"));
}

// Not even the superuser makes a folder where a file stands.
TEST_F(FailuresWindowTest, FoldersThatCannotBeWritten) {
  write_text(folder_.path() / "pkgs", "a file");
  publish(kAppAndTool);
  open_and_wait();
  EXPECT_THAT(pane(), HasSubstr((folder_.path() / "pkgs").string()));
  EXPECT_THAT(pane(), HasSubstr("Nothing was changed"));
  EXPECT_THAT(rows(), IsEmpty());
  EXPECT_THAT(live_buttons(), ElementsAre("Close"));
  close();

  std::filesystem::remove(folder_.path() / "pkgs");
  open_with_store();
  write_text(folder_.path() / "pkgs" / "xsd", "a file");
  apply("tool-1.0.0");
  EXPECT_THAT(pane(), HasSubstr(package_folder("tool-1.0.0").string()));
  expect_failed({}, {"tool-1.0.0"});
  EXPECT_EQ(file_text(folder_.path() / "pkgs" / "xsd"), "a file");
}

TEST_F(FailuresWindowTest, TelemetryThatFailsIsAWarning) {
  open_with_store();
  class Deaf : public ThrowingTransport {
   public:
    Deaf() : ThrowingTransport("nothing", [] {}) {}
    framework::PostResult post(const framework::HttpRequest& request, std::string_view) override {
      return tl::unexpected(framework::NotSent{{request.url + ": broken off"}, true});
    }
  };
  window_cache_->set_transport_factory([] { return std::make_unique<Deaf>(); });
  apply("tool-1.0.0");
  EXPECT_THAT(pane(), HasSubstr(" PKG Install tool-1.0.0.\n"));
  EXPECT_THAT(pane(), HasSubstr("\nWarning: "));
  EXPECT_THAT(pane(), HasSubstr(server_.url("api/package-manager/v1/telemetry")));
  expect_settled({"tool-1.0.0"});
}

TEST_F(FailuresWindowTest, APackageFileNeedsNoStore) {
  const TestPackage package{"own-1.0.0", {{"m/own.xsd", "<own/>"}}};
  json::object document = {{"_META", {{"build_number", 1}}},
                           {"own-1.0.0", package.meta()},
                           {"provides", json::array{"own"}}};
  const std::string path = (folder_ / "own.zendro_xmlschemas").string();
  write_text(path, make_zip({{"m/own.xsd", "<own/>"},
                             {"ZENDROPKG-INF/pkg-meta.json", json::serialize(document)}}));
  publish(kAppAndTool);
  ASSERT_TRUE(silent_cache().update_store_information(true));
  server_.set_fault("/bootstrap", loopback::Fault::close());
  const auto start_with_file = [&] {
    return app::start_with_package_file(*window_cache_, path,
                                        [](const packages_ui::StartProgress&) {});
  };
  app::PackageFileStart start = start_with_file();
  ASSERT_TRUE(start.preselection) << wxString(start.box_text);
  open_and_wait(start.preselection->identities, start.preselection->package_file);
  EXPECT_THAT(pane(), HasSubstr(server_.url("bootstrap")));
  EXPECT_THAT(pane(), EndsWith("The following packages will be installed:\n    own-1.0.0\n"));
  close();

  // A list that the store has published since does not hold the file's packages.
  server_.clear_faults();
  publish(kAppAndTool, 2);
  open_and_wait(start.preselection->identities, start.preselection->package_file);
  EXPECT_THAT(rows(), Contains("  [ ] tool-1.0.0"));
  EXPECT_THAT(pane(), EndsWith("The following packages will be installed:\n    own-1.0.0\n"));
  press(WXK_RETURN);
  wait_idle();
  expect_settled({"own-1.0.0"});
  EXPECT_EQ(file_text(package_folder("own-1.0.0") / "m%2Fown.xsd"), "<own/>");

  write_text(path, "no archive");
  start = start_with_file();
  EXPECT_FALSE(start.preselection);
  EXPECT_THAT(wxString(start.box_text).utf8_string(),
              StartsWith("Failed to load packages from " + path + ":"));
}

}  // namespace
}  // namespace zendro::tests
