// Bringing the list of 24,000 versions up to date from a store on loopback, and what no update can
// do without: the list's archive through a digest, unpacked, parsed, serialised and written.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <openssl/sha.h>
#include <unistd.h>
#include <zip.h>

#include "app/options/options.h"
#include "pkg/cache.h"
#include "tests/loopback/loopback_server.h"
#include "tests/temp_folder.h"
#include "tests/zip_builder.h"

#include "benchmarks/generated_lists.h"

namespace zendro::benchmarks {
namespace {

constexpr int kVersions = 24'000;
constexpr const char* kListName = "pkgs-available.json";

void require(bool condition) {
  if (!condition) std::abort();
}

const std::string& list() {
  static const std::string text = store_list(kVersions);
  return text;
}

const std::string& archive() {
  static const std::string bytes = tests::make_zip({{kListName, list()}});
  return bytes;
}

// A manager before a store that serves the list.
class Client {
 public:
  Client() {
    server_.serve(
        "/bootstrap",
        loopback::Reply::bytes(json::serialize(json::object{{"pkg.store_url", server_.url()}})));
    server_.serve(std::string("/") + kListName + ".zip", loopback::Reply::bytes(archive()));
    json::object options;
    options[app::option::install_root] = (folder_ / "pkgs").string();
    options[app::option::cache_root] = (folder_ / "cache").string();
    options[app::option::store_bootstrap_url] = server_.url("bootstrap");
    options[app::option::local_files] = false;
    cache_ = std::make_unique<pkg::pkg_cache_t>("xsd", options);
    std::filesystem::create_directory(folder_ / "cache");
  }

  [[nodiscard]] std::filesystem::path list_path() const { return folder_ / "cache" / kListName; }
  void update() { require(cache_->update_store_information(true)); }

 private:
  tests::TempFolder folder_;
  loopback::LoopbackServer server_;
  std::unique_ptr<pkg::pkg_cache_t> cache_;
};

void first_update(benchmark::State& state) {
  Client client;
  for (auto _ : state) {
    client.update();
    state.PauseTiming();
    std::filesystem::remove(client.list_path());
    state.ResumeTiming();
  }
}
BENCHMARK(first_update)->Unit(benchmark::kMillisecond)->UseRealTime();

void update_of_older_list(benchmark::State& state) {
  std::string older = list();
  const std::string number = R"("build_number":1)";
  older.replace(older.find(number), number.size(), R"("build_number":0)");
  Client client;
  for (auto _ : state) {
    state.PauseTiming();
    std::ofstream(client.list_path(), std::ios::binary) << older;
    state.ResumeTiming();
    client.update();
  }
}
BENCHMARK(update_of_older_list)->Unit(benchmark::kMillisecond)->UseRealTime();

std::string unpack(const std::string& bytes) {
  zip_source_t* source = zip_source_buffer_create(bytes.data(), bytes.size(), 0, nullptr);
  zip_t* file = zip_open_from_source(source, ZIP_RDONLY, nullptr);
  require(file != nullptr);
  zip_stat_t status{};
  require(zip_stat(file, kListName, 0, &status) == 0);
  std::string text(status.size, '\0');
  zip_file_t* member = zip_fopen(file, kListName, 0);
  require(zip_fread(member, text.data(), text.size()) == static_cast<zip_int64_t>(text.size()));
  zip_fclose(member);
  zip_close(file);
  return text;
}

// To storage, as the manager does.
void write_file(const std::filesystem::path& path, const std::string& text) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
  require(write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()));
  require(fsync(file) == 0);
  close(file);
}

void plain_loop(benchmark::State& state) {
  const std::string& bytes = archive();
  const tests::TempFolder folder;
  const auto path = folder / kListName;
  for (auto _ : state) {
    unsigned char digest[SHA256_DIGEST_LENGTH];
    SHA256(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), digest);
    benchmark::DoNotOptimize(digest);
    const std::string text = unpack(bytes);
    json::monotonic_resource arena;
    write_file(path, json::serialize(json::parse(text, json::storage_ptr(&arena))));
    state.PauseTiming();
    std::filesystem::remove(path);
    state.ResumeTiming();
  }
}
BENCHMARK(plain_loop)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace zendro::benchmarks
