// Bringing a published tree to an object store.
#include <gmock/gmock.h>

#include "tests/cause.h"
#include "tests/store_tree.h"
#include "tests/temp_folder.h"

#include "store/publish/publish.h"

namespace zendro::tests {
namespace {

using loopback::Fault;
using loopback::Reply;
using loopback::ServedRequest;
using store::PublishOutcome;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char* kSecret = "very/secret+key";

class StorePublish : public testing::Test {
 protected:
  StorePublish() {
    tree_.add("base-1.0.0", "xsd/base-1.0.0/two words+.zip");
    tree_.add("orders-1.0.0", "xsd/orders-1.0.0/orders.zip");
    // What is stored is there, with its metadata, from then on.
    server_.observe([this](const ServedRequest& request) {
      if (request.method == "PUT" && !is_refusing_) server_.serve(request.path, stored(request));
    });
    expect_all();
  }

  static Reply stored(const ServedRequest& request) {
    std::vector<std::pair<std::string, std::string>> metadata;
    for (const auto& [name, value] : request.headers) {
      if (name.starts_with("x-amz-meta-")) metadata.emplace_back(name, value);
    }
    return Reply::bytes(request.body, metadata);
  }

  /// What is not there yet: the server says so to so many requests, and takes it then.
  void expect(const std::string& path, int looks) {
    server_.serve("/bkt/p/" + path, Reply::with_status(200));
    server_.set_fault(
        "/bkt/p/" + path,
        Fault::replaced(Reply::with_status(404, "<Code>NoSuchKey</Code>")).first(looks));
  }
  void expect_all() {
    expect("xsd/base-1.0.0/two%20words%2B.zip", 1);
    expect("xsd/orders-1.0.0/orders.zip", 1);
    expect("pkgs-available.json.zip", 2);
    expect("pkgs-available.json.zip.sha256", 1);
    expect("api/xsd-manager/v1/bootstrap", 1);
  }

  framework::Result<PublishOutcome> run() {
    puts_before_ = puts().size();
    tree_.write_to(folder_.path());
    const auto tree = store::read_published_tree(folder_.path());
    if (!tree) return tl::unexpected(tree.error());
    const auto url = store::object_store_url("s3://bkt/p/", server_.url());
    store::ObjectStore objects(url.value(), {{"id", kSecret, "eu-1"}, "session-token"});
    return store::publish(*tree, objects);
  }

  std::vector<ServedRequest> puts() const {
    std::vector<ServedRequest> all;
    for (const ServedRequest& request : server_.requests()) {
      if (request.method == "PUT") all.push_back(request);
    }
    return all;
  }
  std::vector<std::string> new_puts() const {
    std::vector<std::string> paths;
    const auto all = puts();
    for (std::size_t i = puts_before_; i < all.size(); ++i) paths.push_back(all[i].path.substr(7));
    return paths;
  }

  bool is_refusing_ = false;
  loopback::LoopbackServer server_;
  TempFolder folder_;
  StoreTree tree_;
  std::size_t puts_before_ = 0;
};

TEST_F(StorePublish, StoresMembersFirstAndThenOnlyWhatChanges) {
  const auto first = run();
  ASSERT_EQ(cause_of(first), "");
  EXPECT_EQ(first->stored, 2U);
  EXPECT_TRUE(first->is_list_new);
  auto paths = new_puts();
  ASSERT_EQ(paths.size(), 5U);
  std::sort(paths.begin(), paths.begin() + 2);
  EXPECT_THAT(paths, ElementsAre("xsd/base-1.0.0/two%20words%2B.zip", "xsd/orders-1.0.0/orders.zip",
                                 "pkgs-available.json.zip", "pkgs-available.json.zip.sha256",
                                 "api/xsd-manager/v1/bootstrap"));
  for (const ServedRequest& put : puts()) {
    const std::string digest = framework::to_hex(framework::sha256(put.body));
    EXPECT_EQ(put.headers.at("x-amz-meta-sha256"), digest);
    EXPECT_EQ(put.headers.at("x-amz-content-sha256"), digest);
    EXPECT_EQ(put.headers.at("x-amz-security-token"), "session-token");
    EXPECT_THAT(put.headers.at("Authorization"),
                AllOf(HasSubstr("AWS4-HMAC-SHA256 Credential=id/"), HasSubstr("/eu-1/s3/"),
                      HasSubstr("x-amz-meta-sha256")));
  }
  EXPECT_THAT(puts()[0].headers.at("Cache-Control"), HasSubstr("immutable"));
  for (std::size_t head = 2; head < 5; ++head) {
    EXPECT_EQ(puts()[head].headers.at("Cache-Control"), "no-cache");
  }
  EXPECT_EQ(puts()[2].headers.at("x-amz-meta-build-number"), "1");
  EXPECT_EQ(puts()[4].headers.at("Content-Type"), "application/json");

  const auto second = run();
  ASSERT_EQ(cause_of(second), "");
  EXPECT_EQ(second->present, 2U);
  EXPECT_THAT(new_puts(), IsEmpty());

  tree_.build_number = 2;
  tree_.add("new-1.0.0", "xsd/new-1.0.0/new.zip");
  expect("xsd/new-1.0.0/new.zip", 1);
  ASSERT_EQ(cause_of(run()), "");
  EXPECT_THAT(new_puts(), ElementsAre("xsd/new-1.0.0/new.zip", "pkgs-available.json.zip",
                                      "pkgs-available.json.zip.sha256"));
  tree_.build_number = 1;
  EXPECT_THAT(cause_of(run()), HasSubstr("number 2 is published already"));
  // Who has signed once and forgets it is told so.
  tree_.build_number = 3;
  server_.serve("/bkt/p/pkgs-available.json.zip.minisig", Reply::bytes("signature"));
  EXPECT_THAT(cause_of(run()), HasSubstr("is not signed, but"));
  EXPECT_THAT(new_puts(), IsEmpty());
}

TEST_F(StorePublish, NeverGivesAMemberOtherBytes) {
  ASSERT_EQ(cause_of(run()), "");
  tree_.build_number = 2;
  tree_.add("orders-1.0.0", "xsd/orders-1.0.0/orders.zip", {}, "other bytes");
  tree_.add("new-1.0.0", "xsd/new-1.0.0/new.zip");
  expect("xsd/new-1.0.0/new.zip", 1);
  EXPECT_THAT(cause_of(run()), HasSubstr("xsd/orders-1.0.0/orders.zip: is there with other bytes"));
  EXPECT_THAT(new_puts(), IsEmpty());
  server_.serve("/bkt/p/xsd/orders-1.0.0/orders.zip", Reply::bytes("who knows"));
  EXPECT_THAT(cause_of(run()), HasSubstr("nothing proves its bytes"));
  // What the list does not describe is not published either.
  tree_.members["xsd/new-1.0.0/new.zip"] = "damaged";
  server_.serve("/bkt/p/xsd/orders-1.0.0/orders.zip", Reply::with_status(404));
  server_.set_fault("/bkt/p/xsd/new-1.0.0/new.zip", Fault::replaced(Reply::with_status(404)));
  EXPECT_THAT(cause_of(run()), HasSubstr("has not the digest that the list gives"));
  EXPECT_THAT(new_puts(), IsEmpty());
}

TEST_F(StorePublish, LeavesTheListWhereAMemberCannotBeStored) {
  const std::string member = "/bkt/p/xsd/orders-1.0.0/orders.zip";
  server_.serve(member, Reply::with_status(403,
                                           "<Error><Code>AccessDenied</Code><Message>not "
                                           "for " +
                                               std::string(kSecret) + "</Message></Error>"));
  server_.set_fault(member, Fault::replaced(Reply::with_status(404)).first(1));
  is_refusing_ = true;
  EXPECT_THAT(cause_of(run()), AllOf(HasSubstr("403, AccessDenied: not for ***"), HasSubstr(member),
                                     Not(HasSubstr(kSecret))));
  EXPECT_THAT(new_puts(), Not(testing::Contains(HasSubstr("pkgs-available"))));

  Reply elsewhere = Reply::with_status(301);
  elsewhere.headers.emplace_back("x-amz-bucket-region", "eu-2");
  server_.set_fault("/bkt/p/pkgs-available.json.zip", Fault::replaced(elsewhere));
  EXPECT_THAT(cause_of(run()), HasSubstr("set AWS_REGION to that of the bucket, eu-2"));

  // What may pass is tried again, but not for ever.
  is_refusing_ = false;
  server_.clear_faults();
  expect_all();
  server_.set_fault("/bkt/p/api/xsd-manager/v1/bootstrap",
                    Fault::replaced(Reply::with_status(503)).first(1));
  server_.set_fault("/bkt/p/pkgs-available.json.zip", Fault::close().first(1));
  EXPECT_EQ(cause_of(run()), "");
  server_.set_fault("/bkt/p/pkgs-available.json.zip", Fault::replaced(Reply::with_status(500)));
  const std::size_t before = server_.request_count("/bkt/p/pkgs-available.json.zip");
  EXPECT_THAT(cause_of(run()), HasSubstr("HTTP status 500"));
  EXPECT_EQ(server_.request_count("/bkt/p/pkgs-available.json.zip"), before + 3);
}

TEST(ObjectStore, TakesItsPlaceAndKeyAsUsual) {
  const auto url = [](const char* target, const char* endpoint = "https://s3.test") {
    return store::object_store_url(target, endpoint).value_or("none");
  };
  EXPECT_EQ(url("s3://bkt"), "https://s3.test/bkt/");
  EXPECT_EQ(url("s3://bkt/a b/c/", "http://s3.test:9/x/"), "http://s3.test:9/x/bkt/a%20b/c/");
  for (const char* wrong : {"bkt/p", "s3://", "s3:///p", "s3://bkt/../p", "s3://bkt//p"}) {
    EXPECT_EQ(url(wrong), "none") << wrong;
  }
  for (const char* wrong : {"ftp://s3.test", "https://me:pw@s3.test", "https://s3.test/?x", ""}) {
    EXPECT_EQ(url("s3://bkt", wrong), "none") << wrong;
  }
}

}  // namespace
}  // namespace zendro::tests
