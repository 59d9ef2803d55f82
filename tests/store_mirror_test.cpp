// Copying a store with proof.
#include <fstream>

#include <gmock/gmock.h>

#include "tests/cause.h"
#include "tests/links.h"
#include "tests/store_tree.h"
#include "tests/temp_folder.h"
#include "tests/whole_file.h"

#include "store/mirror/mirror.h"

namespace zendro::tests {
namespace {

using loopback::Fault;
using loopback::Reply;
using store::MirrorOutcome;
using testing::AllOf;
using testing::Each;
using testing::HasSubstr;
using testing::Not;
namespace fs = std::filesystem;

class StoreMirror : public testing::Test {
 protected:
  StoreMirror() {
    source_.add("base-1.0.0", "xsd/base-1.0.0/base.zip");
    source_.add("orders-2.0.0", "xsd/orders-2.0.0/two words.zip", {"base-1"});
    source_.add("other-1.0.0", "xsd/other-1.0.0/other.zip");
    serve();
  }

  /// Under its encoded path, as clients ask for it.
  void serve() {
    source_.serve_at(server_);
    server_.serve("/s/xsd/orders-2.0.0/two%20words.zip",
                  Reply::bytes("xsd/orders-2.0.0/two words.zip"));
  }

  framework::Result<MirrorOutcome> run(const std::vector<std::string>& filters = {},
                                       const std::string& url = {},
                                       const std::string& from = "s/") {
    said_.clear();
    asked_before_ = server_.requests().size();
    const auto say = [this](const std::string& text) { said_ += text + "\n"; };
    return store::mirror(*framework::make_http_transport(),
                         {server_.url(from), copy_.path(), filters, url}, {say, say, {}});
  }

  std::vector<std::string> asked() const {
    std::vector<std::string> paths;
    const auto requests = server_.requests();
    for (std::size_t i = asked_before_; i < requests.size(); ++i) paths.push_back(requests[i].path);
    return paths;
  }

  std::string copied(const std::string& path) const { return contents(copy_ / path); }
  bool has(const std::string& path) const { return fs::exists(copy_ / path); }

  loopback::LoopbackServer server_;
  StoreTree source_;
  TempFolder copy_;
  std::string said_;
  std::size_t asked_before_ = 0;
};

TEST_F(StoreMirror, CopiesEverythingAndThenOnlyWhatChanges) {
  server_.serve("/s/pkgs-available.json.zip.minisig", Reply::bytes("signature"));
  const auto first = run({}, "https://mirror.test/p/");
  ASSERT_EQ(cause_of(first), "");
  EXPECT_EQ(first->fetched, 3U);
  EXPECT_TRUE(first->is_list_new && first->is_signed);
  EXPECT_EQ(copied("xsd/orders-2.0.0/two words.zip"), "xsd/orders-2.0.0/two words.zip");
  EXPECT_EQ(copied("pkgs-available.json.zip"), source_.archive());
  EXPECT_EQ(copied("pkgs-available.json.zip.minisig"), "signature");
  EXPECT_THAT(copied("api/xsd-manager/v1/bootstrap"), HasSubstr(R"("https://mirror.test/p/")"));
  const auto tree = store::read_published_tree(copy_.path());
  ASSERT_EQ(cause_of(tree), "");
  EXPECT_EQ(tree->store_url, "https://mirror.test/p/");

  // Again, from the bootstrap document: where the copy is served stays as it was said.
  server_.serve("/boot", Reply::bytes(store::bootstrap_document(server_.url("s/"))));
  const auto second = run({}, {}, "boot");
  ASSERT_EQ(cause_of(second), "");
  EXPECT_EQ(second->present, 3U);
  EXPECT_FALSE(second->is_list_new);
  EXPECT_THAT(asked(), testing::ElementsAre("/boot", "/s/pkgs-available.json.zip",
                                            "/s/pkgs-available.json.zip.minisig"));

  std::ofstream(copy_ / "xsd/base-1.0.0/base.zip") << "damaged";
  source_.build_number = 2;
  source_.add("base-1.1.0", "xsd/base-1.1.0/base.zip");
  serve();
  server_.serve("/s/pkgs-available.json.zip.minisig", Reply::with_status(404));
  const auto third = run();
  ASSERT_EQ(cause_of(third), "");
  EXPECT_EQ(third->fetched, 2U);
  EXPECT_EQ(copied("xsd/base-1.0.0/base.zip"), "xsd/base-1.0.0/base.zip");
  EXPECT_FALSE(has("pkgs-available.json.zip.minisig"));
  EXPECT_THAT(said_, HasSubstr("The list is not signed"));
}

TEST_F(StoreMirror, CopiesOfDeprecatedPackagesWhatIsStillThere) {
  for (const char* version : {"old-1.0.0", "old-2.0.0"}) {
    source_.add(version, std::string("xsd/") + version + "/old.zip");
    source_.deprecated[version] = source_.packages[version];
    source_.packages.erase(version);
  }
  source_.members.erase("xsd/old-1.0.0/old.zip");
  serve();
  const auto outcome = run();
  ASSERT_EQ(cause_of(outcome), "");
  EXPECT_EQ(outcome->fetched, 4U);
  EXPECT_TRUE(has("xsd/old-2.0.0/old.zip"));
  EXPECT_THAT(said_, HasSubstr("deprecated"));
}

TEST_F(StoreMirror, CopiesAPartWithWhatItReferences) {
  server_.serve("/s/pkgs-available.json.zip.minisig", Reply::bytes("signature"));
  source_.build_number = 7;
  serve();
  const auto outcome = run({"orders"});
  ASSERT_EQ(cause_of(outcome), "");
  EXPECT_EQ(outcome->packages, 2U);
  EXPECT_FALSE(outcome->is_signed);
  EXPECT_THAT(said_, AllOf(HasSubstr("does not hold for a part"), HasSubstr("--url")));
  const auto tree = store::read_published_tree(copy_.path());
  ASSERT_EQ(cause_of(tree), "");
  EXPECT_EQ(tree->list.build_number(), 7);
  EXPECT_TRUE(has("xsd/base-1.0.0/base.zip"));
  EXPECT_FALSE(has("xsd/other-1.0.0/other.zip"));

  // A signature of one's own stays with the list that it was made for.
  std::ofstream(copy_ / "pkgs-available.json.zip.minisig") << "own";
  EXPECT_TRUE(run({"orders"})->is_signed);
  EXPECT_FALSE(run({"base", "other"})->is_signed);
  EXPECT_THAT(said_, HasSubstr("same build number, 7"));
  EXPECT_THAT(cause_of(run({"nothing"})), HasSubstr("nothing: the store has no such package"));
}

TEST_F(StoreMirror, GoesOnWhereItWasCut) {
  server_.set_fault("/s/xsd/other-1.0.0/other.zip", Fault::close(3));
  EXPECT_THAT(cause_of(run()), HasSubstr("other.zip"));
  EXPECT_FALSE(has("pkgs-available.json.zip"));
  server_.clear_faults();
  const auto outcome = run();
  ASSERT_EQ(cause_of(outcome), "");
  EXPECT_EQ(outcome->present, 2U);
  EXPECT_EQ(outcome->fetched, 1U);
  for (const auto& entry : fs::recursive_directory_iterator(copy_.path())) {
    EXPECT_THAT(entry.path().filename().string(), Not(HasSubstr("unfinished")));
  }
}

TEST_F(StoreMirror, TakesNothingThatIsNotProved) {
  ASSERT_EQ(cause_of(run()), "");
  const std::string old = copied("pkgs-available.json.zip");
  source_.build_number = 2;
  source_.add("new-1.0.0", "xsd/new-1.0.0/new.zip");
  serve();
  server_.set_fault("/s/xsd/new-1.0.0/new.zip", Fault::replaced(Reply::bytes("damaged")));
  EXPECT_THAT(cause_of(run()), AllOf(HasSubstr("new-1.0.0"), HasSubstr("digest")));
  server_.clear_faults();
  server_.serve("/s/pkgs-available.json.zip",
                Reply::bytes(source_.archive(), {{"x-amz-meta-sha256", std::string(64, '0')}}));
  EXPECT_THAT(cause_of(run()), HasSubstr("has not the digest of its header"));
  source_.build_number = 0;
  source_.serve_at(server_);
  EXPECT_THAT(cause_of(run()), HasSubstr("has build number 1, the store 0"));
  EXPECT_EQ(copied("pkgs-available.json.zip"), old);
  EXPECT_FALSE(has("xsd/new-1.0.0/new.zip"));
}

TEST_F(StoreMirror, WritesNothingOutsideOfItsFolder) {
  const TempFolder outside;
  for (const std::string member :
       {"../up.zip", "xsd/../../up.zip", "/up.zip", "xsd/%2e%2e/up.zip", "xsd%2Fup.zip",
        "xsd/a%5Cup.zip", "http://127.0.0.1:1/up.zip", "//127.0.0.1:1/up.zip", "xsd/nul.txt",
        ".hidden/up.zip", "xsd/up.zip?x", "", "pkgs-available.json.zip",
        "api/xsd-manager/v1/bootstrap", "PKG:stream/up.zip"}) {
    StoreTree hostile;
    hostile.add("evil-1.0.0", member, {}, "bytes");
    hostile.members.clear();
    hostile.serve_at(server_);
    EXPECT_THAT(cause_of(run()), HasSubstr("evil-1.0.0")) << member;
    EXPECT_THAT(asked(), Each(testing::StartsWith("/s/pkgs-available.json.zip"))) << member;
    EXPECT_TRUE(fs::is_empty(copy_.path())) << member;
  }
  // Nor through a link that somebody has put into it.
  if (!make_folder_link(outside.path(), copy_ / "xsd")) GTEST_SKIP() << "no links here";
  serve();
  EXPECT_NE(cause_of(run()), "");
  EXPECT_TRUE(fs::is_empty(outside.path()));
}

}  // namespace
}  // namespace zendro::tests
