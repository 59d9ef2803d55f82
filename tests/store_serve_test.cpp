// A published tree over HTTP, and what web servers are told about it.
#include <fstream>
#include <thread>

#include <gmock/gmock.h>

#include "framework/http/http.h"
#include "tests/cause.h"
#include "tests/links.h"
#include "tests/store_tree.h"
#include "tests/temp_folder.h"

#include "store/publish/web_config.h"
#include "store/serve/tree_server.h"

namespace zendro::tests {
namespace {

using store::TreeAnswer;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
namespace fs = std::filesystem;

class StoreServe : public testing::Test {
 protected:
  StoreServe() { write(); }

  void write() {
    made_.add("base-1.0.0", "xsd/base-1.0.0/two words.zip");
    made_.write_to(folder_ / "out");
    auto tree = store::read_published_tree(folder_ / "out");
    EXPECT_EQ(cause_of(tree), "");
    tree_ = std::move(*tree);
    auto root = framework::Folder::open(tree_.folder);
    EXPECT_EQ(cause_of(root), "");
    files_.emplace(tree_, std::move(*root));
  }

  TreeAnswer ask(const std::string& target, const std::string& method = "GET",
                 const std::string& tag = {}) const {
    return files_->answer({method, target, "127.0.0.1:1", tag});
  }

  TempFolder folder_;
  StoreTree made_;
  store::PublishedTree tree_;
  std::optional<store::StaticTree> files_;
};

std::string header(const TreeAnswer& answer, const std::string& wanted) {
  for (const auto& [name, value] : answer.headers) {
    if (name == wanted) return value;
  }
  return {};
}

TEST_F(StoreServe, AnswersOnlyWhatIsPublished) {
  std::ofstream(folder_ / "secret") << "secret";
  std::ofstream(folder_ / "out/.list.unfinished") << "half";
  EXPECT_EQ(ask("/xsd/base-1.0.0/two%20words.zip?x").size, 28U);
  for (const char* target :
       {"/", "/xsd", "/xsd/", "/missing", "/../secret", "/%2e%2e/secret", "/xsd/../../secret",
        "/..%2Fsecret", "/..%5Csecret", "//secret", "/.list.unfinished", "/xsd/./base-1.0.0",
        "http://127.0.0.1/secret", "*", "", "/xsd%00"}) {
    EXPECT_EQ(ask(target).status, 404U) << target;
  }
  if (make_folder_link(folder_.path(), folder_ / "out/link")) {
    EXPECT_EQ(ask("/link/secret").status, 404U);
  }
  EXPECT_EQ(ask("/xsd", "DELETE").status, 405U);
  EXPECT_EQ(ask("/api/package-manager/v1/telemetry", "POST").status, 204U);
  EXPECT_EQ(files_->answer({"GET", "/api/xsd-manager/v1/bootstrap", "a\"b", ""}).status, 400U);
}

TEST_F(StoreServe, TellsTheDigestAndTheTagOfTheListAsItIs) {
  const TreeAnswer old = ask("/pkgs-available.json.zip");
  EXPECT_EQ(header(old, "x-amz-meta-sha256"), tree_.digest);
  EXPECT_EQ(ask("/pkgs-available.json.zip", "GET", header(old, "ETag")).status, 304U);
  made_.build_number = 2;
  made_.write_to(folder_ / "out");
  const TreeAnswer changed = ask("/pkgs-available.json.zip", "GET", header(old, "ETag"));
  EXPECT_EQ(changed.status, 200U);
  EXPECT_EQ(header(changed, "x-amz-meta-sha256"),
            framework::to_hex(framework::sha256(made_.archive())));
}

TEST_F(StoreServe, ServesSeveralRequestsOverTheNetwork) {
  for (const char* wrong : {"127.0.0.1:x", ":80", "127.0.0.1:70000", "[::1"}) {
    EXPECT_NE(cause_of(store::TreeServer::listen(wrong, *files_, {})), "") << wrong;
  }
  auto server = store::TreeServer::listen("127.0.0.1:0", *files_, {});
  ASSERT_EQ(cause_of(server), "");
  const std::string url = (*server)->url();
  EXPECT_THAT(cause_of(store::TreeServer::listen(url.substr(7, url.size() - 8), *files_, {})),
              HasSubstr("127.0.0.1:"));
  const std::jthread running([&](const std::stop_token& stop) { (*server)->run(stop); });
  const auto http = framework::make_http_transport();
  const auto get = [&](const std::string& path) {
    framework::HttpRequest request;
    request.url = url + path;
    const auto answer = http->get(request);
    EXPECT_EQ(cause_of(answer), "");
    return answer ? framework::read_all(**answer, 1024, 1 << 20).value_or("cut") : "";
  };
  // So that a tree made for another URL can be tried.
  EXPECT_EQ(get("api/xsd-manager/v1/bootstrap"), store::bootstrap_document(url));
  EXPECT_EQ(get("pkgs-available.json.zip"), made_.archive());
  EXPECT_EQ(get("xsd/base-1.0.0/two%20words.zip"), "xsd/base-1.0.0/two words.zip");
  framework::HttpRequest report;
  report.url = url + "api/package-manager/v1/telemetry";
  EXPECT_EQ(cause_of(http->post(report, "{}")), "");
}

TEST_F(StoreServe, WritesPathsAndHeaderForWebServers) {
  made_.url = "https://pkg.test/schemas/";
  fs::remove_all(folder_ / "out");
  write();
  for (const char* server : {"nginx", "apache", "caddy"}) {
    const auto lines = store::web_config(server, tree_);
    ASSERT_EQ(cause_of(lines), "");
    EXPECT_THAT(*lines,
                AllOf(HasSubstr("/schemas/"), HasSubstr("x-amz-meta-sha256"), HasSubstr("204"),
                      HasSubstr("/api/xsd-manager/v1/bootstrap"), HasSubstr("immutable")));
    // No word of the pattern is left.
    EXPECT_THAT(*lines, AllOf(Not(HasSubstr("@root")), Not(HasSubstr("@imm")))) << server;
    // Apache reads it from the file.
    EXPECT_EQ(lines->find(tree_.digest) == std::string::npos, server == std::string("apache"));
    auto other = tree_;
    other.store_url = "https://pkg.test/a b/";
    EXPECT_THAT(cause_of(store::web_config(server, other)), HasSubstr("letters, digits"));
    other.store_url.clear();
    EXPECT_THAT(cause_of(store::web_config(server, other)), HasSubstr("store.json"));
    other = tree_;
    other.folder = fs::path("/srv") / (std::string("a\"b") + "$%{}");
    EXPECT_THAT(cause_of(store::web_config(server, other)), HasSubstr("cannot hold"));
    other.folder = fs::path("/srv") / "a \"b";
    EXPECT_THAT(store::web_config(server, other).value_or(""), HasSubstr(R"(/srv/a \"b/")"));
  }
}

}  // namespace
}  // namespace zendro::tests
