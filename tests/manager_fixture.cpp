#include "tests/manager_fixture.h"

#include <fstream>
#include <iterator>

#include "app/options/options.h"
#include "framework/io/digest.h"
#include "framework/text/utf8.h"
#include "pkg/active_types.h"
#include "tests/zip_builder.h"

namespace zendro::tests {

namespace fs = std::filesystem;

namespace {

constexpr const char* kTelemetryPath = "/api/package-manager/v1/telemetry";

json::array texts_of(const std::vector<std::string>& texts) {
  json::array array;
  for (const std::string& text : texts) array.emplace_back(text);
  return array;
}

std::string name_of(const std::string& identity) { return pkg::parse_identity(identity).name; }

// Log lines begin with time and kind.
class LineRecorder : public msg::LogHandler {
 public:
  explicit LineRecorder(std::vector<std::string>& lines) : lines_(lines) {}
  void handle_line(std::int64_t, std::wstring_view, std::wstring_view line) override {
    constexpr std::size_t prefix = std::string_view("2024-05-07T14:03:59 PKG ").size();
    lines_.push_back(framework::to_utf8(line.substr(prefix)));
  }

 private:
  std::vector<std::string>& lines_;
};

void replace_all(std::string& text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at)) {
    text.replace(at, from.size(), to);
    at += to.size();
  }
}

}  // namespace

TestPackage package_of_one_member(const std::string& identity, std::vector<std::string> references,
                                  std::vector<std::string> conflicts) {
  return {identity,
          {{identity + ".zip", "bytes of " + identity}},
          std::move(references),
          std::move(conflicts)};
}

json::object TestPackage::meta() const {
  json::object files;
  for (const auto& [name, bytes] : members) {
    files[name] = framework::to_hex(framework::sha256(bytes));
  }
  json::object meta = {
      {"_name", name_of(identity)},         {"_type", "xsd"},
      {"_pkg_installdir", identity},        {"files", std::move(files)},
      {"references", texts_of(references)}, {"conflicting_pkgs", texts_of(conflicts)}};
  for (const json::key_value_pair& member : more) meta[member.key()] = member.value();
  return meta;
}

std::string file_text(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

void write_text(const fs::path& path, std::string_view text) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

ManagerTest::ManagerTest(std::string type) : type_(std::move(type)) {
  const std::string root = folder_.path().string() + "/";
  options_ = {{app::option::install_root, root + "pkgs/"},
              {app::option::cache_root, root + "pkgs/.xsd_cache/"},
              {app::option::store_bootstrap_url, server_.url("bootstrap")},
              {app::option::telemetry_url, server_.url(kTelemetryPath + 1)}};
  pkg::register_active_types(pkg::make_active_type_set({type_}));
  serve_bootstrap(R"({"pkg.store_url": ")" + server_.url("store/") + R"(", "other": 1})");
  server_.serve(kTelemetryPath, loopback::Reply::with_status(204));
}

ManagerTest::~ManagerTest() { pkg::register_active_types({}); }

void ManagerTest::serve_bootstrap(const std::string& body) {
  server_.serve("/bootstrap", loopback::Reply::bytes(body));
}

void ManagerTest::publish(const std::vector<TestPackage>& packages, int build_number,
                          const json::object& deprecated) {
  json::object document;
  document["_META"] = json::object{{"build_number", build_number}};
  if (!deprecated.empty()) document["_DEPRECATED"] = deprecated;
  for (const TestPackage& package : packages) {
    document[package.identity] = package.meta();
    for (const auto& [name, bytes] : package.members) {
      server_.serve("/store/" + name, loopback::Reply::bytes(bytes));
    }
  }
  publish_document(json::serialize(document));
}

void ManagerTest::publish_document(std::string_view text, const std::string& digest_header) {
  const std::string zip = make_zip({{"pkgs-available.json", std::string(text)}});
  std::vector<std::pair<std::string, std::string>> headers;
  if (digest_header == "true") {
    headers.emplace_back("X-Amz-Meta-SHA256", framework::to_hex(framework::sha256(zip)));
  } else if (!digest_header.empty()) {
    headers.emplace_back("X-Amz-Meta-SHA256", digest_header);
  }
  server_.serve("/store/pkgs-available.json.zip", loopback::Reply::bytes(zip, headers));
}

void ManagerTest::start_with(const std::vector<TestPackage>& packages) {
  publish(packages);
  ASSERT_TRUE(cache().update_store_information(true));
  ASSERT_TRUE(take_messages().empty());
  take_log();
  take_requests();
}

std::string ManagerTest::plain(std::string text) const {
  replace_all(text, folder_.path().string(), "$");
  replace_all(text, server_.url(), "@");
  return with_slashes(std::move(text));
}

std::vector<std::string> ManagerTest::take_messages() {
  texts_.clear();
  return std::exchange(messages_, {});
}

std::vector<std::string> ManagerTest::take_log() {
  std::vector<std::string> lines = std::exchange(log_, {});
  for (std::string& line : lines) line = plain(line);
  return lines;
}

fs::path ManagerTest::cache_file(const std::string& name) const {
  return folder_.path() / "pkgs" / ".xsd_cache" / name;
}

fs::path ManagerTest::package_folder(const std::string& identity) const {
  return folder_.path() / "pkgs" / "xsd" / identity;
}

std::vector<std::string> ManagerTest::installed() const {
  std::vector<std::string> identities;
  const json::value list = json::parse(file_text(cache_file("pkgs-installed.json")));
  for (const json::key_value_pair& entry : list.as_object()) {
    identities.emplace_back(entry.key());
  }
  return identities;
}

std::map<std::string, std::string> ManagerTest::snapshot() const {
  std::map<std::string, std::string> files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder_.path())) {
    if (!entry.is_regular_file() || entry.path().extension() == ".lock") continue;
    files[entry.path().lexically_relative(folder_.path()).generic_string()] =
        file_text(entry.path());
  }
  return files;
}

std::vector<std::string> ManagerTest::take_requests() {
  std::vector<std::string> lines;
  const std::vector<loopback::ServedRequest> requests = server_.requests();
  for (; requests_taken_ < requests.size(); ++requests_taken_) {
    lines.push_back(requests[requests_taken_].method + " " + requests[requests_taken_].path);
  }
  return lines;
}

std::vector<std::string> ManagerTest::telemetry() const {
  std::vector<std::string> bodies;
  for (const loopback::ServedRequest& request : server_.requests()) {
    if (request.path == kTelemetryPath) bodies.push_back(request.body);
  }
  return bodies;
}

pkg::pkg_cache_t& ManagerTest::cache() {
  if (cache_) return *cache_;
  cache_ = std::make_unique<pkg::pkg_cache_t>(type_, options_);
  cache_->set_message_sink([this](const msg::Message& message) {
    std::string line = message.severity == msg::Severity::warning ? "! " : "";
    line += framework::to_utf8(message.identifier());
    for (const auto& [name, value] : message.arguments) {
      line += " " + framework::to_utf8(name) + "=" + framework::to_utf8(value);
    }
    messages_.push_back(plain(line));
    texts_.push_back(plain(framework::to_utf8(message.text())));
  });
  auto logger = std::make_shared<msg::Logger>();
  logger->add_handler(std::make_shared<LineRecorder>(log_));
  cache_->set_log_sink(std::move(logger));
  return *cache_;
}

void ManagerTest::set_option(std::string_view key, const json::value& value) {
  options_[key] = value;
  cache_.reset();
}

pkg::pkg_cache_t ManagerTest::silent_cache() const { return {type_, options_}; }

}  // namespace zendro::tests
