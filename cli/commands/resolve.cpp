#include "pkg/catalogs.h"

#include "cli/commands/commands.h"
#include "console/exit_status.h"

namespace zendro::cli {

int resolve(Session& session) {
  Output& output = session.output();
  const std::string& text = session.arguments().text;
  const auto installed = session.cache().load_installed();
  if (!installed) return session.status_of(false);
  std::string url = text;
  json::array steps;
  for (const pkg::catalog_step_t& step : pkg::trace_in_catalogs(*installed, text)) {
    output.line(step.catalog + ": " + step.element + " " + shown(step.key) + " -> " +
                shown(step.target));
    steps.push_back(json::object{{"catalog", session.cache_root() + step.catalog},
                                 {"element", step.element},
                                 {"key", step.key},
                                 {"target", step.target}});
    url = step.target;
  }
  const std::optional<std::string> file = session.cache().file_of(url);
  if (file) output.line(shown(*file));
  output.result("steps", std::move(steps));
  if (file) {
    output.result("url", json::value(json::string(url)));
    output.result("file", json::value(json::string(*file)));
  } else {
    output.error(Text::leads_nowhere, {named(L"text", url)});
  }
  return session.status_of(file.has_value());
}

}  // namespace zendro::cli
