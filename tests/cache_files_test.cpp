// What another user puts into the place of files and folders of the cache root: nothing outside is
// read, written or changed, and an operation says what stands in its way.
#include "app/options/options.h"
#include "tests/environment.h"
#include "tests/links.h"
#include "tests/manager_fixture.h"

namespace zendro::tests {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

class CacheFilesTest : public ManagerTest {
 protected:
  CacheFilesTest() {
    fs::create_directories(outside_ / "sub");
    write_text(outside_ / "file", "{}");
  }

  void expect_nothing_outside_changed() {
    EXPECT_EQ(file_text(outside_ / "file"), "{}");
    EXPECT_TRUE(fs::is_empty(outside_ / "sub"));
    EXPECT_EQ(std::distance(fs::directory_iterator(outside_), {}), 2);
  }

  // An update and an install that write every file.
  bool write_all() {
    publish({{"a-1.0.0", {{"m.zip", "x"}}}}, ++build_);
    return cache().update_store_information(true) && cache().install({"a"});
  }

  const fs::path outside_ = folder_ / "outside";
  int build_ = 1;
};

enum class End { replaced, refused, warned };

TEST_F(CacheFilesTest, NoNameLeadsOutside) {
  set_option(app::option::log_remote_io, true);
  std::vector<Plant> all = plants(outside_);
  all.push_back({"folder", [](const fs::path& place) { return fs::create_directory(place); }});
  const auto end_of = [](const std::string& name, const std::string& plant) {
    if (name == "operation.lock") return End::refused;
    if (plant == "folder") return name.starts_with("logs/") ? End::warned : End::refused;
    // A list of installed packages is read before it is written.
    return name == "pkgs-installed.json" && plant != "hard link" ? End::refused : End::replaced;
  };
  for (const std::string name :
       {"pkgs-available.json", "pkgs-installed.json", "catalog.xml", "remapping.xml",
        "namespace-mapping-catalog.xml", "operation.lock", "logs/io_bootstrap.log",
        "logs/io_update.log", "logs/io_a-1.0.0.log", "logs/io_pkgstore.log"}) {
    for (const Plant& plant : all) {
      SCOPED_TRACE(name + ": " + plant.name);
      fs::remove_all(folder_ / "pkgs");
      take_messages();
      start_with({});
      const fs::path place = cache_file(name);
      fs::remove(place);
      if (!plant.put(place)) continue;
      cache().load_view();
      take_messages();
      const bool succeeded = write_all();
      const End end = end_of(name, plant.name);
      EXPECT_EQ(succeeded, end != End::refused);
      if (end == End::replaced) {
        EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(place)));
        EXPECT_EQ(fs::hard_link_count(place), 1u);
        EXPECT_THAT(take_messages(), IsEmpty());
      } else {
        EXPECT_THAT(texts(), Contains(HasSubstr("$/pkgs/.xsd_cache/" + name)));
      }
      expect_nothing_outside_changed();
    }
  }
}

// Every folder from the base folder down is walked without following a link; the base folder itself
// and a root elsewhere may be reached through one.
TEST_F(CacheFilesTest, NoFolderOnTheWayLeadsOutside) {
  set_variable("ZENDRO_COMMON_APPDATA", folder_.path().string().c_str());
  const fs::path base = folder_ / "Zendro";
  const fs::path pkgs = base / "pkgs";
  set_option(app::option::log_remote_io, true);
  set_option(app::option::install_root, json::value(pkgs.string()));
  set_option(app::option::cache_root, json::value((pkgs / ".xsd_cache").string()));
  const auto run_all = [&] {
    take_messages();
    const bool wrote = write_all();
    cache().load_view();
    return cache().uninstall({"a"}) && wrote;
  };
  bool can_link = true;
  for (const char* folder :
       {"pkgs", "pkgs/.xsd_cache", "pkgs/xsd", "pkgs/xsd/a-1.0.0", "pkgs/.xsd_cache/logs"}) {
    SCOPED_TRACE(folder);
    fs::remove_all(base);
    fs::create_directories((base / folder).parent_path());
    can_link = can_link && make_folder_link(outside_ / "sub", base / folder);
    if (!can_link) break;
    const bool only_a_trace = std::string(folder).ends_with("logs");
    EXPECT_EQ(run_all(), only_a_trace);
    EXPECT_THAT(texts(), Contains(HasSubstr(std::string("$/Zendro/") + folder)));
    EXPECT_THAT(texts(), Contains(HasSubstr(": is a link")));
    expect_nothing_outside_changed();
  }
  fs::remove_all(base);
  if (can_link) {
    fs::create_directory(folder_ / "elsewhere");
    ASSERT_TRUE(make_folder_link(folder_ / "elsewhere", base));
  }
  EXPECT_TRUE(run_all());
  ASSERT_TRUE(!can_link || make_folder_link(base, folder_ / "other"));
  set_option(app::option::install_root, json::value((folder_ / "other").string()));
  set_option(app::option::cache_root, json::value((folder_ / "other" / "lists").string()));
  EXPECT_TRUE(run_all());
  unset_variable("ZENDRO_COMMON_APPDATA");
}

TEST_F(CacheFilesTest, WithoutTheLockNothingIsChanged) {
  start_with({{"a-1.0.0", {{"a.zip", "a"}}}, {"b-1.0.0", {{"b.zip", "b"}}}});
  ASSERT_TRUE(cache().install({"a"}));
  fs::remove(cache_file("operation.lock"));
  fs::create_directory(cache_file("operation.lock"));
  take_requests();
  take_messages();
  const auto before = snapshot();
  const std::vector<pkg::filter_action> swap = {{"a-1.0.0", pkg::kActionUninstall},
                                                {"b-1.0.0", pkg::kActionInstall}};
  const std::vector<std::function<bool()>> operations = {
      [&] { return cache().update_store_information(true); },
      [&] { return cache().update_store_information(false); },
      [&] { return cache().install({"b"}); },
      [&] { return cache().uninstall({"a"}); },
      [&] { return cache().update_from_archive((folder_ / "list.zip").string()); },
      [&] { return cache().install_locked((folder_ / "zendro.lock").string()); },
      [&] { return cache().apply_changes(swap); },
      [&] {
        return cache().read_package_file((folder_ / "p.zendro_xmlschemas").string()) !=
               std::nullopt;
      }};
  for (std::size_t i = 0; i < operations.size(); ++i) {
    EXPECT_FALSE(operations[i]()) << i;
    ASSERT_EQ(texts().size(), 1u) << i;
    EXPECT_THAT(texts()[0],
                testing::AllOf(testing::StartsWith("$/pkgs/.xsd_cache/operation.lock: "),
                               HasSubstr(". Nothing was changed, ")));
    take_messages();
  }
  EXPECT_EQ(snapshot(), before);
  EXPECT_THAT(take_requests(), IsEmpty());
  // What is known is shown all the same.
  EXPECT_EQ(cache().load_view().versions.size(), 2u);
  EXPECT_TRUE(cache().load_available() && cache().load_installed());
  EXPECT_THAT(take_messages(), IsEmpty());
}

}  // namespace
}  // namespace zendro::tests
