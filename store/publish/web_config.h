// The lines with which a web server serves a published tree.
#pragma once

#include <string>
#include <string_view>

#include "framework/io/io.h"

#include "store/tree_on_disk.h"

namespace zendro::store {

/// What goes into a site of `server` ("nginx", "apache" or "caddy"), so that it answers at the
/// tree's store URL. Fails where the tree does not say where it will be served, and for paths that
/// the server's configuration cannot hold.
framework::Result<std::string> web_config(std::string_view server, const PublishedTree& tree);

}  // namespace zendro::store
