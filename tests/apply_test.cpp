// Applying an uninstall and an install as one operation.
#include "app/options/options.h"
#include "tests/manager_fixture.h"

namespace zendro::tests {
namespace {

using pkg::filter_action;
using pkg::kActionInstall;
using pkg::kActionUninstall;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class ApplyTest : public ManagerTest {};

TEST_F(ApplyTest, WhatCannotBeDoneIsSaidBeforeAnythingIsChanged) {
  TestPackage outside = package_of_one_member("outside-1.0.0");
  outside.more["_pkg_installdir"] = "..";
  TestPackage lib = package_of_one_member("lib-1.0.0");
  TestPackage taken = package_of_one_member("taken-1.0.0");
  lib.more["_pkg_installdir"] = taken.more["_pkg_installdir"] = "common";
  TestPackage odd = package_of_one_member("odd-1.0.0");
  odd.more["files"] = {{"x", 5}};
  TestPackage lost = package_of_one_member("lost-1.0.0", {"odd-1.0.0"});
  lost.more["references"] = 5;
  TestPackage twin = package_of_one_member("lib-1.1.0");
  twin.more["_pkg_installdir"] = "common";
  twin.more["files"] = {{"lib-1.0.0.zip", std::string(64, '0')}};
  TestPackage same = lib;
  same.identity = "lib-1.2.0";
  start_with({package_of_one_member("old-1.0.0"), package_of_one_member("stray-1.0.1"), lib, same,
              package_of_one_member("vain-1.0.0", {"gone"}),
              package_of_one_member("foe-1.0.0", {}, {"lib"}), outside, taken, odd, lost, twin});
  ASSERT_TRUE(cache().install({"old", "lib-1.0"}));
  // No list knows of this one.
  std::string list = file_text(cache_file("pkgs-installed.json"));
  list.insert(list.find('{') + 1, R"("stray-1.0.0": {"_type": "xsd", "_pkg_installdir": "s"},)");
  write_text(cache_file("pkgs-installed.json"), list);
  take_messages();
  const auto before = snapshot();
  const std::string metadata =
      "invalid_pkg_information pkgtype=XML Schema path=$/pkgs/.xsd_cache/pkgs-available.json";
  for (const auto& [identity, action, message] :
       {std::tuple("vain-1.0.0", kActionInstall, "pkg_not_available pkg=gone pkgtype=XML Schema"),
        std::tuple("new-1.0.0", kActionInstall,
                   "pkg_not_available pkg=new-1.0.0 pkgtype=XML Schema"),
        std::tuple("foe-1.0.0", kActionInstall,
                   "pkg_conflict_installed pkg=foe-1.0.0 conflict=lib-1.0.0 pkgtype=XML Schema"),
        std::tuple("outside-1.0.0", kActionInstall, "create_folder path=$/pkgs/xsd/../"),
        std::tuple("taken-1.0.0", kActionInstall, "create_folder path=$/pkgs/xsd/common/"),
        std::tuple("lib-1.1.0", kActionInstall,
                   "pkg_conflict_installed pkg=lib-1.1.0 conflict=lib-1.0.0 pkgtype=XML Schema"),
        std::tuple("odd-1.0.0", kActionInstall, metadata.c_str()),
        std::tuple("lost-1.0.0", kActionInstall, metadata.c_str()),
        std::tuple("stray-1.0.1", kActionInstall,
                   "inst_pkg_not_available pkg=stray-1.0.0 pkgtype=XML Schema"),
        std::tuple("stray-1.0.0", kActionUninstall,
                   "inst_pkg_not_available pkg=stray-1.0.0 pkgtype=XML Schema")}) {
    const std::vector<filter_action> pairs = {{"old-1.0.0", kActionUninstall}, {identity, action}};
    EXPECT_FALSE(cache().apply_changes(pairs)) << identity;
    EXPECT_THAT(take_messages(), ElementsAre(message)) << identity;
    EXPECT_EQ(snapshot(), before) << identity;
  }
  // A version that has the same bytes for the same member may share the folder.
  for (const auto action : {kActionInstall, kActionUninstall}) {
    const std::vector<filter_action> one = {{"lib-1.2.0", action}};
    EXPECT_TRUE(cache().apply_changes(one)) << testing::PrintToString(texts());
  }
  // What the uninstall removes is in nobody's way.
  const std::vector<filter_action> exchange = {{"lib-1.0.0", kActionUninstall},
                                               {"taken-1.0.0", kActionInstall},
                                               {"foe-1.0.0", kActionInstall}};
  EXPECT_TRUE(cache().apply_changes(exchange)) << testing::PrintToString(texts());
  EXPECT_THAT(installed(), testing::UnorderedElementsAre("foe-1.0.0", "old-1.0.0", "stray-1.0.0",
                                                         "taken-1.0.0"));
}

TEST_F(ApplyTest, TakesExactlyWhatIsNamed) {
  start_with({package_of_one_member("wms-1.0.0", {"base"}), package_of_one_member("ogc-wms-1.0.0"),
              package_of_one_member("base-1.0.0"),
              package_of_one_member("app-1.0.0", {"base-1.0.0"}),
              package_of_one_member("lib-1.0.0")});
  ASSERT_TRUE(cache().install({"wms", "ogc-wms", "lib"}));
  const std::vector<filter_action> pairs = {{"wms-1.0.0", kActionUninstall},
                                            {"app-1.0.0", kActionInstall},
                                            {"lib-1.0.0", kActionUninstall}};
  EXPECT_TRUE(cache().apply_changes(pairs));
  EXPECT_THAT(take_messages(), IsEmpty());
  EXPECT_THAT(installed(), ElementsAre("app-1.0.0", "base-1.0.0", "ogc-wms-1.0.0"));

  // The option works for filters as well, and only there where it is given.
  set_option(app::option::uninstall_keep, {"ogc-wms-1.0.0"});
  EXPECT_FALSE(cache().uninstall({"wms"}));
  EXPECT_THAT(take_messages(), ElementsAre("no_pkgs_to_remove pkgtypes=XML Schemas"));
  options_.erase(app::option::uninstall_keep);
  set_option(app::option::keep_references, false);
  EXPECT_TRUE(cache().uninstall({"wms"}));
  EXPECT_THAT(installed(), testing::Not(Contains("ogc-wms-1.0.0")));
}

}  // namespace
}  // namespace zendro::tests
