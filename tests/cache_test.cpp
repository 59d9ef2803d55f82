// What all operations of a cache have in common.
#include <functional>

#include "app/options/options.h"
#include "pkg/lock_document.h"
#include "tests/environment.h"
#include "tests/manager_fixture.h"
#include "tests/zip_builder.h"

namespace zendro::tests {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

class CacheTest : public ManagerTest {
 protected:
  // With the empty folder of a program's start as the current one: what is written to a path that
  // is not known ends up there.
  CacheTest() : started_in_(fs::current_path()) {
    fs::create_directory(folder_ / "start");
    fs::current_path(folder_ / "start");
  }
  ~CacheTest() override { fs::current_path(started_in_); }

  void expect_all_refused(const std::string& why) {
    SCOPED_TRACE(why);
    const auto before = snapshot();
    const std::string package_file = (folder_ / "p.zendro_xmlschemas").string();
    const std::vector<std::function<bool()>> operations = {
        [&] { return cache().update_store_information(true); },
        [&] { return cache().update_store_information(false); },
        [&] { return cache().install({"a"}); },
        [&] { return cache().uninstall({"a"}); },
        [&] { return cache().read_package_file(package_file).has_value(); },
        [&] { return cache().load_available().has_value(); },
        [&] { return cache().load_installed().has_value(); }};
    for (std::size_t i = 0; i < operations.size(); ++i) {
      EXPECT_FALSE(operations[i]()) << i;
      EXPECT_THAT(take_messages(), ElementsAre("not_initialized pkgtype=XML Schema")) << i;
    }
    EXPECT_TRUE(cache().load_view().versions.empty());
    EXPECT_FALSE(cache().is_initialised());
    EXPECT_THAT(take_messages(), IsEmpty());
    EXPECT_THAT(take_requests(), IsEmpty());
    EXPECT_EQ(snapshot(), before);
    EXPECT_TRUE(fs::is_empty(fs::current_path()));
  }

 private:
  fs::path started_in_;
};

TEST_F(CacheTest, WithoutFoldersNothingIsAskedForAndNothingWritten) {
  start_with({{"a-1.0.0", {{"a.zip", "bytes"}}}});
  ASSERT_TRUE(cache().install({"a"}));
  take_requests();
  for (const std::string_view key : {app::option::cache_root, app::option::install_root}) {
    const json::value known = options_[key];
    for (const json::value& value : {json::value(), json::value(""), json::value("pkgs/cache")}) {
      set_option(key, value);
      expect_all_refused(std::string(key) + ": " + json::serialize(value));
    }
    set_option(key, known);
  }

  // The defaults of a system that does not tell where the data of all users is.
  set_variable("ZENDRO_COMMON_APPDATA", "unknown");
  app::create_default_settings();
  options_.erase(app::option::cache_root);
  options_.erase(app::option::install_root);
  set_option(app::option::keep_references, nullptr);
  expect_all_refused("relative defaults");
  app::destroy_default_settings();
  unset_variable("ZENDRO_COMMON_APPDATA");
}

// What each kind of damage means for operations on other packages, and for removing the package.
TEST_F(CacheTest, ADamagedInstalledPackageStandsInNobodysWay) {
  struct Damage {
    const char* key;
    json::value value;
    const char* install_warning;
    const char* uninstall_warning;
    const char* own_warning;  // when the damaged package itself is removed
    bool folder_stays;
  };
  const char* const without = " The catalogs are written without the package.";
  const char* const unneeded = " It is taken to need no other package.";
  const char* const lost = " Other programs do not find its files.";
  const char* const untouched = " Nothing of the package is deleted.";
  const std::vector<Damage> damages = {
      {"_type", 5, nullptr, nullptr, untouched, true},
      {"_pkg_installdir", {{"a", 1}}, nullptr, nullptr, untouched, true},
      {"references", "good", nullptr, unneeded, nullptr, false},
      {"catalogs", {{"http://x/", 5}}, without, without, nullptr, false},
      {"namespace_catalog", 5, without, without, nullptr, false},
      {"uri_mappings", json::array(), without, without, nullptr, false},
      {"files", 5, lost, lost, nullptr, false}};
  const TestPackage sound{
      "good-1.0.0", {{"good.zip", "good"}}, {}, {}, {{"catalogs", {{"http://good/", "a"}}}}};
  const TestPackage damaged{
      "bad-1.0.0", {{"bad.zip", "bad"}}, {}, {}, {{"namespace_catalog", {{"urn:bad", "n"}}}}};
  start_with({sound, damaged});
  const auto expect_warning = [&](const char* end, const Damage& damage) {
    SCOPED_TRACE(damage.key);
    const std::vector<std::string> warnings = texts();
    const std::vector<std::string> lines = take_messages();
    if (end == nullptr) {
      EXPECT_THAT(lines, IsEmpty());
      return;
    }
    EXPECT_THAT(lines, ElementsAre("! invalid_pkg_information pkgtype=XML Schema "
                                   "path=$/pkgs/.xsd_cache/pkgs-installed.json"));
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_THAT(warnings[0], testing::HasSubstr("\nbad-1.0.0: Cannot cast value to JSON "));
    EXPECT_THAT(warnings[0], testing::EndsWith(end));
  };
  for (const Damage& damage : damages) {
    ASSERT_TRUE(cache().install({"bad"}));
    json::value list = json::parse(file_text(cache_file("pkgs-installed.json")));
    list.at("bad-1.0.0").as_object()[damage.key] = damage.value;
    write_text(cache_file("pkgs-installed.json"), json::serialize(list));

    EXPECT_TRUE(cache().install({"good"})) << damage.key;
    expect_warning(damage.install_warning, damage);
    EXPECT_THAT(file_text(cache_file("catalog.xml")), testing::HasSubstr("http://good/"));
    const bool left_out = damage.install_warning == without;
    EXPECT_EQ(
        file_text(cache_file("namespace-mapping-catalog.xml")).find("urn:bad") == std::string::npos,
        left_out);
    EXPECT_TRUE(cache().uninstall({"good"})) << damage.key;
    expect_warning(damage.uninstall_warning, damage);
    EXPECT_THAT(installed(), ElementsAre("bad-1.0.0"));
    EXPECT_FALSE(fs::exists(package_folder("good-1.0.0")));

    EXPECT_TRUE(cache().uninstall({"bad"})) << damage.key;
    expect_warning(damage.own_warning, damage);
    EXPECT_THAT(installed(), IsEmpty());
    EXPECT_EQ(fs::exists(package_folder("bad-1.0.0") / "bad.zip"), damage.folder_stays);
  }
}

// Each is named once, wherever it stands, and nothing else is the worse for it.
TEST_F(CacheTest, KeysThatAreNoIdentitiesAreLeftOut) {
  const auto warnings = [this] {
    std::vector<std::string> keys;
    for (const std::string& text : texts()) {
      EXPECT_THAT(text, testing::EndsWith(": is left out, since it is no package version"));
      keys.push_back(text.substr(text.find('\n') + 1, text.rfind(": ") - text.find('\n') - 1));
    }
    for (const std::string& line : take_messages()) EXPECT_THAT(line, testing::StartsWith("! "));
    return keys;
  };
  const std::string refused = R"("good":{"x":1},"-1.0.0":{},"a-1.0.0.zendro_xmlschemas":{})";
  const std::vector<std::string> keys = {"good", "-1.0.0", "a-1.0.0.zendro_xmlschemas"};
  start_with({{"a-1.0.0", {{"a.zip", "bytes"}}}});
  json::object document = json::parse(file_text(cache_file("pkgs-available.json"))).as_object();
  document["_META"] = {{"build_number", 2}};
  document["_DEPRECATED"] = {{"good-1", json::object()}};
  std::string text = json::serialize(document);
  publish_document(text.insert(1, refused + ","));
  ASSERT_TRUE(cache().update_store_information(false));
  EXPECT_THAT(warnings(), ElementsAre(keys[0], keys[1], keys[2], "good-1"));
  ASSERT_TRUE(cache().update_store_information(false));
  EXPECT_EQ(cache().load_view().versions.size(), 1u);
  EXPECT_THAT(warnings(), IsEmpty());

  write_text(cache_file("pkgs-installed.json"), "{" + refused + "}");
  ASSERT_TRUE(cache().install({"a"}));
  EXPECT_EQ(warnings(), keys);
  EXPECT_THAT(installed(), ElementsAre(keys[0], keys[1], keys[2], "a-1.0.0")) << "nothing is lost";
  ASSERT_TRUE(cache().uninstall({"a"}));
  EXPECT_THAT(warnings(), IsEmpty());
  EXPECT_THAT(installed(), testing::ElementsAreArray(keys));

  const std::string file = (folder_ / "p.zendro_xmlschemas").string();
  write_text(file, make_zip({{"ZENDROPKG-INF/pkg-meta.json",
                              R"({"provides":["b"],"good":{},"b-1.0.0":{"_type":"xsd",)"
                              R"("_pkg_installdir":"b-1.0.0"}})"}}));
  EXPECT_THAT(cache().read_package_file(file), testing::Optional(ElementsAre("b")));
  EXPECT_THAT(warnings(), ElementsAre("good"));
  EXPECT_TRUE(cache().load_available()->find_entry(pkg::parse_identity("b-1.0.0")) != nullptr);

  // A long one is shown as far as a key can be, in whole characters; of many the first hundred.
  const std::string long_key(pkg::kLongestKey - 1, 'k');
  const std::pair<std::string, std::string> long_keys[] = {{"a" + long_key, ""},
                                                           {"b" + long_key, "z"},
                                                           {"c" + long_key, "\u00e9"},
                                                           {long_key, "\u00e9"}};
  std::string many;
  for (const auto& [shown, rest] : long_keys) many += "\"" + shown + rest + "\":{},";
  for (int i = 4; i < 101; ++i) many += "\"x" + std::to_string(i) + "\":{},";
  many.back() = '}';
  write_text(cache_file("pkgs-installed.json"), "{" + many);
  EXPECT_TRUE(cache().load_installed());
  ASSERT_EQ(texts().size(), 101U);
  for (std::size_t i = 0; i < std::size(long_keys); ++i) {
    EXPECT_THAT(texts()[i], testing::HasSubstr("\n" + long_keys[i].first + ": is left out"));
  }
  EXPECT_THAT(texts().back(), testing::EndsWith("\n1 more are left out for the same reason."));
}

// The list of available packages, or the package file, that a wrong type stands in is named.
TEST_F(CacheTest, DamagedMetadataOfAPackageToBeUsedIsNamedWithItsList) {
  const TestPackage sound{"b-1.0.0", {{"b.zip", "b"}}};
  for (const auto& [key, value] :
       {std::pair("references", json::value(5)), std::pair("conflicting_pkgs", json::value({1})),
        std::pair("files", json::value({{"m", 1}})), std::pair("_type", json::value(1)),
        std::pair("namespace_catalog", json::value({{"urn:x", {{"public", true}}}})),
        std::pair("uri_mappings", json::value("x"))}) {
    SCOPED_TRACE(key);
    publish({{"a-1.0.0", {}, {}, {}, {{key, value}}}, sound});
    fs::remove(cache_file("pkgs-available.json"));
    ASSERT_TRUE(cache().update_store_information(true));
    const auto before = snapshot();
    EXPECT_FALSE(cache().install({"a", "b"}));
    ASSERT_EQ(texts().size(), 1u);
    EXPECT_THAT(texts()[0], testing::HasSubstr("pkgs-available.json.\na-1.0.0: Cannot cast"));
    EXPECT_THAT(take_messages(), ElementsAre("invalid_pkg_information pkgtype=XML Schema "
                                             "path=$/pkgs/.xsd_cache/pkgs-available.json"));
    EXPECT_EQ(snapshot(), before);
  }
  write_text(cache_file("pkgs-available.json"), R"({"a-1.0.0": {"references": 5}})");
  write_text(cache_file("pkgs-installed.json"), R"({"a-1.0.0": {}})");
  EXPECT_FALSE(cache().uninstall({"a"}));
  EXPECT_THAT(take_messages(), ElementsAre("invalid_pkg_information pkgtype=XML Schema "
                                           "path=$/pkgs/.xsd_cache/pkgs-available.json"));
  EXPECT_THAT(installed(), ElementsAre("a-1.0.0"));

  const fs::path file = folder_ / "p.zendro_xmlschemas";
  for (const char* metadata : {R"({"_type": 5})", R"({"_type": "xsd", "files": 5})"}) {
    const std::string meta = std::string(R"({"a-1.0.0":)") + metadata + "}";
    write_text(file, make_zip({{"ZENDROPKG-INF/pkg-meta.json", meta}}));
    const auto before = snapshot();
    EXPECT_FALSE(cache().read_package_file(file.string()));
    EXPECT_THAT(texts().back(), testing::HasSubstr("\na-1.0.0: Cannot cast")) << metadata;
    EXPECT_THAT(take_messages(), ElementsAre("invalid_pkg_information pkgtype=XML Schema "
                                             "path=$/p.zendro_xmlschemas"));
    EXPECT_EQ(snapshot(), before);
  }
}

TEST_F(CacheTest, AListThatIsNoneEndsAnOperationBeforeItsBegin) {
  start_with({{"a-1.0.0", {{"a.zip", "a"}}}, {"b-1.0.0", {{"b.zip", "b"}}}});
  ASSERT_TRUE(cache().install({"a", "b"}));
  const std::string lock = (folder_ / "zendro.lock").string();
  write_text(lock, pkg::lock_document("xsd", *cache().load_installed()));
  ASSERT_TRUE(cache().uninstall({"b"}));
  const std::vector<pkg::filter_action> swap = {{"a-1.0.0", pkg::kActionUninstall},
                                                {"b-1.0.0", pkg::kActionInstall}};
  const std::function<bool()> operations[] = {
      [&] { return cache().install({"b"}); }, [&] { return cache().uninstall({"a"}); },
      [&] { return cache().install_locked(lock); }, [&] { return cache().apply_changes(swap); }};
  for (const char* name : {"pkgs-available.json", "pkgs-installed.json"}) {
    const std::string list = file_text(cache_file(name));
    write_text(cache_file(name), list.substr(0, list.size() / 2));
    take_messages();
    const auto before = snapshot();
    for (std::size_t i = 0; i < std::size(operations); ++i) {
      EXPECT_FALSE(operations[i]()) << name << i;
      EXPECT_THAT(take_messages(), ElementsAre(testing::HasSubstr(name))) << i;
      EXPECT_EQ(snapshot(), before) << name << i;
    }
    write_text(cache_file(name), list);
  }
}

}  // namespace
}  // namespace zendro::tests
