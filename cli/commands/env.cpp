#include <algorithm>
#include <cctype>

#include "framework/system/files.h"
#include "framework/text/percent.h"
#include "pkg/percent_encoding.h"

#include "cli/commands/commands.h"
#include "console/exit_status.h"

namespace zendro::cli {
namespace {

constexpr std::string_view kVariable = "XML_CATALOG_FILES";
constexpr std::string_view kCatalog = "local/catalog.xml";

// The variable separates catalogs by blanks: a URL has none.
std::string file_url(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  const std::string encoded = pkg::percent_encode_if(path, [](unsigned char byte) {
    constexpr std::string_view kept = "-._~/:@!,;=+";
    return (std::isalnum(byte) == 0 || byte >= 0x80) &&
           kept.find(static_cast<char>(byte)) == std::string_view::npos;
  });
  return (encoded.starts_with('/') ? "file://" : "file:///") + encoded;
}

}  // namespace

int env(Session& session) {
  const std::string root = session.cache_root();
  if (root.empty()) return session.status_of(session.cache().load_installed().has_value());
  const std::string path = root + std::string(kCatalog);
  const std::string url = file_url(path);
  if (!framework::file_exists(framework::path_from_utf8(path))) {
    session.output().note(Text::no_catalogs, {named(L"path", path)});
  }
  const std::string& shell = session.arguments().shell;
  Output& output = session.output();
  output.result(kVariable, json::value(json::string(url)));
  if (shell == "powershell") {
    output.line("$env:" + std::string(kVariable) + " = '" + url + "'");
  } else if (shell == "json") {
    output.line(json::serialize(json::object{{kVariable, url}}));
  } else {
    output.line("export " + std::string(kVariable) + "='" + url + "'");
  }
  return console::kDone;
}

}  // namespace zendro::cli
