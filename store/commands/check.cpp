#include "framework/system/files.h"
#include "framework/text/url_parts.h"

#include "console/exit_status.h"
#include "console/table.h"
#include "store/check/check_store.h"
#include "store/check/open_store.h"
#include "store/commands/commands.h"

namespace zendro::store {
namespace {

namespace json = boost::json;

framework::Result<OpenedStore> open(const Arguments& arguments) {
  const std::string scheme(framework::url_scheme(arguments.place));
  if (scheme == "http" || scheme == "https") return open_served(arguments.place);
  return open_tree(framework::path_from_utf8(arguments.place));
}

const char* word(Severity severity) { return severity == Severity::error ? "error" : "warning"; }

std::string place_of(const Finding& finding) {
  return finding.line == 0 ? finding.file : finding.file + ":" + std::to_string(finding.line);
}

void write(console::Output& output, const Findings& findings) {
  std::vector<std::vector<std::string>> rows;
  for (const Finding& finding : findings) {
    output.event("finding", {{"severity", word(finding.severity)},
                             {"package", finding.package},
                             {"file", finding.file},
                             {"line", finding.line},
                             {"what", finding.what},
                             {"advice", finding.advice}});
    rows.push_back({word(finding.severity), finding.package, place_of(finding), finding.what});
    if (!finding.advice.empty()) rows.push_back({"", "", "", "-> " + finding.advice});
  }
  if (rows.empty()) return;
  console::write_table(output, {"", "Package", "File", "Finding"}, rows,
                       console::LastColumn::folded);
}

}  // namespace

int check(Session& session) {
  framework::Result<OpenedStore> opened = open(session.arguments());
  if (!opened) return session.fail(opened.error());
  StoreCheck check;
  if (opened->store) check = check_store(*opened->store, session.stop_token());
  if (session.stop_token().stop_requested()) return console::kInterrupted;
  Findings findings = std::move(opened->findings);
  findings.insert(findings.end(), std::make_move_iterator(check.findings.begin()),
                  std::make_move_iterator(check.findings.end()));
  write(session.output(), findings);
  const auto errors = static_cast<std::size_t>(
      std::count_if(findings.begin(), findings.end(),
                    [](const Finding& one) { return one.severity == Severity::error; }));
  session.output().note(std::to_string(check.packages) + " package versions, " +
                        std::to_string(check.documents) + " documents: " + std::to_string(errors) +
                        " errors, " + std::to_string(findings.size() - errors) + " warnings");
  session.output().result("packages", check.packages);
  session.output().result("documents", check.documents);
  session.output().result("errors", errors);
  session.output().result("warnings", findings.size() - errors);
  return errors == 0 ? console::kDone : console::kFailed;
}

}  // namespace zendro::store
