// Bringing the list of available packages up to date.
#include <chrono>

#include "app/options/options.h"
#include "framework/io/digest.h"
#include "tests/manager_fixture.h"
#include "tests/signed_store.h"
#include "tests/zip_builder.h"

namespace zendro::tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class StoreTest : public ManagerTest {
 protected:
  static constexpr const char* kArchive = "/store/pkgs-available.json.zip";

  // Updates a cache that holds the list {"old-1.0.0"} with build number 5, and expects the failure
  // to leave every file as it was.
  std::vector<std::string> failed_update() {
    write_text(cache_file("pkgs-available.json"), R"({"_META":{"build_number":5},"old-1.0.0":{}})");
    const auto before = snapshot();
    EXPECT_FALSE(cache().update_store_information(false));
    EXPECT_EQ(snapshot(), before);
    return take_messages();
  }
};

TEST_F(StoreTest, ForcedUpdateCreatesTheCacheOfAFreshMachine) {
  publish({{"a-1.0.0", {}}});
  EXPECT_FALSE(cache().is_initialised());
  EXPECT_FALSE(cache().update_store_information(false));
  EXPECT_THAT(take_messages(), ElementsAre("not_initialized pkgtype=XML Schema"));
  EXPECT_THAT(take_log(), IsEmpty());
  EXPECT_THAT(take_requests(), IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(folder_ / "pkgs"));

  EXPECT_TRUE(cache().update_store_information(true));
  EXPECT_THAT(take_messages(), IsEmpty());
  EXPECT_THAT(take_log(),
              ElementsAre("Updating XML Schema folder $/pkgs/.xsd_cache/.",
                          "Fetch current XML Schema informations from Zendro XML Schema store.",
                          "Update XML Schema information.", "Update XML Schema catalogs."));
  EXPECT_THAT(take_requests(), ElementsAre("GET /bootstrap", std::string("GET ") + kArchive));
  EXPECT_TRUE(cache().is_initialised());
  for (const char* name : {"catalog.xml", "remapping.xml", "namespace-mapping-catalog.xml"}) {
    EXPECT_TRUE(std::filesystem::exists(cache_file(name))) << name;
  }
  EXPECT_FALSE(std::filesystem::exists(cache_file("logs")));
}

TEST_F(StoreTest, OnlyANewerBuildReplacesTheList) {
  const auto update = [&](const std::string& cached, const std::string& published) {
    write_text(cache_file("pkgs-available.json"), cached);
    std::filesystem::remove(cache_file("catalog.xml"));
    publish_document(published);
    EXPECT_TRUE(cache().update_store_information(false));
    EXPECT_TRUE(std::filesystem::exists(cache_file("catalog.xml")));
    return file_text(cache_file("pkgs-available.json")) != cached;
  };
  const std::string old = R"({"_META":{"build_number":5},"old-1.0.0":{}})";
  EXPECT_FALSE(update(old, R"({"_META":{"build_number":5},"new-1.0.0":{}})"));
  EXPECT_EQ(take_log().back(), "XML Schema information already up to date.");
  EXPECT_FALSE(update(old, R"({"_META":{"build_number":4}})"));
  EXPECT_FALSE(update(old, R"({"_META":{"build_number":null}})"));
  EXPECT_TRUE(update(old, R"({"_META":{"build_number":6},"new-1.0.0":{}})"));
  EXPECT_TRUE(update(old, R"({"new-1.0.0":{}})"));
  EXPECT_TRUE(update(old, R"({"_META":{},"new-1.0.0":{}})"));
  EXPECT_TRUE(update(R"({"old-1.0.0":{}})", R"({"_META":{"build_number":-1}})"));
  EXPECT_TRUE(update(R"({"_META":{"build_number":9}, cut off)", R"({"_META":{"build_number":1}})"));
  EXPECT_TRUE(update(R"({"_META":{"build_number":null}})", R"({"_META":{"build_number":1}})"));
}

TEST_F(StoreTest, TheDigestHeaderIsCheckedWhereThereIsOne) {
  publish({{"a-1.0.0", {}}});
  const std::string document = R"({"_META":{"build_number":6}})";
  std::string digest =
      framework::to_hex(framework::sha256(make_zip({{"pkgs-available.json", document}})));
  publish_document(document, digest.substr(1));
  EXPECT_THAT(failed_update(), ElementsAre("checksum_invalid_pkg_store_info file=@store/"
                                           "pkgs-available.json.zip sum=" +
                                           digest.substr(1)));
  publish_document(document, digest + "0");
  EXPECT_THAT(failed_update(), ElementsAre("checksum_invalid_pkg_store_info file=@store/"
                                           "pkgs-available.json.zip sum=" +
                                           digest + "0"));
  publish_document(document, std::string(63, '0') + "g");
  EXPECT_THAT(failed_update(), ElementsAre("checksum_invalid_pkg_store_info file=@store/"
                                           "pkgs-available.json.zip sum=" +
                                           std::string(63, '0') + "g"));
  publish_document(document, std::string(64, '0'));
  EXPECT_THAT(failed_update(), ElementsAre("checksum_mismatch_pkg_store_info file=@store/"
                                           "pkgs-available.json.zip"));
  for (char& c : digest) c = static_cast<char>(std::toupper(c));
  publish_document(document, digest);
  EXPECT_TRUE(cache().update_store_information(false));
  publish_document(R"({"_META":{"build_number":7}})", "");
  EXPECT_TRUE(cache().update_store_information(false));
}

TEST_F(StoreTest, EveryFailureHasItsMessageAndLeavesTheListAlone) {
  const std::string type = " pkgtype=XML Schema";
  publish({{"a-1.0.0", {}}}, 6);
  server_.set_fault("/bootstrap",
                    loopback::Fault::replaced(loopback::Reply::with_status(500, "{}")));
  EXPECT_THAT(failed_update(), ElementsAre("io_error", "connect_pkg_store" + type));
  server_.set_fault("/bootstrap", loopback::Fault::close());
  EXPECT_THAT(failed_update(), ElementsAre("io_error", "connect_pkg_store" + type));
  server_.set_fault("/bootstrap", loopback::Fault::wrong_length(1000));
  EXPECT_THAT(failed_update(), ElementsAre("io_error", "fetch_pkg_store_info" + type));
  server_.clear_faults();
  serve_bootstrap(std::string((1 << 20) + 1, ' '));
  EXPECT_THAT(failed_update(), ElementsAre("io_error", "fetch_pkg_store_info" + type));
  serve_bootstrap("<html>login</html>");
  EXPECT_THAT(failed_update(), ElementsAre("read_pkg_store_info" + type));
  for (const char* body : {"{}", "[]", R"({"pkg.store_url": 1})", R"({"store_url": "x"})"}) {
    serve_bootstrap(body);
    EXPECT_THAT(failed_update(), ElementsAre("invalid_pkg_store_info" + type)) << body;
  }
  // No separator is added to a store URL, so this one misses the archive.
  serve_bootstrap(R"({"pkg.store_url": ")" + server_.url("store") + R"("})");
  EXPECT_THAT(failed_update(), ElementsAre("io_error", "update_pkg_store_information" + type));
  EXPECT_THAT(take_requests().back(), "GET /storepkgs-available.json.zip");

  serve_bootstrap(R"({"pkg.store_url": ")" + server_.url("store/") + R"("})");
  server_.set_fault(kArchive, loopback::Fault::close(10));
  EXPECT_THAT(failed_update(), ElementsAre("io_error", "update_pkg_store_information" + type));
  server_.clear_faults();
  server_.serve(kArchive, loopback::Reply::bytes("no zip"));
  EXPECT_THAT(failed_update(), ElementsAre("io_error", "update_pkg_store_information" + type));
  server_.serve(kArchive, loopback::Reply::bytes(make_zip({{"other.json", "{}"}})));
  EXPECT_THAT(failed_update(), ElementsAre("io_error", "update_pkg_store_information" + type));
  publish_document("{\"a-1.0.0\": ");
  EXPECT_THAT(failed_update(), ElementsAre("invalid_pkg_store_information" + type));
  for (const char* document :
       {"[]", R"({"a-1.0.0": 1})", R"({"_META": 1})", R"({"_META": {"build_number": "9"}})"}) {
    publish_document(document);
    EXPECT_THAT(failed_update(), ElementsAre("invalid_pkg_store_information" + type)) << document;
  }
  set_option(app::option::store_bootstrap_url, "file:///etc/hostname");
  EXPECT_THAT(failed_update(), ElementsAre("io_error", "connect_pkg_store" + type));
}

TEST_F(StoreTest, WhatIsNoDocumentIsNamedByItsUrlWithoutCredentials) {
  const std::string host = server_.url().substr(std::string_view("http://").size());
  const auto expect_text = [&](const std::string& text) {
    EXPECT_FALSE(cache().update_store_information(true));
    EXPECT_THAT(texts(), Contains(testing::HasSubstr("http://***@" + host + text)));
    EXPECT_THAT(texts(), testing::Each(testing::Not(testing::HasSubstr("secret"))));
    take_messages();
  };
  set_option(app::option::store_bootstrap_url,
             json::string("http://me:my secret@" + host + "bootstrap"));
  const std::pair<std::string, const char*> bootstraps[] = {
      {"<html>login</html>", ": not JSON: syntax error at byte 0"},
      {"[]", ": Cannot cast value to JSON map!"},
      {"{}", ": there is no \"pkg.store_url\""},
      {R"({"pkg.store_url": 1})", ": \"pkg.store_url\" is not a text"},
      {std::string((1 << 20) + 1, ' '), ": holds more than 1048576 bytes"}};
  for (const auto& [body, text] : bootstraps) {
    serve_bootstrap(body);
    expect_text(std::string("bootstrap") + text);
  }
  serve_bootstrap(R"({"pkg.store_url": "http://me:my secret@)" + host + R"(store/"})");
  const std::string member = "pkgs-available.json";
  const std::string whole = make_zip({{member, "{}"}});
  const std::pair<std::string, const char*> archives[] = {
      {"<html>login</html>", ": Not a zip archive"},
      {whole.substr(0, whole.size() / 2), ": "},
      {make_zip({{"other.json", "{}"}}), "%7Czip/pkgs-available.json: the archive holds no such"},
      {make_zip({{member, "{\"a-1.0.0\": "}}), "%7Czip/pkgs-available.json: not JSON: "},
      {make_zip({{member, "[]"}}), "%7Czip/pkgs-available.json: Cannot cast value to JSON map!"}};
  for (const auto& [bytes, text] : archives) {
    server_.serve(kArchive, loopback::Reply::bytes(bytes));
    expect_text(kArchive + 1 + std::string(text));
  }
  for (const std::string& digest : {std::string("short"), std::string(64, '0')}) {
    publish_document("{}", digest);
    expect_text(kArchive + 1 + std::string("."));
  }
}

TEST_F(StoreTest, NetworkErrorsTellUrlAndCause) {
  publish({{"a-1.0.0", {}}});
  server_.set_fault("/bootstrap", loopback::Fault::replaced(loopback::Reply::with_status(404)));
  EXPECT_FALSE(cache().update_store_information(true));
  ASSERT_EQ(texts().size(), 2u);
  EXPECT_THAT(texts()[0],
              testing::AllOf(testing::HasSubstr("@bootstrap"), testing::HasSubstr("404")));
  EXPECT_EQ(texts()[1], "Can't connect to Zendro XML Schema store.");
}

TEST_F(StoreTest, AListThatCannotBeWrittenIsReported) {
  publish({{"a-1.0.0", {}}});
  std::filesystem::create_directories(cache_file("pkgs-available.json"));  // in the file's place
  EXPECT_FALSE(cache().update_store_information(true));
  EXPECT_THAT(take_messages(), ElementsAre("io_error",
                                           "write_pkg_information pkgtype=XML Schema "
                                           "path=$/pkgs/.xsd_cache/pkgs-available.json"));
}

TEST_F(StoreTest, OptionsNameTheListAndSwitchTheTraceOn) {
  set_option(app::option::pkgs_available_name, "list.json");
  set_option(app::option::log_remote_io, true);
  server_.serve("/store/list.json.zip", loopback::Reply::bytes(make_zip({{"list.json", "{}"}})));
  EXPECT_TRUE(cache().update_store_information(true));
  EXPECT_EQ(file_text(cache_file("list.json")), "{\n}\n");
  EXPECT_THAT(file_text(cache_file("logs/io_bootstrap.log")), testing::HasSubstr("/bootstrap"));
  EXPECT_THAT(file_text(cache_file("logs/io_update.log")), testing::HasSubstr("list.json.zip"));

  // A log that cannot be written is told once, and stops nothing.
  take_messages();
  std::filesystem::remove_all(cache_file("logs"));
  write_text(cache_file("logs"), "in the way");
  EXPECT_TRUE(cache().update_store_information(true));
  ASSERT_EQ(texts().size(), 1u);
  EXPECT_THAT(texts()[0], testing::StartsWith("Can't create file $/pkgs/.xsd_cache/logs/"
                                              "io_bootstrap.log.\n$/pkgs/.xsd_cache/logs: "));
  EXPECT_THAT(take_messages(),
              ElementsAre("! create_file path=$/pkgs/.xsd_cache/logs/io_bootstrap.log"));
  std::filesystem::remove(cache_file("logs"));
  std::filesystem::create_directories(cache_file("logs/io_update.log"));
  EXPECT_TRUE(cache().update_store_information(true));
  EXPECT_THAT(take_messages(),
              ElementsAre("! create_file path=$/pkgs/.xsd_cache/logs/io_update.log"));
  EXPECT_THAT(file_text(cache_file("logs/io_bootstrap.log")), testing::HasSubstr("/bootstrap"));

  set_option(app::option::log_remote_io, "yes");
  take_requests();
  EXPECT_FALSE(cache().update_store_information(true));
  EXPECT_EQ(texts().back(), "Cannot convert JSON value to bool!");
  EXPECT_THAT(take_requests(), IsEmpty());
}

TEST_F(StoreTest, AListIsOnlyTakenWithASignatureOfAKeyOfTheOptions) {
  using namespace signed_store;
  const std::string path = std::string(kArchive) + ".minisig";
  const std::string mismatch =
      "checksum_mismatch_pkg_store_info file=@store/pkgs-available.json.zip";
  server_.serve(kArchive, loopback::Reply::bytes(archive()));
  const auto expect_refused = [&](const char* reason) {
    EXPECT_THAT(failed_update(), ElementsAre(mismatch)) << reason;
    EXPECT_FALSE(cache().update_store_information(false));
    EXPECT_THAT(texts(), ElementsAre(testing::HasSubstr(reason)));
    take_messages();
  };
  // What is no key asks for none.
  for (const json::value& option : {json::value(""), json::value("RWQ"), json::value(1)}) {
    set_option(app::option::store_public_key, option);
    expect_refused("option pkg.store_public_key: ");
  }
  EXPECT_EQ(server_.request_count(path), 0u);

  set_option(app::option::store_public_key, kKey);
  expect_refused("@store/pkgs-available.json.zip.minisig: ");  // 404
  server_.set_fault(path, loopback::Fault::replaced(loopback::Reply::with_status(404, kSignature)));
  expect_refused("404");
  server_.set_fault(path, loopback::Fault::close(10));
  expect_refused("@store/pkgs-available.json.zip.minisig: ");
  server_.clear_faults();
  const std::pair<std::string, const char*> cases[] = {
      {"<html>log in</html>", "zip.minisig: no signature of minisign: line 1"},
      {kSignature + std::string(4096, '\n'), "zip.minisig: holds more than 4096 bytes"},
      {kOtherSignature, "signed with key A414CE9C634C550C"},
      {std::string(kSignature).replace(70, 1, "+"), "not for these bytes"},
      {std::string(kLegacySignature).replace(180, 1, "L"), "the trusted comment is not"}};
  for (const auto& [document, reason] : cases) {
    server_.serve(path, loopback::Reply::bytes(document));
    expect_refused(reason);
  }
  // The signature of another archive, which even has the digest that its header tells.
  server_.serve(path, loopback::Reply::bytes(kSignature));
  publish_document(R"({"_META":{"build_number":7}})");
  expect_refused("not for these bytes");
  // Nothing is unpacked before: this is no archive at all.
  server_.serve(kArchive, loopback::Reply::bytes("no zip"));
  expect_refused("not for these bytes");
}

TEST_F(StoreTest, GoodSignaturesOfAnyKeyAndFormAreTaken) {
  using namespace signed_store;
  const std::string path = std::string(kArchive) + ".minisig";
  server_.serve(kArchive, loopback::Reply::bytes(archive()));
  const auto expect_taken = [&](const std::string& keys, const loopback::Reply& signature) {
    set_option(app::option::store_public_key, json::string(keys));
    server_.serve(path, signature);
    std::filesystem::remove_all(cache_file(""));
    EXPECT_TRUE(cache().update_store_information(true)) << keys;
    EXPECT_THAT(take_messages(), IsEmpty());
    EXPECT_THAT(file_text(cache_file("pkgs-available.json")), testing::HasSubstr("a-1.0.0"));
  };
  const std::string document = std::string("untrusted comment: ours\n") + kKey + "\n";
  const std::string both = std::string(kOtherKey) + " " + kKey;
  expect_taken(document, loopback::Reply::bytes(kSignature));
  EXPECT_THAT(take_requests(),
              ElementsAre("GET /bootstrap", std::string("GET ") + kArchive, "GET " + path));
  expect_taken(both, loopback::Reply::bytes(kLegacySignature));
  expect_taken(both, loopback::Reply::bytes(kOtherSignature));
  server_.serve("/elsewhere", loopback::Reply::bytes(kSignature));
  expect_taken(kKey, loopback::Reply::redirect("/elsewhere"));

  // An archive on the disk has its signature beside it.
  const std::string file = (folder_ / "list.zip").string();
  write_text(file, archive());
  write_text(file + ".sha256", framework::to_hex(framework::sha256(archive())));
  EXPECT_FALSE(cache().update_from_archive(file));
  EXPECT_THAT(texts(), ElementsAre(testing::HasSubstr("list.zip.minisig")));
  write_text(file + ".minisig", kOtherSignature);
  EXPECT_FALSE(cache().update_from_archive(file));
  write_text(file + ".minisig", kSignature);
  EXPECT_TRUE(cache().update_from_archive(file));

  // Nobody asks for a signature without a key.
  take_requests();
  set_option(app::option::store_public_key, nullptr);
  EXPECT_TRUE(cache().update_store_information(true));
  EXPECT_THAT(take_requests(), ElementsAre("GET /bootstrap", std::string("GET ") + kArchive));
}

class UnchangedListTest : public StoreTest {
 protected:
  void publish_build(int number, const decltype(loopback::Reply::headers)& headers) {
    const std::string list = R"({"_META":{"build_number":)" + std::to_string(number) + "}}";
    server_.serve(kArchive,
                  loopback::Reply::bytes(make_zip({{"pkgs-available.json", list}}), headers));
  }
  // What the update asked for the list with; "whole" without a condition.
  std::string update(bool always = false) {
    cache().set_progress_sink([](const pkg::progress_t&) {});  // as programs have it
    EXPECT_TRUE(cache().update_store_information(true, always));
    EXPECT_THAT(take_messages(), IsEmpty());
    EXPECT_EQ(server_.requests().back().path, kArchive);
    return condition_of(server_.requests().back());
  }
  static std::string condition_of(const loopback::ServedRequest& request) {
    for (const char* name : {"If-None-Match", "If-Modified-Since"}) {
      const auto header = request.headers.find(name);
      if (header != request.headers.end()) return std::string(name) + ": " + header->second;
    }
    return "whole";
  }
  std::filesystem::path origin() { return cache_file("list-origin.json"); }
};

TEST_F(UnchangedListTest, IsNotSentAgain) {
  publish({{"a-1.0.0", {}}});
  publish_build(1, {{"ETag", "\"one\""}, {"Last-Modified", "Sun, 22 Nov 2026 10:00:00 GMT"}});
  EXPECT_EQ(update(), "whole");
  std::filesystem::remove(cache_file("catalog.xml"));
  take_log();
  EXPECT_EQ(update(), "If-None-Match: \"one\"");
  EXPECT_EQ(take_log().back(), "XML Schema information already up to date.");
  EXPECT_TRUE(std::filesystem::exists(cache_file("catalog.xml")));
  EXPECT_EQ(update(true), "whole") << "when told so";

  publish_build(2, {{"Last-Modified", "Sun, 22 Nov 2026 11:00:00 GMT"}});
  EXPECT_EQ(update(), "If-None-Match: \"one\"") << "and gets the new one";
  EXPECT_THAT(file_text(cache_file("pkgs-available.json")), testing::HasSubstr(":2"));
  EXPECT_EQ(update(), "If-Modified-Since: Sun, 22 Nov 2026 11:00:00 GMT");

  publish_build(
      3, {{"ETag", std::string(2000, 'x')}, {"Last-Modified", "Sun, 22 Nov 2026 12:00:00 GMT"}});
  update();
  EXPECT_EQ(update(), "If-Modified-Since: Sun, 22 Nov 2026 12:00:00 GMT") << "too long a tag";

  publish_build(4, {});
  update();
  EXPECT_EQ(update(), "whole") << "without anything to name it by";
}

TEST_F(UnchangedListTest, NeitherIsTheAddressOfItsStore) {
  publish({{"a-1.0.0", {}}});
  publish_build(1, {{"ETag", "\"one\""}});
  const auto bootstrap = [this](const std::string& folder, const std::string& etag) {
    server_.serve("/bootstrap",
                  loopback::Reply::bytes(R"({"pkg.store_url": ")" + server_.url(folder) + R"("})",
                                         {{"ETag", etag}}));
  };
  const auto asked_bootstrap = [this] {
    const auto requests = server_.requests();
    EXPECT_EQ(requests[requests.size() - 2].path, "/bootstrap");
    return condition_of(requests[requests.size() - 2]);
  };
  bootstrap("store/", "\"here\"");
  EXPECT_EQ(update(), "whole");
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(update(), "If-None-Match: \"one\"");
    EXPECT_EQ(asked_bootstrap(), "If-None-Match: \"here\"");
  }
  EXPECT_EQ(update(true), "whole");
  EXPECT_EQ(asked_bootstrap(), "whole") << "when told so";

  // A new list keeps what its store's address is known by.
  publish_build(2, {{"ETag", "\"two\""}});
  update();
  EXPECT_EQ(update(), "If-None-Match: \"two\"");
  EXPECT_EQ(asked_bootstrap(), "If-None-Match: \"here\"");

  bootstrap("elsewhere/", "\"there\"");
  server_.serve("/elsewhere/pkgs-available.json.zip", loopback::Reply::with_status(404));
  EXPECT_FALSE(cache().update_store_information(true)) << "the store has moved";
  take_messages();
  bootstrap("store/", "\"here\"");

  const std::string good = file_text(origin());
  for (const std::string& odd :
       {std::string("\"bootstrap\":{\"x\":"), std::string("\"bootstrap\":1,\"x\":")}) {
    std::string text = good;
    const std::string name = "\"bootstrap\":";
    write_text(origin(), text.replace(text.find(name), name.size(), odd));
    update();
    EXPECT_EQ(asked_bootstrap(), "whole");
    write_text(origin(), good);
  }
  // No password is written down.
  const std::string plain = server_.url("bootstrap");
  set_option(app::option::store_bootstrap_url,
             json::string(std::string(plain).insert(plain.find("//") + 2, "me:secret@")));
  std::filesystem::remove(origin());
  update();
  EXPECT_EQ(file_text(origin()).find("secret"), std::string::npos);
  EXPECT_EQ(update(), "If-None-Match: \"two\"");
  EXPECT_EQ(asked_bootstrap(), "whole");
  set_option(app::option::store_bootstrap_url, json::string(plain));

  set_option(app::option::store_bootstrap_url, json::string(server_.url("other")));
  server_.serve("/other", loopback::Reply::with_status(304));
  EXPECT_FALSE(cache().update_store_information(true)) << "nothing is known of this one";
}

TEST_F(UnchangedListTest, IsFetchedWhereAnythingIsOdd) {
  publish({{"a-1.0.0", {}}});
  publish_build(5, {{"ETag", "\"five\""}});
  update();
  const std::string good = file_text(origin());
  ASSERT_EQ(update(), "If-None-Match: \"five\"");
  const auto with = [&](const std::string& from, const std::string& to) {
    std::string text = good;
    EXPECT_NE(text.find(from), std::string::npos) << text;
    return text.replace(text.find(from), from.size(), to);
  };
  for (const std::string& odd :
       {std::string(), std::string("["), std::string("[]"), good.substr(0, good.size() / 2),
        with("/store/", "/other/"), with("\"public_key\":\"", "\"public_key\":\"other"),
        with(":5", ":\"5\""), with("\"build_number\":5,", ""), with("five", "fi\\r\\nHost: x"),
        with("five", "fi\\u007fve"), with(R"("\"five\"")", "5"),
        with("five", std::string(2000, 'x'))}) {
    write_text(origin(), odd);
    EXPECT_EQ(update(), "whole") << odd;
    EXPECT_EQ(file_text(origin()), good) << odd;
  }
  for (const char* list : {"{", "{}", R"({"_META":{"build_number":4}})"}) {
    write_text(cache_file("pkgs-available.json"), list);
    EXPECT_EQ(update(), "whole") << list;
  }
  std::filesystem::remove(cache_file("pkgs-available.json"));
  EXPECT_EQ(update(), "whole") << "there is none";
  // A list that has become bad without a trace is fetched once somebody has wanted to read it.
  // Its time is in whole seconds, as not every system's library sets more.
  const auto list = cache_file("pkgs-available.json");
  const auto time =
      std::chrono::floor<std::chrono::seconds>(std::filesystem::last_write_time(list));
  std::filesystem::last_write_time(list, time);
  EXPECT_EQ(update(), "If-None-Match: \"five\"");
  write_text(list, std::string(std::filesystem::file_size(list), '{'));
  std::filesystem::last_write_time(list, time);
  EXPECT_EQ(update(), "If-None-Match: \"five\"");
  EXPECT_FALSE(cache().load_available());
  take_messages();
  EXPECT_EQ(update(), "whole");
  // What is on the disk is newer than what the store has: nothing says where it came from.
  write_text(cache_file("pkgs-available.json"), R"({"_META":{"build_number":6}})");
  EXPECT_EQ(update(), "whole");
  EXPECT_EQ(update(), "whole");

  // Whoever has not been asked whether something has changed cannot know.
  server_.serve(kArchive, loopback::Reply::with_status(304));
  EXPECT_FALSE(cache().update_store_information(true));
  EXPECT_THAT(take_messages(),
              ElementsAre("io_error", "update_pkg_store_information pkgtype=XML Schema"));
}

TEST_F(StoreTest, SinksMayBeAbsent) {
  publish({{"a-1.0.0", {}}});
  pkg::pkg_cache_t silent = silent_cache();
  EXPECT_FALSE(silent.update_store_information(false));
  EXPECT_TRUE(silent.update_store_information(true));
  EXPECT_TRUE(silent.install({"a"}));
  EXPECT_FALSE(silent.install({"b"}));
  EXPECT_TRUE(silent.uninstall({"a"}));
}

}  // namespace
}  // namespace zendro::tests
