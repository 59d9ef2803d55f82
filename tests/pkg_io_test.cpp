// Reading installed files through package URLs.
#include "pkg/pkg_io.h"

#include "app/options/options.h"
#include "framework/url/url_io.h"
#include "tests/manager_fixture.h"
#include "tests/zip_builder.h"

namespace zendro::tests {
namespace {

using framework::SeekOrigin;

class PkgIOTest : public ManagerTest {
 protected:
  void SetUp() override {
    const std::string zip = make_zip({{"in/x.xsd", "inside the archive"}});
    start_with(
        {{"my-pkg-1.2.0", {{"d/plain.xsd", "0123456789"}, {"set.zip", zip}}}, {"other-1.0.0", {}}});
    ASSERT_TRUE(cache().install({"my-pkg"}));
    app::set_type(options_, "xsd");
    shared_ = std::make_shared<json::object>(options_);
    previous_ = framework::set_io_callback(std::make_shared<pkg::PkgIOCallback>(shared_));
  }
  void TearDown() override { framework::set_io_callback(previous_); }

  static std::string read(const std::string& url) {
    const auto text = framework::open_url(url).and_then(
        [](const std::shared_ptr<framework::IOImpl_base>& stream) {
          return framework::read_all(*stream, 0, 1000);
        });
    return text ? *text : "! " + text.error().text;
  }

  std::shared_ptr<json::object> shared_;
  std::shared_ptr<framework::IoCallback> previous_;
};

TEST_F(PkgIOTest, ReadsMembersAndWhatIsInsideArchives) {
  EXPECT_EQ(read("zendro://pkg/my-pkg-1.2.0/d/plain.xsd"), "0123456789");
  EXPECT_EQ(read("zendro://pkg/my-pkg-1.2.0/set.zip%7Czip/in/x.xsd"), "inside the archive");
  EXPECT_EQ(read("zendro://pkg/my%2Dpkg-1.2.0/d/plain.xsd"), "0123456789");
  EXPECT_TRUE(read("zendro://pkg/my-pkg-1.2.0/set.zip%7Czip/in/y.xsd").starts_with("! "));
  EXPECT_TRUE(read("zendro://pkg/my-pkg-1.2.0/none.xsd").starts_with("! "));
  EXPECT_TRUE(read("zendro://pkg/my-pkg-1.2.0/").starts_with("! "));
  EXPECT_TRUE(read("zendro://pkg/my-pkg-1.2.0/../my-pkg-1.2.0/d/plain.xsd").starts_with("! "));
}

TEST_F(PkgIOTest, WhatIsNotInstalledIsToldWithTheCommandThatInstallsIt) {
  const std::string manager = app::manager_executable("xsd");
  EXPECT_EQ(read("zendro://pkg/other-1.0.0/x.xsd"),
            "! File 'zendro://pkg/other-1.0.0/x.xsd' is part of missing XML Schema 'other-1.0.0'. "
            "Call '" +
                manager + " install other-1.0.0'.");
  EXPECT_TRUE(read("zendro://pkg/my-pkg/d/plain.xsd").starts_with("! File"));
  std::filesystem::remove(cache_file("pkgs-installed.json"));  // as before the first install
  framework::set_io_callback(std::make_shared<pkg::PkgIOCallback>(shared_));
  EXPECT_TRUE(read("zendro://pkg/my-pkg-1.2.0/d/plain.xsd").starts_with("! File"));
}

TEST_F(PkgIOTest, OpensOnlyWhatThePackageNamesWithItsDigest) {
  const std::filesystem::path folder = package_folder("my-pkg-1.2.0");
  write_text(folder / "planted.xsd", "planted");
  EXPECT_THAT(read("zendro://pkg/my-pkg-1.2.0/planted.xsd"), testing::HasSubstr("no such file"));
  const std::string url = "zendro://pkg/my-pkg-1.2.0/d/plain.xsd";
  EXPECT_EQ(read("zendro://pkg/my-pkg-1.2.0/d%2Fplain.xsd"), "0123456789");
  EXPECT_EQ(read(url), "0123456789");
  const std::string zip = file_text(folder / "set.zip");
  write_text(folder / "d%2Fplain.xsd", "changed");
  write_text(folder / "set.zip", make_zip({{"in/x.xsd", "changed"}}));
  EXPECT_THAT(read(url), testing::HasSubstr("digest"));
  EXPECT_THAT(read("zendro://pkg/my-pkg-1.2.0/set.zip%7Czip/in/x.xsd"),
              testing::HasSubstr("digest"));
  (*shared_)[app::option::io_verify] = false;
  EXPECT_EQ(read(url), "changed");
  EXPECT_THAT(read("zendro://pkg/my-pkg-1.2.0/planted.xsd"), testing::HasSubstr("no such file"));
  (*shared_)[app::option::io_verify] = nullptr;
  EXPECT_EQ(read(url), "changed") << "null is false";
  shared_->erase(app::option::io_verify);
  write_text(folder / "set.zip", zip);
  EXPECT_EQ(read("zendro://pkg/my-pkg-1.2.0/set.zip%7Czip/in/x.xsd"), "inside the archive");
}

TEST_F(PkgIOTest, SeeksAndRefusesToWrite) {
  const auto io = std::make_shared<pkg::PkgIOImpl>(shared_);
  char byte = 0;
  EXPECT_EQ(io->read(&byte, 1), -1);
  EXPECT_EQ(io->seek(0, SeekOrigin::begin), -1);
  EXPECT_EQ(io->size(), 0);
  EXPECT_FALSE(io->seekable());
  const std::string url = "zendro://pkg/my-pkg-1.2.0/d/plain.xsd";
  ASSERT_TRUE(io->open(url)) << io->error().text;
  EXPECT_EQ(io->size(), 10);
  EXPECT_EQ(io->seek(-3, SeekOrigin::end), 7);
  EXPECT_EQ(io->read(&byte, 1), 1);
  EXPECT_EQ(byte, '7');
  EXPECT_FALSE(io->error());
  EXPECT_EQ(io->write("x", 1), -1);
  EXPECT_EQ(io->error().text,
            "File '" + url +
                "' is part of XML Schema 'my-pkg-1.2.0'. Write access to files in "
                "Zendro XML Schema packages is prohibited.");
  EXPECT_EQ(io->read(&byte, 1), 1);
  EXPECT_EQ(byte, '8');
  EXPECT_EQ(file_text(package_folder("my-pkg-1.2.0") / "d%2Fplain.xsd"), "0123456789");
}

TEST_F(PkgIOTest, AHandlerIsGoodForTheCacheAsItWas) {
  const auto io = std::make_shared<pkg::PkgIOImpl>(shared_);
  ASSERT_TRUE(cache().install({"other"}));
  EXPECT_FALSE(io->open("zendro://pkg/my-pkg-1.2.0/d/plain.xsd"));
  EXPECT_EQ(io->error().text, "XML Schema cache was updated.");
  EXPECT_EQ(read("zendro://pkg/my-pkg-1.2.0/d/plain.xsd"), "0123456789");
  write_text(cache_file("pkgs-installed.json"), R"({"my-pkg-1.2.0":{"_type":5}})");
  EXPECT_EQ(read("zendro://pkg/my-pkg-1.2.0/d/plain.xsd"), "! Cannot cast value to JSON string!");
  write_text(cache_file("pkgs-installed.json"), "{");
  EXPECT_EQ(read("zendro://pkg/my-pkg-1.2.0/d/plain.xsd")
                .find("! Can't read XML Schema "
                      "information from"),
            0u);
}

}  // namespace
}  // namespace zendro::tests
