// Taking a package version into a store.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "store/offers.h"

namespace zendro::store {

/// What the user says of it; what is empty is read from the files.
struct Wanted {
  std::string name;
  std::string version;
  std::string title;
  std::string description;
  std::string homepage;
  std::string publisher;
  std::vector<std::string> references;
  std::vector<std::string> conflicts;
  bool replace = false;  ///< a version that is there already
};

struct Added {
  Description description;
  std::size_t files = 0;
  std::size_t locations = 0;
  std::size_t namespaces = 0;
  std::size_t public_ids = 0;
  std::vector<Fulfilment> demands;
  std::vector<Description> changed;  ///< other packages that offer a further location now
  std::vector<std::string> remarks;
};

/// Reads the sources (folders, zip archives, single files), describes the package, and puts both
/// into the store. Nothing of the store is changed unless all of it can be read.
framework::Result<Added> add_package(const std::filesystem::path& store,
                                     const std::vector<std::string>& sources, const Wanted& wanted);

}  // namespace zendro::store
