// Serves a folder as a package store on the loopback interface:
//   store_server FOLDER URL_FILE DELAY
// Every answer is begun DELAY milliseconds after its request. The server's URL, on a free port, is
// written to URL_FILE once it answers; "bootstrap" and "telemetry" below it are the store's two
// endpoints. Stops when its standard input is closed, on a termination signal, or after an hour.
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "framework/text/json.h"
#include "tests/loopback/end_of_run.h"
#include "tests/loopback/loopback_server.h"

namespace zendro::benchmarks {
namespace {

namespace fs = std::filesystem;
namespace json = boost::json;
using loopback::Reply;

constexpr std::chrono::seconds kLimit = std::chrono::hours(1);

void run(const fs::path& folder, const fs::path& url_file, std::chrono::milliseconds delay) {
  loopback::EndOfRun end_of_run;
  loopback::LoopbackServer server;
  const auto serve = [&](const std::string& path, Reply reply) {
    server.serve(path, std::move(reply));
    if (delay.count() > 0) server.set_fault(path, loopback::Fault::late(delay));
  };
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    // The files do not change.
    const std::string etag = '"' + std::to_string(entry.file_size()) + '"';
    serve("/" + entry.path().lexically_relative(folder).generic_string(),
          Reply::from_file(entry.path(), {{"ETag", etag}}));
  }
  serve("/bootstrap", Reply::bytes(json::serialize(json::object{{"pkg.store_url", server.url()}})));
  serve("/telemetry", Reply::with_status(200));
  const fs::path made = url_file.string() + ".new";
  std::ofstream(made) << server.url();
  fs::rename(made, url_file);
  end_of_run.wait(kLimit);
}

}  // namespace
}  // namespace zendro::benchmarks

int main(int argc, char* argv[]) {
  if (argc != 4) {
    std::cerr << "usage: store_server FOLDER URL_FILE DELAY\n";
    return 2;
  }
  try {
    zendro::benchmarks::run(argv[1], argv[2], std::chrono::milliseconds(std::atoi(argv[3])));
    return 0;
  } catch (const std::exception& failure) {
    std::cerr << "store_server: " << failure.what() << '\n';
    return 1;
  }
}
