// Serves folders as package stores on the loopback interface, for campaigns:
//   stores_server STORES URL_FILE
// Each folder in STORES is a store; its name is the type that it is asked for by. The server's URL,
// on a free port, is written to URL_FILE once it answers. It stops when its standard input is
// closed, on a termination signal, or after eight hours.
//
//   /api/<type>-manager/v1/bootstrap       where the store of a type is
//   /stores/<type>/...                     its files; the list's archive with its digest
//   /api/package-manager/v1/telemetry      takes the reports of installations
#include <exception>
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "framework/system/files.h"
#include "framework/text/json.h"
#include "tests/loopback/end_of_run.h"
#include "tests/loopback/loopback_server.h"

namespace zendro::loopback {
namespace {

namespace fs = std::filesystem;
namespace json = framework::json;

constexpr std::chrono::hours kLimit{8};
constexpr std::uint64_t kDigestFile = 1024;

void serve_store(LoopbackServer& server, const fs::path& folder) {
  const std::string type = framework::path_to_utf8(folder.filename());
  const std::string base = "stores/" + type + "/";
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    std::vector<std::pair<std::string, std::string>> headers;
    const auto digest = framework::read_file(entry.path().string() + ".sha256", kDigestFile);
    if (digest) headers.emplace_back("x-amz-meta-sha256", digest->substr(0, 64));
    server.serve("/" + base + entry.path().lexically_relative(folder).generic_string(),
                 Reply::from_file(entry.path(), headers));
  }
  const json::object bootstrap = {{"pkg.store_url", server.url(base)}};
  server.serve("/api/" + type + "-manager/v1/bootstrap", Reply::bytes(json::serialize(bootstrap)));
}

void run(const fs::path& stores, const fs::path& url_file) {
  EndOfRun end_of_run;
  LoopbackServer server;
  for (const fs::directory_entry& entry : fs::directory_iterator(stores)) {
    serve_store(server, entry.path());
  }
  server.serve("/api/package-manager/v1/telemetry", Reply::with_status(200));
  // Readers never see a part of the file.
  const fs::path made = url_file.string() + ".new";
  const auto written = framework::write_file(made, server.url());
  if (!written) throw std::runtime_error(written.error().cause.text);
  fs::rename(made, url_file);
  end_of_run.wait(kLimit);
}

}  // namespace
}  // namespace zendro::loopback

int main(int argc, char* argv[]) {
  if (argc != 3) {
    std::cerr << "usage: stores_server STORES URL_FILE\n";
    return 2;
  }
  using zendro::framework::path_from_utf8;
  try {
    zendro::loopback::run(path_from_utf8(argv[1]), path_from_utf8(argv[2]));
    return 0;
  } catch (const std::exception& failure) {
    std::cerr << "stores_server: " << failure.what() << '\n';
    return 1;
  }
}
