// Serves the demonstration store on the loopback interface:
//   demo_store_server STORES URL_FILE [SECONDS]
// STORES is what make_demo_store made. The server's URL, on a free port, is written to URL_FILE
// once it answers. It logs every request to its output and stops when its standard input is closed,
// on a termination signal, or after SECONDS (8 hours unless given).
//
//   /api/<type>-manager/v1/bootstrap       where the store of a type is
//   /stores/<type>/...                     its files; the list's archive with its digest
//   /api/package-manager/v1/telemetry      takes the reports of installations
#include <algorithm>
#include <charconv>
#include <cstring>
#include <exception>
#include <iostream>
#include <mutex>
#include <stdexcept>

#include "demo/end_of_run.h"
#include "demo/loopback_server.h"
#include "framework/system/files.h"
#include "framework/text/json.h"

#include "store/source_files.h"

namespace zendro::demo {

namespace {

namespace fs = std::filesystem;
namespace json = framework::json;

constexpr const char* kTelemetryPath = "/api/package-manager/v1/telemetry";
constexpr std::chrono::seconds kDefaultLimit = std::chrono::hours(8);
// poll() counts milliseconds in an int.
constexpr std::chrono::seconds kLongestLimit = std::chrono::hours(24 * 7);

void serve_store(LoopbackServer& server, const fs::path& folder) {
  const std::string type = framework::path_to_utf8(folder.filename());
  const std::string base = "stores/" + type + "/";
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file() || entry.path().extension() == ".sha256") {
      continue;
    }
    std::vector<std::pair<std::string, std::string>> headers;
    const fs::path digest = entry.path().string() + ".sha256";
    if (fs::exists(digest)) {
      headers.emplace_back("x-amz-meta-sha256", store::read_whole_file(digest).substr(0, 64));
    }
    // The names in a demonstration store need no percent-encoding.
    server.serve("/" + base + entry.path().lexically_relative(folder).generic_string(),
                 Reply::from_file(entry.path(), headers));
  }
  const json::object bootstrap = {{"pkg.store_url", server.url(base)}};
  server.serve("/api/" + type + "-manager/v1/bootstrap",
               Reply::bytes(json::serialize(bootstrap), {{"Content-Type", "application/json"}}));
}

/// One line; what a request holds never starts another.
void log_request(const ServedRequest& request) {
  static std::mutex lock;
  std::string line = request.method + " " + request.path;
  if (request.path == kTelemetryPath) {
    line += " " + request.body;
  }
  std::replace_if(
      line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; }, ' ');
  const std::lock_guard guard(lock);
  std::cout << line << std::endl;
}

/// Readers never see a part of the file.
void write_url_file(const fs::path& path, const std::string& url) {
  const fs::path made = path.string() + ".new";
  const auto written = framework::write_file(made, url + "\n");
  if (!written) {
    throw std::runtime_error(written.error().cause.text);
  }
  fs::rename(made, path);
}

const char* text_of(EndReason reason) {
  switch (reason) {
    case EndReason::input_closed:
      return "its input was closed";
    case EndReason::signal:
      return "it was told to";
    case EndReason::time_over:
      return "its time is over";
  }
  return "";
}

std::chrono::seconds read_limit(const char* text) {
  std::chrono::seconds::rep seconds = 0;
  const char* end = text + std::strlen(text);
  const auto [stopped, error] = std::from_chars(text, end, seconds);
  if (error != std::errc() || stopped != end || seconds <= 0 || seconds > kLongestLimit.count()) {
    throw std::runtime_error(std::string("not a number of seconds: ") + text);
  }
  return std::chrono::seconds(seconds);
}

void run(const fs::path& stores, const fs::path& url_file, std::chrono::seconds limit) {
  EndOfRun end_of_run;
  LoopbackServer server;
  server.observe(log_request);
  for (const fs::directory_entry& entry : fs::directory_iterator(stores)) {
    if (entry.is_directory()) {
      serve_store(server, entry.path());
    }
  }
  server.serve(kTelemetryPath, Reply::with_status(200));
  write_url_file(url_file, server.url());
  std::cout << "serving " << framework::path_to_utf8(stores) << " at " << server.url() << std::endl;
  const EndReason reason = end_of_run.wait(limit);
  std::cout << "stopping, " << text_of(reason) << std::endl;
}

}  // namespace

}  // namespace zendro::demo

int main(int argc, char* argv[]) {
  if (argc != 3 && argc != 4) {
    std::cerr << "usage: demo_store_server STORES URL_FILE [SECONDS]\n";
    return 2;
  }
  using zendro::framework::path_from_utf8;
  try {
    zendro::demo::run(path_from_utf8(argv[1]), path_from_utf8(argv[2]),
                      argc == 4 ? zendro::demo::read_limit(argv[3]) : zendro::demo::kDefaultLimit);
    return 0;
  } catch (const std::exception& failure) {
    std::cerr << "demo_store_server: " << failure.what() << '\n';
    return 1;
  }
}
