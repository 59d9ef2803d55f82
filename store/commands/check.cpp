#include "framework/system/files.h"
#include "framework/text/url_parts.h"

#include "console/exit_status.h"
#include "console/table.h"
#include "store/check/check_store.h"
#include "store/check/open_sources.h"
#include "store/check/open_store.h"
#include "store/commands/commands.h"
#include "store/published_tree.h"
#include "store/settings.h"

namespace zendro::store {
namespace {

namespace json = boost::json;

/// The keys of the option: a file with them, or themselves.
framework::Result<SigningKeys> keys_of(const std::string& option) {
  if (option.empty()) return SigningKeys();
  constexpr std::uint64_t limit = 1u << 16;
  const std::filesystem::path file = framework::path_from_utf8(option);
  const auto text = framework::file_exists(file) ? framework::read_file(file, limit) : option;
  if (!text) return tl::unexpected(text.error());
  return framework::parse_public_keys(*text).map_error(
      [&option](const std::string& cause) { return framework::IoError{option + ": " + cause}; });
}

framework::Result<OpenedStore> open(const Arguments& arguments) {
  const framework::Result<SigningKeys> keys = keys_of(arguments.public_key);
  if (!keys) return tl::unexpected(keys.error());
  const std::string_view scheme = framework::url_scheme(arguments.place);
  if (scheme == "http" || scheme == "https") return open_served(arguments.place, *keys);
  const std::filesystem::path folder = framework::path_from_utf8(arguments.place);
  if (framework::file_exists(folder / kArchiveName)) return open_tree(folder, *keys);
  if (framework::file_exists(folder / kSettingsName)) return open_sources(folder);
  return tl::unexpected(framework::IoError{
      arguments.place + ": there is neither \"" + kSettingsName + "\" of a store's sources nor \"" +
      kArchiveName + "\" of a built tree; name a folder with one of them, or the URL of a store"});
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
