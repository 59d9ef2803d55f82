// The folder in which programs that know nothing of packages find their files: members unpacked,
// and catalogs that lead to them by relative URLs.
#pragma once

#include <functional>
#include <span>
#include <string>

#include "framework/io/io.h"
#include "framework/system/folder.h"
#include "pkg/local/mappings.h"
#include "pkg/local/package.h"

namespace zendro::pkg::local {

struct reports_t {
  /// A package is not there, and why.
  std::function<void(const std::string& identity, const std::string& cause)> left_out;
  /// Something else could not be written or removed.
  std::function<void(const framework::IoError& error)> trouble;
};

/// Makes the folder `local` what these packages, in package order, and mappings ask for. The folder
/// of a package with the right stamp stays as it is; anything else is made anew, and what has no
/// place there is removed. Interrupted at any time, the next run sets all right.
void update(const framework::Folder& local, std::span<const package_t> packages,
            std::span<const mapping_t> mappings, const reports_t& reports);

}  // namespace zendro::pkg::local
