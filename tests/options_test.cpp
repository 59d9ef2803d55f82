#include "app/options/options.h"

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "framework/system/files.h"
#include "pkg/active_types.h"
#include "tests/environment.h"
#include "tests/temp_folder.h"

namespace zendro::app {
namespace {

std::string text(const json::value& value) {
  return value.is_null() ? "null" : std::string(framework::as_string(value));
}

json::object options_of(std::string_view type) {
  json::object options;
  set_type(options, type);
  return options;
}

class Options : public testing::Test {
 protected:
  void SetUp() override {
    tests::set_variable("ZENDRO_COMMON_APPDATA", "/srv/data");
    destroy_default_settings();
    create_default_settings();
  }
  void TearDown() override {
    destroy_default_settings();
    tests::unset_variable("ZENDRO_COMMON_APPDATA");
  }
};

TEST_F(Options, FoldersFollowFromTheTypeAndTheSharedFolder) {
  const json::object xsd = options_of("xsd");
  const json::object xbrl = options_of("xbrl");
  EXPECT_EQ(tests::with_slashes(base_folder()), "/srv/data/Zendro/");
  EXPECT_EQ(tests::with_slashes(text(get_install_root(nullptr))), "/srv/data/Zendro/pkgs/");
  EXPECT_EQ(tests::with_slashes(text(get_cache_root(&xsd))), "/srv/data/Zendro/pkgs/.xsd_cache/");
  EXPECT_EQ(tests::with_slashes(text(get_cache_root(&xbrl))), "/srv/data/Zendro/pkgs/.cache/");
  EXPECT_EQ(tests::with_slashes(manager_executable("xsd")),
            "/srv/data/SharedBetweenVersions/korvane.exe");
  EXPECT_EQ(tests::with_slashes(manager_executable("xbrl")),
            "/srv/data/SharedBetweenVersions/plintor.exe");
}

TEST_F(Options, AnUnknownTypeHasNothingThatFollowsFromIt) {
  json::object options = options_of("XSD");
  options[option::cache_root] = "/given";
  options[option::store_bootstrap_url] = "http://given/";
  EXPECT_TRUE(get_cache_root(&options).is_null());
  EXPECT_TRUE(get_store_bootstrap_url(&options).is_null());
  EXPECT_TRUE(get_cache_root(nullptr).is_null());
  EXPECT_EQ(manager_executable("XSD"), "");
  EXPECT_FALSE(get_telemetry_url(&options).is_null());
}

TEST_F(Options, WhatIsGivenWinsAlsoWhenItIsEmpty) {
  json::object options = options_of("xsd");
  EXPECT_EQ(text(get_pkgs_available_name(&options)), "pkgs-available.json");
  EXPECT_EQ(text(get_pkgs_installed_name(nullptr)), "pkgs-installed.json");
  for (const std::string_view key :
       {option::cache_root, option::install_root, option::pkgs_available_name,
        option::pkgs_installed_name, option::store_bootstrap_url, option::telemetry_url}) {
    options[key] = "";
  }
  EXPECT_EQ(text(get_cache_root(&options)), "");
  EXPECT_EQ(text(get_install_root(&options)), "");
  EXPECT_EQ(text(get_pkgs_available_name(&options)), "");
  EXPECT_EQ(text(get_pkgs_installed_name(&options)), "");
  EXPECT_EQ(text(get_store_bootstrap_url(&options)), "");
  EXPECT_EQ(text(get_telemetry_url(&options)), "");
}

TEST_F(Options, StoreAddressesNameTheHostOfTheRun) {
  const json::object xsd = options_of("xsd");
  const json::object xbrl = options_of("xbrl");
  EXPECT_EQ(text(get_store_bootstrap_url(&xsd)),
            "https://store.zendro.example/api/xsd-manager/v1/bootstrap");
  EXPECT_EQ(text(get_store_bootstrap_url(&xbrl)),
            "https://store.zendro.example/api/xbrl-manager/v1/bootstrap");
  EXPECT_EQ(text(get_telemetry_url(nullptr)),
            "https://store.zendro.example/api/package-manager/v1/telemetry");
  EXPECT_TRUE(is_staging("D:\\reference\\os\\korvane.exe"));
  EXPECT_TRUE(is_staging("/opt/tamrixexefolder/korvane"));
  EXPECT_FALSE(is_staging("/opt/reference/osx/korvane"));
  EXPECT_FALSE(is_staging());
}

// A copy of this program that runs the same test tells of itself.
TEST_F(Options, AProgramInAFolderOfTheMakersAsksTheStagingStore) {
  if (is_staging()) {
    const json::object xsd = options_of("xsd");
    EXPECT_EQ(text(get_store_bootstrap_url(&xsd)),
              "https://staging.store.zendro.example/api/xsd-manager/v1/bootstrap");
    EXPECT_EQ(text(get_telemetry_url(nullptr)),
              "https://staging.store.zendro.example/api/package-manager/v1/telemetry");
    return;
  }
  const tests::TempFolder folder;
  for (const char* part : {"tamrixexefolder", "reference/os"}) {
    const std::filesystem::path copy =
        folder.path() / std::filesystem::path(part).make_preferred() / "program.exe";
    std::filesystem::create_directories(copy.parent_path());
    std::filesystem::copy_file(framework::executable_path(), copy);
    const std::string command =
        copy.string() + " --gtest_filter=Options.AProgramInAFolderOfTheMakersAsksTheStagingStore";
    EXPECT_EQ(std::system(command.c_str()), 0) << part;
    std::filesystem::remove(copy);
  }
}

TEST_F(Options, TheInstallerIsGivenOrThatOfTheRun) {
  json::object options = options_of("xsd");
  EXPECT_TRUE(get_installer(&options).is_null());
  set_installer(nullptr, "run");
  EXPECT_EQ(text(get_installer(&options)), "run");
  options[option::installer] = "";
  EXPECT_EQ(text(get_installer(&options)), "run");
  set_installer(&options, "own");
  EXPECT_EQ(text(get_installer(&options)), "own");
  EXPECT_EQ(text(get_installer(nullptr)), "run");

  create_default_settings();  // does nothing while they exist
  EXPECT_EQ(text(get_installer(nullptr)), "run");
  destroy_default_settings();
  set_installer(nullptr, "nowhere");
  EXPECT_TRUE(get_installer(nullptr).is_null());
  EXPECT_TRUE(get_install_root(nullptr).is_null());
}

TEST_F(Options, ASizeLimitIsAPositiveNumber) {
  json::object options;
  EXPECT_EQ(to_size_limit(get_member_size_limit(&options)), std::uint64_t{4} << 30);
  options[option::member_size_limit] = 1;
  EXPECT_EQ(to_size_limit(get_member_size_limit(&options)), 1U);
  for (const json::value& bad : {json::value(-1), json::value(nullptr), json::value(1.5)}) {
    EXPECT_THROW(to_size_limit(bad), framework::JsonError) << bad;
  }
}

TEST_F(Options, FlagsTakeNullOrABool) {
  json::object options;
  EXPECT_TRUE(framework::to_bool(get_telemetry(&options)));
  options[option::telemetry] = nullptr;
  EXPECT_FALSE(framework::to_bool(get_telemetry(&options)));
  set_log_remote_io(options, true);
  EXPECT_TRUE(framework::to_bool(get_log_remote_io(&options)));
  set_log_remote_io(options, nullptr);
  EXPECT_EQ(options[option::log_remote_io], json::value(false));
  try {
    set_keep_references(options, "yes");
    FAIL() << "a text was taken for a bool";
  } catch (const framework::JsonError& error) {
    EXPECT_STREQ(error.what(), "Cannot convert JSON value to bool!");
  }
  EXPECT_FALSE(options.contains(option::keep_references));
}

TEST(ActiveTypes, AreTheKnownOnesAmongThoseGiven) {
  const pkg::active_type_set set = pkg::make_active_type_set({"xsd", "docx"});
  EXPECT_FLOAT_EQ(set.max_load_factor(), 1.0F);
  EXPECT_GE(set.bucket_count(), 8u);
  // h * 33 + byte, starting at 5381, wrapped at 32 bits.
  EXPECT_EQ(pkg::type_name_hash()("xsd"), ((5381u * 33 + 'x') * 33 + 's') * 33 + 'd');
  pkg::register_active_types(set);
  EXPECT_TRUE(pkg::is_active_type("xsd"));
  EXPECT_FALSE(pkg::is_active_type("docx"));
  EXPECT_FALSE(pkg::is_active_type("xbrl"));
  pkg::register_active_types(pkg::make_active_type_set({}));
  EXPECT_FALSE(pkg::is_active_type("xsd"));
}

}  // namespace
}  // namespace zendro::app
