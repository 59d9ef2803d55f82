#include <algorithm>

#include "cli/commands/commands.h"
#include "cli/findings.h"
#include "console/exit_status.h"

namespace zendro::cli {
namespace {

void write(Output& output, const pkg::verification_t& found) {
  json::array findings;
  std::size_t foreign = 0;
  for (const pkg::member_finding_t& finding : found.findings) {
    const std::string state = state_name(finding.state);
    if (finding.state == pkg::member_state::foreign) ++foreign;
    output.line(state + "  " + shown(finding.path) +
                (finding.cause.empty() ? "" : "  (" + shown(finding.cause) + ")"));
    findings.push_back(json::object{{"package", pkg::to_string(finding.package)},
                                    {"file", finding.member},
                                    {"path", finding.path},
                                    {"state", state},
                                    {"cause", finding.cause}});
  }
  const auto number = [](const wchar_t* name, std::uint64_t value) {
    return msg::Argument(name, std::to_wstring(value));
  };
  output.note(Text::verified,
              {number(L"members", found.members), number(L"packages", found.packages),
               number(L"damaged", found.findings.size() - foreign), number(L"foreign", foreign)});
  output.result("packages", found.packages);
  output.result("members", found.members);
  output.result("findings", std::move(findings));
  output.result("repaired", found.is_repaired);
}

}  // namespace

int verify(Session& session) {
  const Arguments& arguments = session.arguments();
  std::optional<pkg::verification_t> found;
  const auto look = [&](pkg::pkg_cache_t& cache) {
    found = cache.verify(arguments.filters, arguments.repair);
    return found.has_value();
  };
  const int status =
      arguments.repair ? session.change(look) : session.status_of(look(session.cache()));
  if (!found) return status;
  write(session.output(), *found);
  if (found->is_repaired) session.output().note(Text::repaired);
  if (status != console::kDone || !is_damaged(*found) || found->is_repaired) return status;
  return arguments.repair ? console::kFailed : console::kDamaged;
}

}  // namespace zendro::cli
