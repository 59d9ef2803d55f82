// A small published tree for the tests of what brings one somewhere.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "demo/loopback_server.h"
#include "framework/io/digest.h"
#include "framework/system/files.h"
#include "framework/text/json.h"

#include "store/tree_on_disk.h"
#include "store/zip_writer.h"

namespace zendro::tests {

struct StoreTree {
  std::map<std::string, std::string> members;  ///< as the list writes them, to their bytes
  boost::json::object packages;
  std::int64_t build_number = 1;
  std::string url = "https://store.test/";  ///< of the bootstrap document

  /// A package with one member, whose bytes are its name unless given.
  void add(const std::string& identity, const std::string& member,
           const std::vector<std::string>& references = {}, std::string bytes = {}) {
    if (bytes.empty()) bytes = member;
    boost::json::object& entry = packages[identity].emplace_object();
    entry["_name"] = identity.substr(0, identity.rfind('-'));
    entry["_type"] = "xsd";
    entry["_pkg_installdir"] = identity;
    entry["files"] = boost::json::object{{member, framework::to_hex(framework::sha256(bytes))}};
    entry["references"] = boost::json::value_from(references);
    members[member] = bytes;
  }

  [[nodiscard]] std::string archive() const {
    boost::json::object list = packages;
    list["_META"] = boost::json::object{{"build_number", build_number}};
    return store::write_zip({{std::string(store::kListName), boost::json::serialize(list)}});
  }

  /// All files of the tree.
  [[nodiscard]] std::map<std::string, std::string> files() const {
    std::map<std::string, std::string> all = members;
    const std::string bytes = archive();
    all[std::string(store::kArchiveName)] = bytes;
    all[std::string(store::kDigestName)] =
        store::digest_line(framework::to_hex(framework::sha256(bytes)));
    all[store::bootstrap_path("xsd")] = store::bootstrap_document(url);
    return all;
  }

  void write_to(const std::filesystem::path& folder) const {
    for (const auto& [path, bytes] : files()) {
      const std::filesystem::path file = folder / framework::path_from_utf8(path);
      std::filesystem::create_directories(file.parent_path());
      ASSERT_TRUE(framework::write_file(file, bytes));
    }
  }

  /// Serves the files below "/s/".
  void serve_at(demo::LoopbackServer& server) const {
    for (const auto& [path, bytes] : files()) {
      std::vector<std::pair<std::string, std::string>> headers;
      if (path == store::kArchiveName) {
        headers.emplace_back("x-amz-meta-sha256", framework::to_hex(framework::sha256(bytes)));
      }
      server.serve("/s/" + path, demo::Reply::bytes(bytes, headers));
    }
  }
};

}  // namespace zendro::tests
