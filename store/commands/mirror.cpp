#include "store/mirror/mirror.h"

#include "framework/system/files.h"

#include "console/exit_status.h"
#include "store/commands/commands.h"

namespace zendro::store {

int mirror(Session& session) {
  const Arguments& arguments = session.arguments();
  console::Output& output = session.output();
  MirrorRequest request;
  request.source = arguments.target;
  request.folder = framework::path_from_utf8(arguments.place);
  request.filters = arguments.identities;
  request.url = arguments.url;
  MirrorSinks sinks;
  sinks.note = [&output](const std::string& text) { output.note(text); };
  sinks.warning = [&output](const std::string& text) { output.warning(text); };
  sinks.progress = [&output](const pkg::progress_t& progress) { output.progress(progress); };
  const auto http = framework::make_http_transport();
  const auto outcome = store::mirror(*http, request, sinks, session.stop_token());
  if (!outcome) return session.fail(outcome.error());
  output.line(std::to_string(outcome->packages) + " packages: " + std::to_string(outcome->fetched) +
              " members fetched, " + std::to_string(outcome->present) +
              " there already; the list is " + (outcome->is_list_new ? "new" : "the same") +
              (outcome->is_signed ? " and signed." : " and not signed."));
  output.result("packages", outcome->packages);
  output.result("fetched", outcome->fetched);
  output.result("present", outcome->present);
  output.result("list_is_new", outcome->is_list_new);
  output.result("list_is_signed", outcome->is_signed);
  return console::kDone;
}

}  // namespace zendro::store
