// Links in unpacked packages, which name files as seen from the root of their own tree.
#include <gtest/gtest.h>

#include "tests/manager_fixture.h"

#include "store/source_files.h"

namespace zendro::demo {
namespace {

namespace fs = std::filesystem;

TEST(SourceFiles, LinksAreFollowedWithinTheirRoot) {
  const tests::TempFolder root;
  tests::write_text(root / "etc/b.ent", "entities");
  tests::write_text(root / "usr/dtd/page.dtd", "page");
  fs::create_symlink("/etc/b.ent", root / "usr/dtd/b.ent");
  fs::create_symlink("/nowhere", root / "usr/dtd/broken");
  fs::create_symlink("../../../../../../../../etc/passwd", root / "usr/dtd/outside");
  const std::vector<store::SourceFile> files = store::collect_files(root.path(), "usr/dtd", {"*"});
  ASSERT_EQ(files.size(), 2u);
  EXPECT_EQ(files[0].path, "b.ent");
  EXPECT_EQ(files[0].bytes, "entities");
  EXPECT_EQ(files[1].path, "page.dtd");
}

}  // namespace
}  // namespace zendro::demo
