// Package files made from a published tree, for machines without network.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "framework/io/io.h"

namespace zendro::store {

/// Writes the packages that the queries mean, with all that they reference, as a package file.
/// Every member is proved by its digest first. The identities that it holds, sorted.
framework::Result<std::vector<std::string>> make_package_file(
    const std::filesystem::path& tree, const std::vector<std::string>& queries,
    const std::filesystem::path& file);

}  // namespace zendro::store
