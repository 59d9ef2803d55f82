#include "pkg/telemetry.h"

#include "app/options/options.h"
#include "pkg/remote_io_log.h"

namespace zendro::pkg {
namespace {

framework::SendOutcome send(core_context& context, const std::set<name_semver_t>& packages,
                            framework::IoError& error) {
  json::array names;
  for (const name_semver_t& package : packages) names.emplace_back(to_string(package));
  json::object document;
  document["pkg.installer"] = app::get_installer(&context.options());
  document["pkg.names"] = std::move(names);
  std::string body;
  framework::JsonWriter(body).append(document);

  framework::HttpRequest request;
  request.url = framework::as_string(app::get_telemetry_url(&context.options()));
  request.headers.emplace_back("Content-Type", "application/json; charset=utf-8");
  request.trace_log = open_remote_io_log(context, "pkgstore");
  return context.http().post(request, body, error);
}

}  // namespace

bool send_install_telemetry(core_context& context, const std::set<name_semver_t>& packages) {
  framework::IoError error;
  framework::SendOutcome outcome = framework::SendOutcome::not_opened;
  try {
    if (!framework::to_bool(app::get_telemetry(&context.options()))) return true;
    outcome = send(context, packages, error);
  } catch (const framework::JsonError& bad_option) {
    // The packages are installed by now; an option that is of no use changes nothing about that.
    error.text = bad_option.what();
  }
  if (outcome == framework::SendOutcome::sent) return true;
  context.warn(outcome == framework::SendOutcome::not_opened
                   ? msg::Code::access_pkg_store_telemetry
                   : msg::Code::update_pkg_store_telemetry,
               {context.pkgtype()}, error.text);
  return false;
}

}  // namespace zendro::pkg
