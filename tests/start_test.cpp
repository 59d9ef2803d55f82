// A run from its arguments to what it opens, with windows that only remember what they were told.
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "app/options/options.h"
#include "app/package_file_start.h"
#include "app/pkg_frontend_app.h"
#include "framework/text/utf8.h"
#include "packages_ui/selection/background_work.h"
#include "packages_ui/selection/start_progress.h"
#include "tests/environment.h"
#include "tests/lock_at.h"
#include "tests/manager_fixture.h"
#include "tests/zip_builder.h"

namespace zendro::tests {
namespace {

using packages_ui::StartProgress;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr char kFile[] = "own.zendro_xmlschemas";

class StartTest : public ManagerTest {
 protected:
  // A file with the package own-1.0.0.
  std::string write_package_file() {
    const TestPackage own{"own-1.0.0", {{"m/own.xsd", "<own/>"}}};
    const json::object meta = {{"provides", json::array{"own"}}, {"own-1.0.0", own.meta()}};
    return write_file(json::serialize(meta));
  }
  std::string write_file(const std::string& meta) {
    write_text(folder_ / kFile,
               make_zip({{"ZENDROPKG-INF/pkg-meta.json", meta}, {"m/own.xsd", "<own/>"}}));
    return (folder_ / kFile).string();
  }

  app::PackageFileStart start_with_file(const std::string& path) {
    return app::start_with_package_file(cache(), path, [this](const StartProgress& start) {
      const std::string text = framework::to_utf8(packages_ui::start_text(start));
      if (shown_.empty() || shown_.back() != text) shown_.push_back(text);
    });
  }

  std::vector<std::string> shown_;  ///< the texts that differ from the one before
};

TEST_F(StartTest, AMachineWithoutAListAsksTheStoreFirst) {
  const std::string path = write_package_file();
  const std::string title = "Failed to load packages from " + path + ":\n";
  serve_bootstrap("{}");
  app::PackageFileStart start = start_with_file(path);
  EXPECT_FALSE(start.preselection);
  EXPECT_EQ(framework::to_utf8(start.box_text),
            title + "Invalid Zendro XML Schema store information.\n" + server_.url("bootstrap") +
                ": there is no " + "\"pkg.store_url\"\n" +
                "XML Schema Manager cache is not initialized.");

  serve_bootstrap(R"({"pkg.store_url": ")" + server_.url("store/") + R"("})");
  publish({{"lib-1.0.0", {}}});
  shown_.clear();
  start = start_with_file(path);
  ASSERT_TRUE(start.preselection) << framework::to_utf8(start.box_text);
  EXPECT_THAT(start.preselection->identities, ElementsAre("own"));
  EXPECT_EQ(start.preselection->package_file, path);
  EXPECT_EQ(start.box_text, L"");
  const std::string waiting = "Waiting for another operation to end...";
  EXPECT_THAT(shown_, ElementsAre(waiting, "Updating package information...", waiting,
                                  "Reading packages from own.zendro_xmlschemas..."));

  take_requests();
  start = start_with_file(write_file("[]"));
  EXPECT_EQ(framework::to_utf8(start.box_text), title + "Can't read XML Schema information from " +
                                                    path + ".\nCannot cast value to JSON map!");
  EXPECT_THAT(take_requests(), IsEmpty()) << "there is a list";
}

TEST_F(StartTest, AnotherManagerIsWaitedFor) {
  start_with({});
  const std::string path = write_package_file();
  auto lock = lock_at(cache_file("operation.lock"));
  ASSERT_TRUE(lock) << cause_of(lock);
  auto started = std::async(std::launch::async, [&] { return start_with_file(path); });
  EXPECT_EQ(started.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
  lock->reset();
  EXPECT_TRUE(started.get().preselection);
  EXPECT_THAT(shown_, ElementsAre(StartsWith("Waiting"), StartsWith("Reading")));
}

class NoLog : public msg::LogHandler {
  void handle_line(std::int64_t, std::wstring_view, std::wstring_view) override {}
};

TEST_F(StartTest, AnUpdateDoesNotTakeTheFilesPackagesAway) {
  start_with({});
  const std::string path = write_package_file();
  ASSERT_TRUE(start_with_file(path).preselection);
  const auto model = std::make_shared<pkg::pkg_cache_t>("xsd", options_);
  std::vector<std::string> texts;
  packages_ui::BackgroundWork work(
      model, std::make_shared<NoLog>(),
      [&texts](std::wstring_view text) { texts.push_back(framework::to_utf8(text)); }, {});
  publish({{"lib-1.0.0", {}}}, 2);
  packages_ui::LoadedPackages loaded = work.update_and_load(path);
  EXPECT_THAT(texts, IsEmpty());
  ASSERT_EQ(loaded.table->version_count(), 2u);
  EXPECT_EQ(loaded.table->text(1), L"own-1.0.0");

  publish({}, 3);
  std::filesystem::remove(path);
  loaded = work.update_and_load(path);
  EXPECT_THAT(texts, ElementsAre("Zendro XML Schema " + path + " doesn not exist."));
  EXPECT_EQ(loaded.table->version_count(), 0u);
}

TEST(StartProgressTest, TellsHowMuchIsDone) {
  const auto done = [](pkg::progress_t progress) {
    return packages_ui::done_part({L"Reading", progress});
  };
  EXPECT_EQ(packages_ui::done_part({L"Reading", {}}), std::nullopt);
  EXPECT_EQ(done({}), std::nullopt);
  EXPECT_EQ(done({0, 0, 10, {}}), std::nullopt) << "nobody knows of how many";
  EXPECT_EQ(done({0, 0, 10, 40}), 0.25);
  EXPECT_EQ(done({1, 4, 0, {}}), 0.25);
  EXPECT_EQ(done({1, 4, 20, 40}), 0.375);
  EXPECT_EQ(done({0, 4, 20, 0}), 0.0);
  EXPECT_EQ(done({4, 4, 90, 40}), 1.0) << "a size that was told wrong";
}

class RememberedWindows : public app::FrontendWindows {
 public:
  void show_box(const std::wstring& caption, const std::wstring& text) override {
    boxes.push_back(framework::to_utf8(caption) + "|" + framework::to_utf8(text));
  }
  void run_shown(const std::wstring&,
                 const std::function<void(const packages_ui::ShowStart&)>& work,
                 const std::function<bool()>& stop) override {
    work([&stop](const StartProgress& start) { EXPECT_TRUE(!start.waiting || stop()); });
  }
  void open_dialog(std::shared_ptr<pkg::pkg_cache_t> cache,
                   packages_ui::Preselection preselection) override {
    std::string line = cache->type() + "|";
    line += framework::as_string(app::get_installer(&cache->options()));
    for (const std::string& identity : preselection.identities) line += "|" + identity;
    if (!preselection.package_file.empty()) line += "|from a file";
    dialogs.push_back(line);
    if (on_open) on_open();
  }

  std::vector<std::string> boxes;    ///< caption and text
  std::vector<std::string> dialogs;  ///< type, installer, preselection
  std::function<void()> on_open;
};

class PkgFrontendAppTest : public StartTest {
 protected:
  PkgFrontendAppTest() {
    set_variable("ZENDRO_COMMON_APPDATA", folder_.path().string().c_str());
    options_[app::option::installer] = "of the machine";
    write_options(json::serialize(options_));
  }
  ~PkgFrontendAppTest() override { unset_variable("ZENDRO_COMMON_APPDATA"); }

  void write_options(const std::string& text) {
    write_text(folder_ / "Zendro" / "options.json", text);
  }
  void run(std::vector<std::string> arguments, const std::string& program = "korvane") {
    windows_.boxes.clear();
    windows_.dialogs.clear();
    arguments.insert(arguments.begin(), program);
    EXPECT_FALSE(app::PkgFrontendApp(std::move(arguments), windows_).InitInstance());
  }

  RememberedWindows windows_;
};

TEST_F(PkgFrontendAppTest, ArgumentsAreIdentifiersOrAPackageFile) {
  publish({});
  run({});
  EXPECT_THAT(windows_.dialogs, ElementsAre("xsd|of the machine"));
  run({"--id"}, "/opt/Plintor/any");
  EXPECT_THAT(windows_.dialogs, ElementsAre("xbrl|of the machine"));
  const std::string path = write_package_file();
  run({"--pc", "mine::one", path, "--id", "b"});
  EXPECT_THAT(windows_.dialogs, ElementsAre("xsd|mine::one|" + path + "|b"));
  run({""});
  EXPECT_THAT(windows_.dialogs, ElementsAre("xsd|of the machine"))
      << "that of one run ends with it";
  EXPECT_THAT(take_requests(), IsEmpty());

  run({"-x", path, "b"});
  EXPECT_THAT(windows_.dialogs, ElementsAre("xsd|of the machine|own|from a file"));
  EXPECT_THAT(windows_.boxes, IsEmpty());
  run({"b", path});
  EXPECT_THAT(windows_.dialogs, IsEmpty());
  EXPECT_THAT(windows_.boxes,
              ElementsAre(StartsWith("Zendro XML Schema Manager|Failed to load packages from b:")));
}

TEST_F(PkgFrontendAppTest, AWaitThatIsStoppedOpensNothing) {
  start_with({});
  const std::string path = write_package_file();
  const auto lock = lock_at(cache_file("operation.lock"));
  const auto before = snapshot();
  run({path});
  EXPECT_THAT(windows_.dialogs, IsEmpty());
  EXPECT_THAT(windows_.boxes, IsEmpty());
  EXPECT_EQ(snapshot(), before);
}

TEST_F(PkgFrontendAppTest, WhatEndsTheRunStandsInABox) {
  write_options("[1]");
  run({"--id", "a"}, "Plintor");
  EXPECT_THAT(windows_.dialogs, IsEmpty());
  ASSERT_EQ(windows_.boxes.size(), 1u);
  EXPECT_EQ(with_slashes(windows_.boxes[0]),
            "Zendro XBRL Taxonomy Manager|Can't read options from " +
                with_slashes(folder_.path().string()) +
                "/Zendro/options.json:\nCannot cast value to JSON map!");

  write_options(json::serialize(options_));
  windows_.on_open = [] { throw std::runtime_error("no window today"); };
  run({"--id", "a"});
  EXPECT_THAT(windows_.boxes, ElementsAre("Zendro XML Schema Manager|no window today"));

  windows_.on_open = [] { throw std::runtime_error("\u202E " + std::string(1'000'000, 'x')); };
  run({"--id", "a"});
  EXPECT_THAT(windows_.boxes, ElementsAre(StartsWith("Zendro XML Schema Manager|<U+202E>\nxxx")));
  EXPECT_LT(windows_.boxes[0].size(), 5'000u) << "no larger than the screen";
}

}  // namespace
}  // namespace zendro::tests
