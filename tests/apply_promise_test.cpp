// What the summary says is what Apply does: random stores under random clicks, applied through the
// window's own code, in some hundred scenarios or as many as ZENDRO_SCENARIOS says.
#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "app/options/options.h"
#include "framework/io/digest.h"
#include "framework/text/utf8.h"
#include "packages_ui/selection/background_work.h"
#include "packages_ui/selection/pending_changes.h"
#include "packages_ui/selection/row_text.h"
#include "pkg/active_types.h"
#include "tests/manager_fixture.h"
#include "tests/memory_store.h"
#include "tests/random_store.h"
#include "tests/zip_builder.h"

namespace zendro::tests {
namespace {

using packages_ui::PatchState;
using packages_ui::RowId;
using packages_ui::Selection;
using Identities = std::set<std::string>;

constexpr int kUsualScenarios = 300;

class NoLog : public msg::LogHandler {
 public:
  void handle_line(std::int64_t, std::wstring_view, std::wstring_view) override {}
};

// One user before one store.
class Scenario : public packages_ui::SelectionQuestions, public packages_ui::ParentUI {
 public:
  explicit Scenario(std::uint64_t seed) : dice_(seed), store_(dice_) {
    server_address_ = std::string(kStoreAddress);
    const auto root = folder_ / "pkgs";
    json::object options = {{app::option::store_bootstrap_url, server_address_ + "bootstrap"},
                            {app::option::telemetry_url, server_address_ + "telemetry"},
                            {app::option::install_root, root.string()},
                            {app::option::cache_root, (root / ".xsd_cache").string()},
                            // They take most of the time, and nothing depends on them.
                            {app::option::local_files, seed % 8 == 0}};
    cache_ = std::make_shared<pkg::pkg_cache_t>("xsd", options);
    cache_->set_transport_factory([this] { return server_.make_transport(); });
    work_ = std::make_unique<packages_ui::BackgroundWork>(
        cache_, std::make_shared<NoLog>(),
        [this](std::wstring_view text) { texts_.push_back(framework::to_utf8(text)); },
        [](const pkg::progress_t&) {});
  }

  void run() {
    for (int session = 0; session < 4 && !testing::Test::HasFailure(); ++session) {
      if (session > 0 && !dice_.one_in(3)) store_.change();
      serve();
      texts_.clear();
      show(work_->update_and_load());
      EXPECT_TRUE(texts_.empty()) << texts_.front();
      const Selection before_all(nullptr_guard(work_->load_cached()), *this, *this);
      EXPECT_EQ(target(before_all), installed_rows(before_all));
      const int applies = 1 + static_cast<int>(dice_.below(2));
      for (int i = 0; i < applies && !testing::Test::HasFailure(); ++i) {
        for (std::size_t clicks = 1 + dice_.below(8); clicks > 0; --clicks) click();
        apply();
      }
    }
  }

  packages_ui::VersionsAnswer latest_all_cancel() override {
    return static_cast<packages_ui::VersionsAnswer>(dice_.below(3));
  }
  bool remove_dependants(std::span<const std::wstring> packages) override {
    EXPECT_FALSE(packages.empty());
    return note("dependants", packages);
  }
  bool remove_used_by(std::span<const std::wstring> packages) override {
    EXPECT_FALSE(packages.empty());
    return note("used", packages);
  }
  void selection_changed() override {}
  void report(const msg::Message&) override {}

  std::string story;  ///< what the user did
  static int applied;
  static int refused;

 private:
  static std::unique_ptr<packages_ui::PackageTable> nullptr_guard(
      packages_ui::LoadedPackages loaded) {
    return std::move(loaded.table);
  }

  bool note(const char* question, std::span<const std::wstring> packages) {
    const bool answer = dice_.one_in(2);
    story += std::string("    ") + question;
    for (const std::wstring& package : packages) story += " " + framework::to_utf8(package);
    story += answer ? ": yes\n" : ": no\n";
    return answer;
  }

  void serve() {
    std::string document = store_.document(server_address_);
    story += document + "\n";
    std::string archive = make_zip({{"pkgs-available.json", std::move(document)}});
    framework::HttpHeaders headers = {
        {"x-amz-meta-sha256", framework::to_hex(framework::sha256(archive))}};
    server_.put("pkgs-available.json.zip", std::move(archive), std::move(headers));
  }

  void show(packages_ui::LoadedPackages loaded, const packages_ui::Wishes& wishes = {}) {
    selection_ = std::make_unique<Selection>(std::move(loaded.table), *this, *this);
    selection_->restore(wishes);
  }

  std::string name(RowId row) const { return framework::to_utf8(selection_->table().text(row)); }

  void click() {
    if (selection_->rows().empty()) return;
    const auto row = static_cast<RowId>(dice_.below(selection_->rows().size()));
    const std::size_t action = dice_.below(24);
    story += "  " + std::to_string(action) + " " + name(row) + "\n";
    if (action < 13) {
      selection_->toggle_version(row);
    } else if (action < 16) {
      selection_->toggle_package(selection_->table().package_of(row));
    } else if (action < 18) {
      selection_->tick(row);
    } else if (action < 20) {
      selection_->choose_patch(row);
    } else if (action == 20) {
      selection_->choose_all_patches();
    } else if (action == 21) {
      selection_->deselect_all();
    } else if (action == 22) {
      selection_->reset();
    } else {
      const std::string filter = store_.any_filter();
      story += "    --id " + filter + "\n";
      selection_->preselect({&filter, 1});
    }
  }

  // What is ticked, a chosen patch standing for its new level.
  static Identities target(const Selection& selection) {
    Identities wanted;
    for (RowId row = 0; row < selection.rows().size(); ++row) {
      if (!selection.row(row).checked) continue;
      const bool patched = selection.row(row).patch == PatchState::chosen;
      const RowId stays = patched ? selection.table().patch_for(row) : row;
      wanted.insert(pkg::to_string(selection.table().version(stays).identity));
    }
    return wanted;
  }

  static Identities installed_rows(const Selection& selection) {
    Identities installed;
    for (RowId row = 0; row < selection.rows().size(); ++row) {
      if (!selection.row(row).installed) continue;
      installed.insert(pkg::to_string(selection.table().version(row).identity));
    }
    return installed;
  }

  // What the summary names: versions that come, and versions that go.
  void summary(Identities& added, Identities& gone) const {
    const auto changes = packages_ui::pending_changes(*selection_);
    const std::string text = framework::to_utf8(packages_ui::summary_text(*selection_, L"Apply"));
    const auto named = [&](RowId row) {
      EXPECT_NE(text.find("    " + name(row)), std::string::npos) << name(row);
      return name(row);
    };
    for (const RowId row : changes.install) added.insert(named(row));
    for (const RowId row : changes.uninstall) gone.insert(named(row));
    for (const RowId row : changes.patch) {
      gone.insert(named(row));
      added.insert(name(selection_->table().patch_for(row)));
    }
  }

  // Everything on the disk.
  std::map<std::string, std::string> disk() const {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_.path())) {
      if (entry.is_regular_file() && entry.path().extension() != ".lock") {
        files[entry.path().string()] = file_text(entry.path());
      }
    }
    return files;
  }

  void apply() {
    const auto actions = packages_ui::pending_actions(*selection_);
    const Identities before = installed_rows(*selection_);
    const Identities wanted = target(*selection_);
    EXPECT_EQ(actions.empty(), before == wanted);
    if (actions.empty()) return;
    story += "  Apply\n";
    Identities added;
    Identities gone;
    summary(added, gone);
    const bool is_refused = !selection_->plan().missing.empty() ||
                            !selection_->plan().conflicts.empty() ||
                            !selection_->plan().unlisted.empty();
    const auto files = disk();
    const packages_ui::Wishes wishes = selection_->wishes();

    texts_.clear();
    packages_ui::LoadedPackages loaded = work_->apply_and_load(actions);
    const bool succeeded = loaded.succeeded;
    show(std::move(loaded), succeeded ? packages_ui::Wishes() : wishes);
    EXPECT_EQ(succeeded, !is_refused);
    ++(succeeded ? applied : refused);
    if (succeeded) {
      expect_done(before, wanted, added, gone);
    } else {
      EXPECT_EQ(texts_.size(), 1u) << "one thing is said";
      EXPECT_EQ(disk(), files) << "nothing is changed: " << texts_.front();
      EXPECT_EQ(target(*selection_), wanted) << "wishes survive";
    }
  }

  void expect_done(const Identities& before, const Identities& wanted, const Identities& added,
                   const Identities& gone) {
    EXPECT_TRUE(texts_.empty()) << texts_.front();
    const Identities after = installed_rows(*selection_);
    EXPECT_EQ(after, wanted);
    EXPECT_EQ(target(*selection_), after);
    EXPECT_EQ(difference(after, before), added) << "what comes is in the summary";
    EXPECT_EQ(difference(before, after), gone) << "what goes is in the summary";
    const std::string catalog = file_text(folder_ / "pkgs" / ".xsd_cache" / "catalog.xml");
    for (const std::string& identity : after) {
      EXPECT_NE(catalog.find("/" + identity + ".xsd"), std::string::npos) << identity;
      const auto member = std::filesystem::path("pkgs") / "xsd" / identity;
      EXPECT_TRUE(std::filesystem::exists(folder_ / member.string())) << identity;
    }
    for (const std::string& identity : difference(before, after)) {
      EXPECT_EQ(catalog.find("/" + identity + ".xsd"), std::string::npos) << identity;
    }
  }

  static Identities difference(const Identities& a, const Identities& b) {
    Identities result;
    std::set_difference(a.begin(), a.end(), b.begin(), b.end(),
                        std::inserter(result, result.end()));
    return result;
  }

  Dice dice_;
  RandomStore store_;
  std::string server_address_;
  TempFolder folder_;
  MemoryStore server_;
  std::shared_ptr<pkg::pkg_cache_t> cache_;
  std::unique_ptr<packages_ui::BackgroundWork> work_;
  std::unique_ptr<Selection> selection_;
  std::vector<std::string> texts_;
};

int Scenario::applied = 0;
int Scenario::refused = 0;

TEST(ApplyPromise, WhatTheSummarySaysIsWhatApplyDoes) {
  pkg::register_active_types(pkg::make_active_type_set({"xsd"}));
  const char* wanted = std::getenv("ZENDRO_SCENARIOS");
  const int scenarios = wanted == nullptr ? kUsualScenarios : std::atoi(wanted);
  const char* first = std::getenv("ZENDRO_FIRST_SCENARIO");
  const int from = first == nullptr ? 0 : std::atoi(first);
  for (int seed = from; seed < from + scenarios; ++seed) {
    Scenario scenario(static_cast<std::uint64_t>(seed));
    scenario.run();
    ASSERT_FALSE(HasFailure()) << "scenario " << seed << "\n" << scenario.story;
  }
  EXPECT_GT(Scenario::applied, scenarios);
  EXPECT_GT(Scenario::refused, 0);
  RecordProperty("applied", Scenario::applied);
}

}  // namespace
}  // namespace zendro::tests
