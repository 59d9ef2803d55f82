#include "store/publish/web_config.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "framework/system/files.h"
#include "framework/text/ascii.h"
#include "framework/text/url_parts.h"
#include "framework/url/loggable.h"
#include "pkg/store.h"

#include "store/failure.h"

namespace zendro::store {
namespace {

/// What the lines are made of.
struct Site {
  std::string root;       ///< the tree's folder, quoted for the server, with a slash at its end
  std::string prefix;     ///< path of the store URL, with a slash at both ends
  std::string bootstrap;  ///< path of the bootstrap document, without a slash in front
  std::string digest;
};

constexpr std::string_view kNginx =
    R"(# Inside a server block of nginx. After every "zendro-store build" make these lines anew, for the
# digest is that of the list as it is now, and reload the server; until then managers refuse the
# new list and keep theirs:
#   zendro-store web-config nginx OUT > FILE && nginx -s reload
location = /@bootstrap@ {
  alias "@root@@bootstrap@";
  default_type application/json;
  add_header Cache-Control no-cache;
}
# Where the site serves another store as well, this stands there already.
location = /@telemetry@ { return 204; }
location = @prefix@@archive@ {
  alias "@root@@archive@";
  add_header @header@ @digest@;
  add_header Cache-Control no-cache;
  default_type application/zip;
  gzip off;
}
location = @prefix@@digestfile@ {
  alias "@root@@digestfile@";
  add_header Cache-Control no-cache;
}
location = @prefix@@signature@ {
  alias "@root@@signature@";
  add_header Cache-Control no-cache;
}
location @prefix@ {
  alias "@root@";
  autoindex off;
  gzip off;
  add_header Cache-Control "@immutable@";
  location ~ /\. { return 404; }
}
)";

constexpr std::string_view kApache =
    R"(# Inside a virtual host of Apache, with its modules alias, headers and setenvif. The digest is
# read for every request, so that these lines hold after every "zendro-store build".
Alias "/@bootstrap@" "@root@@bootstrap@"
# Where the site serves another store as well, this stands there already.
Redirect 204 "/@telemetry@"
Alias "@prefix@" "@root@"
<Directory "@root@">
  Require all granted
  AllowOverride None
  Options None
</Directory>
<Location "@prefix@">
  SetEnvIf Request_URI "^" no-gzip=1
  Header set Cache-Control "@immutable@"
</Location>
<LocationMatch "^@prefix@@archive@">
  Header set Cache-Control no-cache
</LocationMatch>
<Location "/@bootstrap@">
  ForceType application/json
  Header set Cache-Control no-cache
</Location>
<LocationMatch "^@prefix@(.*/)?\.">
  Require all denied
</LocationMatch>
<Location "@prefix@@archive@">
  SetEnvIfExpr "file('@root@@digestfile@') =~ /^([0-9a-f]{64})/" ZENDRO_LIST_DIGEST=$1
  Header set @header@ "%{ZENDRO_LIST_DIGEST}e" env=ZENDRO_LIST_DIGEST
</Location>
)";

constexpr std::string_view kCaddy =
    R"(# Inside a site of Caddy. After every "zendro-store build" make these lines anew, for the digest is
# that of the list as it is now, and reload the server; until then managers refuse the new list and
# keep theirs:
#   zendro-store web-config caddy OUT > FILE && caddy reload
# Do not let "encode" match application/zip.
handle /@bootstrap@ {
	root * "@root@"
	header Content-Type application/json
	header Cache-Control no-cache
	file_server
}
# Where the site serves another store as well, this stands there already.
handle /@telemetry@ {
	respond 204
}
handle_path @prefix@* {
	root * "@root@"
	@zendro_list_@digest12@ path /@archive@
	header @zendro_list_@digest12@ @header@ @digest@
	@zendro_heads_@digest12@ path /@archive@*
	header @zendro_heads_@digest12@ Cache-Control no-cache
	@zendro_members_@digest12@ {
		not path /@archive@*
		file
	}
	header @zendro_members_@digest12@ Cache-Control "@immutable@"
	file_server {
		hide .*
	}
}
)";

/// A server, and the characters that the paths in its configuration cannot hold, as it would take
/// them for something else whatever is written around them.
struct ServerLines {
  std::string_view name;
  std::string_view lines;
  std::string_view refused;
};
constexpr ServerLines kServers[] = {
    {"nginx", kNginx, "$"}, {"apache", kApache, "$%'\\"}, {"caddy", kCaddy, "{}"}};

std::string filled(std::string_view lines, const Site& site) {
  std::string text(lines);
  for (const auto& [word, value] : std::initializer_list<std::pair<std::string, std::string>>{
           {"@root@", site.root},
           {"@prefix@", site.prefix},
           {"@bootstrap@", site.bootstrap},
           {"@telemetry@", std::string(kTelemetryPath)},
           {"@archive@", std::string(kArchiveName)},
           {"@digestfile@", std::string(kDigestName)},
           {"@signature@", std::string(kSignatureName)},
           {"@immutable@", std::string(kCachedForGood)},
           {"@header@", std::string(pkg::kDigestHeader)},
           {"@digest@", site.digest},
           {"@digest12@", site.digest.substr(0, 12)}}) {
    for (std::size_t at = 0; (at = text.find(word, at)) != std::string::npos; at += value.size()) {
      text.replace(at, word.size(), value);
    }
  }
  return text;
}

/// Between quotation marks.
std::string backslashed(std::string_view path) {
  std::string out;
  for (const char c : path) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out;
}

std::string url_path(std::string_view url) {
  const std::string_view authority = framework::url_authority(url);
  return std::string(
      url.substr(static_cast<std::size_t>(authority.data() + authority.size() - url.data())));
}

bool is_simple(std::string_view path) {
  return path.starts_with('/') && path.ends_with('/') &&
         std::all_of(path.begin(), path.end(), [](char c) {
           return framework::is_ascii_letter(c) || framework::is_ascii_digit(c) ||
                  std::string_view("-._~/").find(c) != std::string_view::npos;
         });
}

}  // namespace

framework::Result<std::string> web_config(std::string_view server, const PublishedTree& tree) {
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::absolute(tree.folder, error);
  if (error) return failed(framework::path_to_utf8(tree.folder), error.message());
  std::string root = framework::path_to_utf8(folder.lexically_normal() / std::filesystem::path());
  // Servers take slashes on every system.
  if constexpr (framework::kPathSeparator == '\\')
    std::replace(root.begin(), root.end(), '\\', '/');
  const auto row = std::find_if(std::begin(kServers), std::end(kServers),
                                [server](const ServerLines& each) { return each.name == server; });
  if (row == std::end(kServers)) return failed(std::string(server), "no known server");
  if (tree.store_url.empty()) {
    return failed(root + bootstrap_path(tree.type),
                  "is missing, so that nothing says where the store will be: give \"url\" in "
                  "store.json and build again; with \"mirror\", give --url");
  }
  const std::string prefix = url_path(tree.store_url);
  if (!is_simple(prefix)) {
    return failed(framework::loggable_url(tree.store_url),
                  "lines are made only for a URL whose path has letters, digits, and -._~, and "
                  "ends with \"/\"");
  }
  const bool is_refused = std::any_of(root.begin(), root.end(), [row](char c) {
    return static_cast<unsigned char>(c) < 0x20 || row->refused.find(c) != std::string_view::npos;
  });
  if (is_refused) {
    return failed(root, "a configuration of " + std::string(server) +
                            " cannot hold control characters or any of " +
                            std::string(row->refused) + " in a path");
  }
  return filled(row->lines,
                Site{backslashed(root), prefix, bootstrap_path(tree.type), tree.digest});
}

}  // namespace zendro::store
