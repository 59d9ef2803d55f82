#include "packages_ui/selection/selection.h"

#include <chrono>
#include <deque>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/text/utf8.h"
#include "packages_ui/selection/button_states.h"
#include "packages_ui/selection/grid_rows.h"
#include "packages_ui/selection/package_filter.h"
#include "packages_ui/selection/package_order.h"
#include "packages_ui/selection/pending_changes.h"
#include "packages_ui/selection/row_text.h"
#include "packages_ui/selection/type_ahead.h"
#include "packages_ui/selection/ui_messages.h"
#include "pkg/list_files.h"
#include "tests/stopwatch.h"

namespace zendro::packages_ui {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

// The selection's owner and user: records what is told and asked, answers from lists.
class Desk : public SelectionQuestions, public ParentUI {
 public:
  VersionsAnswer latest_all_cancel() override {
    asked.push_back("versions");
    const VersionsAnswer answer = versions_answers.front();
    versions_answers.pop_front();
    return answer;
  }
  bool remove_dependants(std::span<const std::wstring> packages) override {
    return ask("dependants", packages);
  }
  bool remove_used_by(std::span<const std::wstring> packages) override {
    return ask("used", packages);
  }
  void selection_changed() override { ++changes; }
  void report(const msg::Message& message) override {
    reports.push_back(framework::to_utf8(message.text()));
    severities.push_back(message.severity);
  }

  std::deque<VersionsAnswer> versions_answers;
  std::deque<bool> answers;
  std::vector<std::string> asked;
  std::vector<std::string> reports;
  std::vector<msg::Severity> severities;
  int changes = 0;

 private:
  bool ask(std::string question, std::span<const std::wstring> packages) {
    for (const std::wstring& package : packages) question += " " + framework::to_utf8(package);
    asked.push_back(question);
    if (answers.empty()) {
      ADD_FAILURE() << "nobody answers: " << question;
      return false;
    }
    const bool answer = answers.front();
    answers.pop_front();
    return answer;
  }
};

pkg::pkgs_available_t list(std::string_view text) {
  auto list = pkg::parse_list(std::string(text.empty() ? "{}" : text));
  EXPECT_TRUE(list) << list.error();
  return std::move(*list);
}

std::unique_ptr<PackageTable> table(std::string_view available, std::string_view installed = {}) {
  return std::make_unique<PackageTable>("xsd",
                                        pkg::merged_view_t(list(available), list(installed)));
}

class SelectionTest : public testing::Test {
 protected:
  Selection make(std::string_view available, std::string_view installed = {}) {
    return {table(available, installed), desk_, desk_};
  }

  static RowId find(const Selection& selection, std::wstring_view text) {
    const RowId row = selection.table().find_version(pkg::parse_identity(framework::to_utf8(text)));
    EXPECT_NE(row, kNoRow) << "no row " << framework::to_utf8(text);
    return row;
  }
  static void toggle(Selection& selection, std::wstring_view text) {
    selection.toggle_version(find(selection, text));
  }

  // The checked versions in grid order, each with the versions that it was ticked for.
  static std::vector<std::string> checked(const Selection& selection) {
    std::vector<std::string> result;
    for (RowId row = 0; row < selection.rows().size(); ++row) {
      if (!selection.row(row).checked) continue;
      std::string text = framework::to_utf8(selection.table().text(row));
      for (const RowId referrer : selection.row(row).referenced_by) {
        text += " <" + framework::to_utf8(selection.table().text(referrer));
      }
      result.push_back(text);
    }
    return result;
  }

  Desk desk_;
};

constexpr std::string_view kLibraries = R"({
  "app-1.0.0": {"references": ["lib", "util-1"]},
  "tool-1.0.0": {"references": ["lib-2"]},
  "lib-1.0.0": {}, "lib-2.0.0": {"references": ["base"]}, "lib-10.0.0": {"references": ["base"]},
  "util-1.0.0": {}, "util-1.4.0": {}, "util-2.0.0": {},
  "base-1.0.0": {}})";

TEST_F(SelectionTest, RowsAreInPackageOrderWithVersionsAscending) {
  const Selection selection = make(kLibraries, R"({"base-0.9.0": {}})");
  std::vector<std::wstring> rows;
  for (RowId row = 0; row < selection.rows().size(); ++row) {
    rows.push_back(selection.table().text(row));
  }
  EXPECT_THAT(
      rows, ElementsAre(L"app-1.0.0", L"base-0.9.0", L"base-1.0.0", L"lib-1.0.0", L"lib-2.0.0",
                        L"lib-10.0.0", L"tool-1.0.0", L"util-1.0.0", L"util-1.4.0", L"util-2.0.0"));
  EXPECT_EQ(selection.table().package_count(), 5u);
  EXPECT_THAT(checked(selection), ElementsAre("base-0.9.0"));
}

TEST_F(SelectionTest, TickFollowsReferencesAsAnInstallWould) {
  Selection selection = make(kLibraries);
  toggle(selection, L"app-1.0.0");
  EXPECT_THAT(checked(selection), ElementsAre("app-1.0.0", "base-1.0.0 <lib-10.0.0",
                                              "lib-10.0.0 <app-1.0.0", "util-1.4.0 <app-1.0.0"));
  toggle(selection, L"tool-1.0.0");
  EXPECT_THAT(checked(selection),
              ElementsAre("app-1.0.0", "base-1.0.0 <lib-2.0.0 <lib-10.0.0", "lib-2.0.0 <tool-1.0.0",
                          "lib-10.0.0 <app-1.0.0", "tool-1.0.0", "util-1.4.0 <app-1.0.0"));
  // The user's own tick of what is ticked already makes it the user's choice.
  selection.tick(find(selection, L"base-1.0.0"));
  EXPECT_EQ(selection.row(find(selection, L"base-1.0.0")).reference_count(), 0u);
  EXPECT_TRUE(selection.row(find(selection, L"base-1.0.0")).checked);
  EXPECT_EQ(desk_.changes, 3);
  EXPECT_THAT(desk_.asked, IsEmpty());

  // A choice of the user is not taken over by a referrer that comes later.
  toggle(selection, L"lib-1.0.0");
  selection.deselect_all();
  EXPECT_THAT(checked(selection), IsEmpty());
  toggle(selection, L"base-1.0.0");
  toggle(selection, L"lib-2.0.0");
  EXPECT_THAT(checked(selection), ElementsAre("base-1.0.0", "lib-2.0.0"));
}

TEST_F(SelectionTest, PackageRowAsksWhichVersions) {
  Selection selection = make(kLibraries);
  const PackageId lib = selection.table().package_of(find(selection, L"lib-1.0.0"));
  const PackageId base = selection.table().package_of(find(selection, L"base-1.0.0"));

  desk_.versions_answers = {VersionsAnswer::cancel, VersionsAnswer::latest, VersionsAnswer::all};
  selection.toggle_package(lib);
  EXPECT_THAT(checked(selection), IsEmpty());
  EXPECT_FALSE(selection.expanded(lib));
  EXPECT_EQ(desk_.changes, 0);

  selection.toggle_package(lib);
  EXPECT_EQ(desk_.changes, 1);
  EXPECT_THAT(checked(selection), ElementsAre("base-1.0.0 <lib-10.0.0", "lib-10.0.0"));
  EXPECT_TRUE(selection.expanded(lib));
  EXPECT_EQ(selection.package_check(lib), PackageCheck::some);

  selection.toggle_package(lib);
  EXPECT_EQ(selection.package_check(lib), PackageCheck::all);
  EXPECT_EQ(desk_.asked.size(), 3u);

  // Where all versions are ticked, the box of the package unticks them together.
  desk_.answers = {false};
  selection.toggle_package(lib);
  EXPECT_EQ(desk_.asked.back(), "used base-1.0.0");
  EXPECT_THAT(checked(selection), ElementsAre("base-1.0.0"));

  // The latest is the newest in the store.
  Selection ahead = make(R"({"lib-1.0.0": {}, "lib-2.0.0": {}})", R"({"lib-3.0.0": {}})");
  desk_.versions_answers = {VersionsAnswer::latest};
  ahead.toggle_package(0);
  EXPECT_THAT(checked(ahead), ElementsAre("lib-2.0.0", "lib-3.0.0"));
  desk_.asked.pop_back();
  // Where a newer level of its line is installed, that one is.
  Selection beyond = make(R"({"lib-1.0.0": {}, "lib-2.0.0": {}})", R"({"lib-2.0.1": {}})");
  toggle(beyond, L"lib-2.0.1");
  desk_.versions_answers = {VersionsAnswer::latest};
  beyond.toggle_package(0);
  EXPECT_THAT(checked(beyond), ElementsAre("lib-2.0.1"));
  desk_.asked.pop_back();

  desk_.answers = {};
  selection.toggle_package(base);
  EXPECT_THAT(checked(selection), IsEmpty());
  selection.toggle_package(base);
  EXPECT_THAT(checked(selection), ElementsAre("base-1.0.0"));
  EXPECT_EQ(desk_.asked.size(), 4u) << "one version is ticked without a question";
}

TEST_F(SelectionTest, UntickTakesDependantsAlongAndOffersWhatIsLeftUnused) {
  Selection selection = make(kLibraries);
  toggle(selection, L"app-1.0.0");
  toggle(selection, L"tool-1.0.0");
  const auto before = checked(selection);

  desk_.answers = {false};
  toggle(selection, L"base-1.0.0");
  EXPECT_THAT(desk_.asked, ElementsAre("dependants app-1.0.0 lib-2.0.0 lib-10.0.0 tool-1.0.0"));
  EXPECT_EQ(checked(selection), before);
  EXPECT_EQ(desk_.changes, 2);

  // What another package still uses is not offered; what only the unused ones used is.
  desk_ = {};
  desk_.answers = {false};
  toggle(selection, L"app-1.0.0");
  EXPECT_THAT(desk_.asked, ElementsAre("used lib-10.0.0 util-1.4.0"));
  desk_ = {};
  desk_.answers = {true};
  toggle(selection, L"tool-1.0.0");
  EXPECT_THAT(desk_.asked, ElementsAre("used lib-2.0.0"));
  EXPECT_THAT(checked(selection),
              ElementsAre("base-1.0.0 <lib-10.0.0", "lib-10.0.0", "util-1.4.0"));
  desk_ = {};
  desk_.answers = {true, true};
  // Whoever ticked it, what a ticked version needs goes only together with it.
  selection.tick(find(selection, L"app-1.0.0"));
  toggle(selection, L"base-1.0.0");
  EXPECT_THAT(desk_.asked, ElementsAre("dependants app-1.0.0 lib-10.0.0", "used util-1.4.0"));
  EXPECT_THAT(checked(selection), IsEmpty());
}

TEST_F(SelectionTest, InstalledPackagesDependOnEachOtherFromTheStart) {
  const std::string_view installed =
      R"({"app-1.0.0": {"references": ["lib-2"]}, "lib-2.0.0": {"references": ["base"]},
          "base-1.0.0": {}})";
  Selection selection = make(kLibraries, installed);
  desk_.answers = {true, true};
  toggle(selection, L"lib-2.0.0");
  EXPECT_THAT(desk_.asked, ElementsAre("dependants app-1.0.0", "used base-1.0.0"));
  EXPECT_THAT(checked(selection), IsEmpty());

  selection.reset();
  EXPECT_THAT(checked(selection),
              ElementsAre("app-1.0.0", "base-1.0.0 <lib-2.0.0", "lib-2.0.0 <app-1.0.0"));
  selection.deselect_all();
  for (const VersionRow& row : selection.rows()) EXPECT_EQ(row.reference_count(), 0u);
}

// What cannot stay alone goes with a question, and what is not named in it stays.
TEST_F(SelectionTest, InstalledPackagesGoOnlyTogetherWithWhatNeedsThem) {
  struct Case {
    const char* installed;
    const char* available;  ///< besides what is installed
    std::wstring unticked;
    std::deque<bool> answers;
    std::vector<std::string> asked;
    std::vector<pkg::filter_action> actions;
  };
  const Case cases[] = {
      {R"("app-1.0.0": {"references": ["lib"]}, "lib-1.0.0": {})",
       "",
       L"app-1.0.0",
       {false},
       {"used lib-1.0.0"},
       {{"app-1.0.0", 1}}},
      {R"("app-1.0.0": {"references": ["x"]}, "x-1.0.0": {"references": ["y"]},
          "y-1.0.0": {"references": ["x"]})",
       "",
       L"app-1.0.0",
       {true},
       {"used x-1.0.0 y-1.0.0"},
       {{"app-1.0.0", 1}, {"x-1.0.0", 1}, {"y-1.0.0", 1}}},
      {R"("ogc-wms-1.0.0": {}, "wms-1.0.0": {})", "", L"wms-1.0.0", {}, {}, {{"wms-1.0.0", 1}}},
      {R"("app-1.0.0": {"references": ["wms"]}, "ogc-WMS-1.0.0": {}, "wms-1.0.0": {})",
       "",
       L"ogc-WMS-1.0.0",
       {true, true},
       {"dependants app-1.0.0", "used wms-1.0.0"},
       {{"app-1.0.0", 1}, {"ogc-WMS-1.0.0", 1}, {"wms-1.0.0", 1}}},
      // A newer version that an install would choose holds nothing that is installed.
      {R"("app-1.0.0": {"references": ["lib"]}, "lib-1.0.0": {})",
       R"("lib-2.0.0": {})",
       L"lib-1.0.0",
       {true},
       {"dependants app-1.0.0"},
       {{"app-1.0.0", 1}, {"lib-1.0.0", 1}}},
      {R"("app-1.0.0": {"references": ["lib"]}, "lib-1.0.0": {}, "lib-2.0.0": {})",
       "",
       L"lib-1.0.0",
       {true, true},
       {"dependants app-1.0.0", "used lib-2.0.0"},
       {{"app-1.0.0", 1}, {"lib-2.0.0", 1}, {"lib-1.0.0", 1}}},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.installed);
    desk_ = {};
    desk_.answers = one.answers;
    const std::string installed = std::string("{") + one.installed + "}";
    const std::string more = *one.available == 0 ? "" : std::string(",") + one.available;
    Selection selection = make(std::string("{") + one.installed + more + "}", installed);
    toggle(selection, one.unticked);
    EXPECT_EQ(desk_.asked, one.asked);
    EXPECT_EQ(pending_actions(selection), one.actions);
  }

  // An installed level newer than any in the list is what a tick needs of its line.
  desk_ = {};
  desk_.answers = {true};
  Selection selection =
      make(R"({"app-1.0.0": {"references": ["lib"]}, "lib-1.0.1": {}})", R"({"lib-1.0.2": {}})");
  toggle(selection, L"app-1.0.0");
  toggle(selection, L"lib-1.0.2");
  EXPECT_THAT(desk_.asked, ElementsAre("dependants app-1.0.0"));
  EXPECT_THAT(checked(selection), IsEmpty());
}

TEST_F(SelectionTest, WhatATickNeedsIsTickedAndSaysWhy) {
  Selection selection = make(
      R"({"app-1.0.0": {}, "app-1.0.1": {"references": ["util"], "conflicting_pkgs": ["foe"]},
          "foe-1.0.0": {}, "lib-1.0.0": {"references": ["base"]}, "base-1.0.0": {},
          "tool-1.0.0": {"references": ["lib"]}, "kit-1.0.0": {"references": ["lib", "util"]},
          "util-1.0.0": {}, "vain-1.0.0": {"references": ["hollow"]},
          "hollow-1.0.0": {"references": ["gone-3"]}})",
      R"({"app-1.0.0": {}, "lib-1.0.0": {}})");
  const auto words = [&](std::wstring_view text) {
    return version_state_words(selection, find(selection, text));
  };
  EXPECT_EQ(words(L"vain-1.0.0"), L"latest, needs gone-3, which is not available");
  EXPECT_EQ(words(L"hollow-1.0.0"), L"latest, needs gone-3, which is not available");

  // A patch needs what its new level references.
  selection.choose_patch(find(selection, L"app-1.0.0"));
  EXPECT_EQ(words(L"util-1.0.0"), L"latest, needed by app-1.0.1");
  selection.reset();
  EXPECT_EQ(words(L"util-1.0.0"), L"latest");
  selection.choose_all_patches();
  EXPECT_EQ(words(L"util-1.0.0"), L"latest, needed by app-1.0.1");
  // The store says today that the installed library needs a base.
  toggle(selection, L"tool-1.0.0");
  EXPECT_EQ(words(L"base-1.0.0"), L"latest, needed by tool-1.0.0");
  toggle(selection, L"kit-1.0.0");
  EXPECT_EQ(words(L"util-1.0.0"), L"latest, needed by app-1.0.1 and 1 more");
  toggle(selection, L"foe-1.0.0");
  EXPECT_EQ(words(L"app-1.0.1"), L"latest, conflicts with foe-1.0.0");
  toggle(selection, L"foe-1.0.0");
  EXPECT_EQ(words(L"app-1.0.1"), L"latest");

  // Unticking what they need takes the patch back and leaves its installed level.
  desk_.answers = {true, false};
  toggle(selection, L"util-1.0.0");
  EXPECT_THAT(desk_.asked, ElementsAre("dependants app-1.0.1 kit-1.0.0"));
  EXPECT_THAT(checked(selection),
              ElementsAre("app-1.0.0", "base-1.0.0 <tool-1.0.0", "lib-1.0.0", "tool-1.0.0"));
}

TEST_F(SelectionTest, WishesOutliveTheRowsTheyWereMadeIn) {
  const std::string_view available =
      R"({"a-1.0.0": {}, "b-1.0.0": {"references": ["c"]}, "c-1.0.0": {}, "d-1.0.0": {},
          "e-1.0.0": {}, "e-1.0.1": {}, "f-1.0.0": {}, "g-1.0.1": {}})";
  const std::string_view installed = R"({"d-1.0.0": {}, "e-1.0.0": {}, "g-1.0.0": {}})";
  Selection before = make(available, installed);
  toggle(before, L"a-1.0.0");
  toggle(before, L"b-1.0.0");
  toggle(before, L"d-1.0.0");
  before.choose_all_patches();

  Selection after = make(available, installed);
  after.restore(before.wishes());
  EXPECT_EQ(checked(after), checked(before));
  EXPECT_EQ(pending_actions(after), pending_actions(before));
  // What has been got meanwhile, or exists no more, is not wanted again.
  Selection later = make(R"({"b-1.0.0": {"references": ["c"]}, "c-1.0.0": {}, "e-1.0.1": {}})",
                         R"({"e-1.0.1": {}, "b-1.0.0": {"references": ["c"]}, "g-1.0.0": {}})");
  later.restore(before.wishes());
  EXPECT_THAT(checked(later), ElementsAre("b-1.0.0", "c-1.0.0 <b-1.0.0", "e-1.0.1", "g-1.0.0"));
  // Nor is what cannot be had any more, or is there only in the store.
  Selection least =
      make(R"({"c-1.0.0": {}, "d-1.0.0": {}, "_DEPRECATED": {"a-1.0.0": {}, "b-1.0.0": {}}})");
  least.restore(before.wishes());
  EXPECT_THAT(checked(least), ElementsAre("c-1.0.0"));
}

TEST_F(SelectionTest, ReferencesInACircleAndToNothingEnd) {
  Selection selection = make(R"({"a-1.0.0": {"references": ["b", "a", "gone-3"]},
                                 "b-1.0.0": {"references": ["a"]}})");
  toggle(selection, L"b-1.0.0");
  EXPECT_THAT(checked(selection), ElementsAre("a-1.0.0 <b-1.0.0", "b-1.0.0"));
  desk_.answers = {true};
  toggle(selection, L"a-1.0.0");
  EXPECT_THAT(desk_.asked, ElementsAre("dependants b-1.0.0"));
  EXPECT_THAT(checked(selection), IsEmpty());
}

TEST_F(SelectionTest, DeprecatedVersionsAreShownButNotChosen) {
  Selection selection =
      make(R"({"app-1.0.0": {"references": ["lib"]}, "lib-1.0.0": {}, "lib-1.1.0": {},
               "old-2.0.0": {},
               "_DEPRECATED": {"dead-1.0.0": {}, "lib-2.0.0": {}, "old-1.0.0": {}}})",
           R"({"old-1.0.0": {"references": ["lib-1.1"]}})");
  const PackageId lib = selection.table().package_of(find(selection, L"lib-1.0.0"));
  toggle(selection, L"app-1.0.0");
  EXPECT_THAT(checked(selection), ElementsAre("app-1.0.0", "lib-1.1.0 <app-1.0.0", "old-1.0.0"));
  toggle(selection, L"lib-2.0.0");
  EXPECT_FALSE(selection.row(find(selection, L"lib-2.0.0")).checked);
  desk_.versions_answers = {VersionsAnswer::all};
  selection.toggle_package(lib);
  EXPECT_EQ(selection.package_check(lib), PackageCheck::all);

  EXPECT_EQ(version_state_words(selection, find(selection, L"lib-1.1.0")), L"latest");
  EXPECT_EQ(version_state_words(selection, find(selection, L"old-1.0.0")),
            L"installed, deprecated: please uninstall or upgrade");
  EXPECT_EQ(package_state_words(selection, lib), L"");
  EXPECT_EQ(package_icon(selection, lib), "package");
  const auto package = [&](std::wstring_view text) {
    return selection.table().package_of(find(selection, text));
  };
  EXPECT_EQ(package_state_words(selection, package(L"old-1.0.0")),
            L"installed, deprecated: please uninstall or upgrade");
  EXPECT_EQ(package_state_words(selection, package(L"dead-1.0.0")),
            L"deprecated: please uninstall or upgrade");
  EXPECT_EQ(version_state_words(selection, find(selection, L"dead-1.0.0")),
            L"deprecated: please uninstall or upgrade");
  EXPECT_EQ(package_icon(selection, package(L"dead-1.0.0")), "package_deprecated");
  EXPECT_EQ(version_icon(selection.row(find(selection, L"lib-2.0.0"))), "package_deprecated");
  EXPECT_EQ(datatip_text(selection, find(selection, L"old-1.0.0"), L"Patch"),
            L"References: lib-1.1\nDEPRECATED: This package is deprecated!");
}

TEST_F(SelectionTest, PatchesAreOfTheSameLineAndAskForTheHighest) {
  Selection selection =
      make(R"({"a-1.0.1": {}, "a-1.0.2": {}, "a-1.1.9": {}, "b-1.0.0": {}, "b-1.0.1": {},
               "c-1.0.0": {}, "c-1.0.5": {}, "_DEPRECATED": {"c-1.0.9": {}}})",
           R"({"a-1.0.0": {"homepage": "https://schemas.example/a"}, "b-1.0.0": {}, "b-1.0.1": {},
               "c-1.0.5": {}})");
  const RowId a = find(selection, L"a-1.0.0");
  EXPECT_EQ(selection.row(a).patch, PatchState::available);
  EXPECT_EQ(selection.row(find(selection, L"b-1.0.0")).patch, PatchState::none);
  EXPECT_EQ(selection.row(find(selection, L"c-1.0.5")).patch, PatchState::none);
  EXPECT_EQ(version_icon(selection.row(a)), "package_patchable");
  EXPECT_EQ(package_icon(selection, selection.table().package_of(a)), "package_patchable");
  EXPECT_EQ(version_state_words(selection, a), L"installed, upgrade available");
  EXPECT_EQ(package_state_words(selection, selection.table().package_of(a)),
            L"installed, upgrade available");
  EXPECT_EQ(datatip_text(selection, a, L"Patch Selection"),
            L"Publisher: schemas.example\nPATCH: There is a patch available for this package. "
            L"Double click here to apply it or press button \"Patch Selection\" to apply all "
            L"patches.");
  EXPECT_TRUE(button_states(selection).patchable);
  EXPECT_FALSE(button_states(selection).changed);

  selection.choose_patch(a);
  selection.choose_patch(find(selection, L"b-1.0.0"));
  EXPECT_EQ(desk_.changes, 1);
  EXPECT_FALSE(button_states(selection).patchable);
  EXPECT_TRUE(button_states(selection).changed);
  EXPECT_THAT(pending_actions(selection), ElementsAre(Pair("a-1.0.2", 0)));
  EXPECT_TRUE(selection.wanted(find(selection, L"a-1.0.2")));
  EXPECT_EQ(package_icon(selection, selection.table().package_of(a)), "package_patch");

  // The box of the new level is another way to choose the patch, and to take it back.
  toggle(selection, L"a-1.0.2");
  EXPECT_EQ(selection.row(a).patch, PatchState::available);
  EXPECT_THAT(pending_actions(selection), IsEmpty());
  toggle(selection, L"a-1.0.2");
  EXPECT_EQ(selection.row(a).patch, PatchState::chosen);
  // A level in between can be had, too: it takes the place of the installed one.
  toggle(selection, L"a-1.0.2");
  toggle(selection, L"a-1.0.1");
  EXPECT_THAT(pending_actions(selection), ElementsAre(Pair("a-1.0.1", 0)));
  EXPECT_FALSE(selection.row(a).checked);
  EXPECT_EQ(selection.row(a).patch, PatchState::none);
  toggle(selection, L"a-1.1.9");
  toggle(selection, L"a-1.0.0");
  EXPECT_THAT(pending_actions(selection), ElementsAre(Pair("a-1.1.9", 0))) << "another line";
  toggle(selection, L"a-1.1.9");
  EXPECT_THAT(pending_actions(selection), IsEmpty());
  EXPECT_TRUE(selection.row(a).checked);
  // A level below an installed one comes to nothing.
  EXPECT_FALSE(selection.table().choosable(find(selection, L"c-1.0.0")));
  toggle(selection, L"c-1.0.0");
  EXPECT_THAT(pending_actions(selection), IsEmpty());
  EXPECT_EQ(version_state_words(selection, find(selection, L"c-1.0.0")),
            L"newer c-1.0.5 is installed");

  // What is installed and ticked again can be patched again.
  selection.reset();
  toggle(selection, L"a-1.0.0");
  EXPECT_EQ(selection.row(a).patch, PatchState::none);
  toggle(selection, L"a-1.0.0");
  EXPECT_EQ(selection.row(a).patch, PatchState::available);
  selection.choose_all_patches();
  EXPECT_THAT(pending_actions(selection), ElementsAre(Pair("a-1.0.2", 0)));
  toggle(selection, L"a-1.0.0");
  toggle(selection, L"a-1.0.2");
  EXPECT_THAT(pending_actions(selection), ElementsAre(Pair("a-1.0.2", 0)));
  EXPECT_TRUE(selection.row(a).checked) << "is what the patch is for";
}

TEST_F(SelectionTest, APatchThatWaitsShowsBeforeOneThatIsChosen) {
  Selection selection =
      make(R"({"a-1.0.1": {}, "a-2.0.1": {}})", R"({"a-1.0.0": {}, "a-2.0.0": {}})");
  for (const wchar_t* level : {L"a-1.0.0", L"a-2.0.0"}) {
    selection.reset();
    selection.choose_patch(find(selection, level));
    EXPECT_EQ(package_icon(selection, 0), "package_patchable");
  }
}

TEST_F(SelectionTest, WhatNeedsAPatchGoesWithTheLevelThatItIsFor) {
  Selection selection =
      make(R"({"a-1.0.1": {}, "tool-1.0.0": {"references": ["a-1.0.1"]}})", R"({"a-1.0.0": {}})");
  toggle(selection, L"tool-1.0.0");
  EXPECT_EQ(selection.row(find(selection, L"a-1.0.0")).patch, PatchState::chosen);
  desk_.answers = {true};
  toggle(selection, L"a-1.0.0");
  EXPECT_THAT(desk_.asked, ElementsAre("dependants tool-1.0.0"));
  EXPECT_THAT(checked(selection), IsEmpty());
}

TEST_F(SelectionTest, EachChangeIsToldOnce) {
  Selection selection = make(R"({"a-1.0.1": {}, "b-1.0.0": {}})", R"({"a-1.0.0": {}})");
  const RowId a = find(selection, L"a-1.0.0");
  const PackageId b = selection.table().package_of(find(selection, L"b-1.0.0"));
  const auto told = [this](const auto& change) {
    const int before = desk_.changes;
    change();
    return desk_.changes - before;
  };
  EXPECT_EQ(told([&] { toggle(selection, L"b-1.0.0"); }), 1);
  EXPECT_EQ(told([&] { toggle(selection, L"b-1.0.0"); }), 1);
  EXPECT_EQ(told([&] { selection.toggle_package(b); }), 1);
  EXPECT_EQ(told([&] { selection.choose_patch(a); }), 1);
  EXPECT_EQ(told([&] { selection.choose_patch(a); }), 0);
  EXPECT_EQ(told([&] { selection.reset(); }), 1);
  EXPECT_EQ(told([&] { selection.choose_all_patches(); }), 1);
  const Wishes wishes = selection.wishes();
  EXPECT_EQ(told([&] { selection.deselect_all(); }), 1);
  EXPECT_EQ(selection.row(a).patch, PatchState::none);
  EXPECT_EQ(told([&] { selection.restore(wishes); }), 1);
  const std::string identities[] = {"b"};
  EXPECT_EQ(told([&] { selection.preselect(identities); }), 1);
}

TEST_F(SelectionTest, AReplacedLevelStaysWhereALaterTickNeedsIt) {
  Selection selection = make(R"({"a-1.0.0": {}, "a-1.0.1": {}, "a-1.0.2": {},
                                 "tool-1.0.0": {"references": ["a-1.0.0"]}})",
                             R"({"a-1.0.0": {}})");
  toggle(selection, L"a-1.0.1");
  EXPECT_THAT(checked(selection), ElementsAre("a-1.0.1"));
  EXPECT_THAT(selection.wishes().unticked, IsEmpty()) << "replaced";
  toggle(selection, L"tool-1.0.0");
  EXPECT_THAT(checked(selection), ElementsAre("a-1.0.0 <tool-1.0.0", "a-1.0.1", "tool-1.0.0"));
  EXPECT_THAT(selection.plan().removed, IsEmpty());
  EXPECT_THAT(pending_actions(selection), ElementsAre(Pair("a-1.0.1", 0), Pair("tool-1.0.0", 0)));

  // The same for what an installed package needs that is to stay after all.
  Selection kept = make(R"({"a-1.0.1": {}, "a-1.0.2": {}})",
                        R"({"a-1.0.0": {}, "tool-1.0.0": {"references": ["a-1.0.0"]}})");
  desk_.answers = {false};
  toggle(kept, L"tool-1.0.0");
  toggle(kept, L"a-1.0.1");
  EXPECT_THAT(checked(kept), ElementsAre("a-1.0.1"));
  toggle(kept, L"tool-1.0.0");
  EXPECT_THAT(checked(kept), ElementsAre("a-1.0.0 <tool-1.0.0", "a-1.0.1", "tool-1.0.0"));
  EXPECT_THAT(pending_actions(kept), ElementsAre(Pair("a-1.0.1", 0)));
}

TEST_F(SelectionTest, APatchGoesBesideALevelThatIsNeededAndBackIntoItsPlace) {
  Selection selection =
      make(R"({"a-1.0.0": {}, "a-1.0.1": {}, "tool-1.0.0": {"references": ["a-1.0.0"]}})",
           R"({"a-1.0.0": {}})");
  const RowId a = find(selection, L"a-1.0.0");
  selection.choose_patch(a);
  EXPECT_THAT(checked(selection), ElementsAre("a-1.0.0"));
  toggle(selection, L"tool-1.0.0");
  EXPECT_THAT(checked(selection), ElementsAre("a-1.0.0", "a-1.0.1", "tool-1.0.0"));
  EXPECT_EQ(selection.row(a).patch, PatchState::none) << "stays beside the new level";
  desk_.answers = {false};
  toggle(selection, L"tool-1.0.0");
  EXPECT_THAT(checked(selection), ElementsAre("a-1.0.0"));
  EXPECT_EQ(selection.row(a).patch, PatchState::chosen);
  EXPECT_THAT(pending_actions(selection), ElementsAre(Pair("a-1.0.1", 0)));
}

TEST_F(SelectionTest, WhatIsTickedAgainNeedsItsReferencesAgain) {
  Selection selection = make({}, R"({"app-1.0.0": {"references": ["lib"]},
                                     "tool-1.0.0": {"references": ["lib"]}, "lib-1.0.0": {}})");
  toggle(selection, L"app-1.0.0");
  EXPECT_THAT(checked(selection), ElementsAre("lib-1.0.0 <tool-1.0.0", "tool-1.0.0"));
  toggle(selection, L"app-1.0.0");
  toggle(selection, L"tool-1.0.0");
  EXPECT_THAT(checked(selection), ElementsAre("app-1.0.0", "lib-1.0.0 <app-1.0.0"));
  EXPECT_THAT(desk_.asked, IsEmpty());
}

TEST_F(SelectionTest, SummaryRequestsAndButtonsFollowTheSelection) {
  Selection selection =
      make(R"({"a-1.0.0": {}, "a-1.0.1": {}, "n-1.0.0": {}, "n-2.0.0": {}, "o-1.0.0": {}})",
           R"({"a-1.0.0": {}, "o-1.0.0": {}})");
  EXPECT_EQ(summary_text(selection, L"Apply"),
            L"Select the packages you want to install and then click \"Apply\".");
  EXPECT_THAT(pending_actions(selection), IsEmpty());

  toggle(selection, L"o-1.0.0");
  EXPECT_EQ(summary_text(selection, L"Apply"),
            L"The following packages will be uninstalled:\r\n    o-1.0.0");
  selection.choose_all_patches();
  toggle(selection, L"n-2.0.0");
  toggle(selection, L"n-1.0.0");
  EXPECT_EQ(summary_text(selection, L"Apply"),
            L"The following packages will be uninstalled:\r\n    o-1.0.0\r\n\r\n"
            L"The following packages will be patched:\r\n    a-1.0.0\r\n\r\n"
            L"The following packages will be installed:\r\n    n-1.0.0\r\n    n-2.0.0");
  EXPECT_THAT(pending_actions(selection), ElementsAre(Pair("o-1.0.0", 1), Pair("a-1.0.1", 0),
                                                      Pair("n-1.0.0", 0), Pair("n-2.0.0", 0)));
  EXPECT_TRUE(button_states(selection).any_checked);

  selection.deselect_all();
  EXPECT_FALSE(button_states(selection).any_checked);
  EXPECT_TRUE(button_states(selection).changed);
  selection.reset();
  EXPECT_FALSE(button_states(selection).changed);
  EXPECT_TRUE(button_states(selection).any_checked);
}

TEST_F(SelectionTest, PreselectionTakesIdentitiesAsFilters) {
  Selection selection = make(kLibraries);
  const std::vector<std::string> wanted = {"util-1", "lib-2.0.0", "nothing-1", "base"};
  // What only the disk still has can be wanted, what is deprecated cannot.
  Selection left = make(R"({"_DEPRECATED": {"base-1.0.0": {}}})", R"({"lib-2.0.0": {}})");
  toggle(left, L"lib-2.0.0");
  left.preselect(std::vector<std::string>{"lib-2.0.0", "base-1.0.0"});
  EXPECT_THAT(checked(left), ElementsAre("lib-2.0.0"));
  EXPECT_THAT(desk_.reports, ElementsAre("No information found for XML Schema base-1.0.0."));
  desk_ = {};
  selection.preselect(wanted);
  EXPECT_THAT(checked(selection), ElementsAre("base-1.0.0", "lib-2.0.0", "util-1.4.0"));
  EXPECT_TRUE(selection.expanded(selection.table().package_of(find(selection, L"util-1.4.0"))));
  EXPECT_THAT(desk_.reports, ElementsAre("No information found for XML Schema nothing-1."));
  EXPECT_EQ(desk_.changes, 1);
}

TEST_F(SelectionTest, PackagesAreSortedWithoutRegardToCase) {
  Selection selection = make(R"({"a-1.0.0": {"title": "zebra"}, "a-2.0.0": {"title": "\u00c9toile"},
               "b-1.0.0": {"title": "APPLE"}, "c-1.0.0": {"title": "\u00e9tage"},
               "d-1.0.0": {"title": "apple"}, "e-1.0.0": {}})",
                             R"({"d-1.0.0": {"title": "apple"}})");
  const auto names = [&](std::optional<SortOrder> order) {
    std::string result;
    for (const PackageId package : sorted_packages(selection, order)) {
      result += framework::to_utf8(selection.table().name(package));
    }
    return result;
  };
  EXPECT_EQ(names({}), "abcde");
  EXPECT_EQ(names(SortOrder{GridColumn::title}), "ebdca") << "equal ones stay in package order";
  EXPECT_EQ(names(SortOrder{GridColumn::title, false}), "acbde");
  EXPECT_EQ(names(SortOrder{GridColumn::name, false}), "edcba");
  EXPECT_EQ(names(SortOrder{GridColumn::state, false}), "dabce") << "what is installed";

  std::optional<SortOrder> order = next_order({}, GridColumn::state);
  EXPECT_EQ(order, (SortOrder{GridColumn::state, true}));
  order = next_order(order, GridColumn::state);
  EXPECT_EQ(order, (SortOrder{GridColumn::state, false}));
  EXPECT_EQ(next_order(order, GridColumn::name), (SortOrder{GridColumn::name, true}));
  EXPECT_EQ(next_order(order, GridColumn::state), std::nullopt);
}

TEST_F(SelectionTest, SearchFindsVersionsByWhatIsWrittenOfThem) {
  const Selection selection =
      make(R"({"app-1.0.0": {"description": "Needs a G\u00c4teway"}, "app-2.0.0": {},
               "core-1.0.0": {"title": "Application core", "description": 5},
               "zoo-1.0.0": {"title": "ends", "description": "starts"}})");
  const PackageFilter filter(selection.table());
  const auto found = [&](std::wstring_view text) { return filter.matches(text); };
  EXPECT_THAT(found(L""), ElementsAre(0, 1, 2, 3));
  EXPECT_THAT(found(L"APP"), ElementsAre(0, 1, 2));
  EXPECT_THAT(found(L"g\u00e4te"), ElementsAre(0));
  EXPECT_THAT(found(L"-2."), ElementsAre(1));
  EXPECT_THAT(found(L"zoo-1.0.0"), ElementsAre(3)) << "the last one";
  EXPECT_THAT(found(L"endsstarts"), IsEmpty()) << "texts are looked at one by one";
  EXPECT_THAT(found(L"core-1.0.0app"), IsEmpty());
}

TEST_F(SelectionTest, GridRowsKnowTheirPlaces) {
  const Selection selection = make(kLibraries);
  const std::vector<PackageId> order = {4, 3, 2, 1, 0};
  const GridRows rows(selection.table(), order, {1, 3, 4, 6, 7});
  EXPECT_THAT(rows.packages(), ElementsAre(4, 2, 1));
  EXPECT_THAT(rows.versions(2), ElementsAre(3, 4));
  EXPECT_THAT(rows.versions(0), IsEmpty());
  EXPECT_EQ(rows.position(2), 1u);
  EXPECT_EQ(rows.position(0), GridRows::kNotShown);
  EXPECT_EQ(rows.position(2, 4), 1u);
  EXPECT_EQ(rows.position(2, 2), GridRows::kNotShown);
  EXPECT_EQ(GridRows().position(0), GridRows::kNotShown);
}

TEST_F(SelectionTest, RowsAreFoundByName) {
  const Selection selection = make(kLibraries);
  const PackageTable& packages = selection.table();
  EXPECT_EQ(packages.find_package("lib"), 2u);
  EXPECT_EQ(packages.find_package("li"), std::nullopt);
  EXPECT_EQ(packages.find_package("zzz"), std::nullopt);
  EXPECT_EQ(packages.find_version(pkg::parse_identity("lib-2.0.0")), find(selection, L"lib-2.0.0"));
  EXPECT_EQ(packages.find_version(pkg::parse_identity("lib-2.0.1")), kNoRow);
}

TEST_F(SelectionTest, TypedTextIsForgottenAfterAPause) {
  const Selection selection = make(R"({"Axe-1.0.0": {}, "box-1.0.0": {}, "fox-1.0.0": {}})");
  const std::vector<PackageId> packages = {0, 1, 2};
  TypeAhead typed;
  TypeAhead::Clock::time_point now{};
  const auto found = [&] { return typed.find(selection.table(), packages); };
  const auto type = [&](wchar_t character, PackageId current) {
    typed.type(character, current, now);
    return found();
  };
  EXPECT_EQ(type(L'X', 0), 1u);
  now += TypeAhead::kForgottenAfter;
  EXPECT_EQ(type(L'E', 1), 0u) << "from where it began, around the end";
  now += TypeAhead::kForgottenAfter;
  typed.erase_last(now);
  EXPECT_EQ(found(), 1u);
  now += TypeAhead::kForgottenAfter;
  EXPECT_EQ(type(L'q', 1), std::nullopt);
  now += TypeAhead::kForgottenAfter + std::chrono::milliseconds(1);
  EXPECT_FALSE(typed.active(now));
  EXPECT_EQ(type(L'x', 1), 2u);
  now += 2 * TypeAhead::kForgottenAfter;
  EXPECT_EQ(type(L'o', 2), 1u) << "downwards";
  EXPECT_TRUE(TypeAhead::accepts(L'0') && TypeAhead::accepts(L'9'));
  for (const wchar_t character : {L' ', L'+', L'\b', L':', L'[', L'{', L'\x9f'}) {
    EXPECT_FALSE(TypeAhead::accepts(character)) << static_cast<int>(character);
  }
  for (const wchar_t character : {L'-', L'.', L'_', L'a', L'z', L'A', L'Z', L'\x00e9'}) {
    EXPECT_TRUE(TypeAhead::accepts(character)) << static_cast<int>(character);
  }
}

TEST_F(SelectionTest, MetadataOfTheWrongTypeIsReportedOnceAndCountsAsNone) {
  Selection selection = make(R"({"a-1.0.0": {"references": {"b": 1}, "title": 5, "homepage": []},
                                 "b-1.0.0": {"title": "Line one\nline two"},
                                 "c-1.0.0": {"title": 5}})");
  toggle(selection, L"a-1.0.0");
  EXPECT_THAT(checked(selection), ElementsAre("a-1.0.0"));
  EXPECT_EQ(selection.table().title(0), L"");
  EXPECT_EQ(selection.table().publisher(0), L"");
  EXPECT_EQ(selection.table().title(1), L"Line one line two");
  EXPECT_EQ(selection.table().title(2), L"");
  EXPECT_THAT(desk_.reports, ElementsAre("a-1.0.0: Cannot cast value to JSON array!",
                                         "c-1.0.0: Cannot cast value to JSON string!"));
  EXPECT_THAT(desk_.severities, testing::Each(msg::Severity::warning));
}

TEST(UiMessages, NumbersAndTextsAreFixed) {
  EXPECT_EQ(ui_message_identifier(22), L"PackageUICaptionTaxonomy");
  EXPECT_EQ(ui_message_text(23), L"Zendro XML Schema Manager");
  EXPECT_EQ(ui_message_identifier(47), L"PackageUIDatatipPatchHint");
  EXPECT_TRUE(ui_message_text(21).empty() && ui_message_text(57).empty());
  const std::vector<std::wstring> packages = {L"a-1.0.0", L"b\r\n{packages}"};
  EXPECT_EQ(
      ui_message_with_packages(UiCode::PackageUIUninstallDependenciesText, packages, L"", L"\n"),
      L"The following packages depend on the selected package:\na-1.0.0\nb  {packages}\n\n"
      L"Therefore those packages have to be removed too.");
}

// Limits are generous: they tell an algorithm of the wrong order, not a slow machine.
class SelectionScale : public SelectionTest {};

TEST_F(SelectionScale, AChainOfAHundredThousandReferences) {
  std::string text = "{";
  constexpr int kCount = 100000;
  for (int i = 0; i < kCount; ++i) {
    text += "\"p" + std::to_string(i) + "-1.0.0\":{\"references\":[\"p" + std::to_string(i + 1) +
            "-1\"]},";
  }
  text.back() = '}';
  Selection selection = make(text);
  const tests::Stopwatch stopwatch;
  toggle(selection, L"p0-1.0.0");
  EXPECT_EQ(pending_actions(selection).size(), static_cast<std::size_t>(kCount));
  desk_.answers = {true};
  toggle(selection, L"p0-1.0.0");
  EXPECT_THAT(pending_actions(selection), IsEmpty());
  toggle(selection, L"p0-1.0.0");
  desk_.answers = {true};
  toggle(selection, L"p" + std::to_wstring(kCount - 1) + L"-1.0.0");
  EXPECT_THAT(pending_actions(selection), IsEmpty());
  EXPECT_LT(stopwatch.seconds(), 20.0);
}

TEST_F(SelectionScale, ManyReferrersOfManyReferences) {
  // Every one of 1,000 packages references all of 1,000 others through one hub.
  std::string text = R"({"hub-1.0.0":{"references":[)";
  for (int i = 0; i < 1000; ++i) text += "\"leaf" + std::to_string(i) + "\",";
  text.back() = ']';
  text += R"(},"all-1.0.0":{"references":[)";
  for (int i = 0; i < 1000; ++i) text += "\"user" + std::to_string(i) + "\",";
  text.back() = ']';
  text += '}';
  for (int i = 0; i < 1000; ++i) {
    text += ",\"leaf" + std::to_string(i) + "-1.0.0\":{}";
    text += ",\"user" + std::to_string(i) + "-1.0.0\":{\"references\":[\"hub\"]}";
  }
  text += '}';
  Selection selection = make(text);
  const tests::Stopwatch stopwatch;
  toggle(selection, L"all-1.0.0");
  EXPECT_EQ(selection.row(find(selection, L"hub-1.0.0")).reference_count(), 1000u);
  EXPECT_EQ(pending_actions(selection).size(), 2002u);
  EXPECT_LT(stopwatch.seconds(), 2.0);
}

TEST_F(SelectionScale, ManyInstalledPackagesShareAReference) {
  // 40,000 packages reference one text, which 10,000 versions answer to.
  std::string versions;
  std::string references;
  for (int i = 0; i < 10'000; ++i) {
    const std::string version = "\"base-1." + std::to_string(i) + ".0\"";
    versions += version + ":{},";
    references += version + ',';
  }
  std::string others;
  for (int i = 0; i < 40'000; ++i) {
    others += "\"user" + std::to_string(i) + R"(-1.0.0":{"references":["base"]},)";
  }
  references.back() = ']';
  const std::string text =
      '{' + versions + others + R"("top-1.0.0":{"references":[)" + references + "}}";
  Selection selection = make(text, text);
  const tests::Stopwatch stopwatch;
  toggle(selection, L"top-1.0.0");  // no question: the others need all that it references
  EXPECT_EQ(pending_actions(selection).size(), 1u);
  EXPECT_LT(stopwatch.seconds(), 2.0);
}

}  // namespace
}  // namespace zendro::packages_ui
