// Package lists of any size: the same document for the same arguments, on every system.
#pragma once

#include <functional>
#include <string>

#include "framework/text/json.h"

namespace zendro::benchmarks {

namespace json = boost::json;

/// "p0", "p1", ...
std::string package_name(int package);

/// A list of packages with the versions 2.0.0, 1.1.0 and 1.0.0 each, `versions` altogether. One
/// takes some 1.7 kB, as in a real store: texts, a member with its digest, up to four references,
/// and entries of the catalogs.
std::string store_list(int versions);

/// A list of `versions` packages of one version with short texts, some 0.24 kB each, so that a
/// million are less than a list may hold.
std::string terse_list(int versions);

/// A list of `packages` packages with short texts, of the same three versions or only 1.0.0 each.
/// `describe` adds what else the metadata of a package's versions holds; where it returns false,
/// the package is left out.
std::string short_list(int packages, bool all_versions,
                       const std::function<bool(int package, json::object& meta)>& describe);

}  // namespace zendro::benchmarks
