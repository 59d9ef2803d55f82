#include "pkg/telemetry.h"

#include "app/options/options.h"
#include "pkg/remote_io_log.h"

namespace zendro::pkg {
namespace {

framework::PostResult send(core_context& context, const std::set<name_semver_t>& packages) {
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
  return context.http().post(request, body);
}

}  // namespace

bool send_install_telemetry(core_context& context, const std::set<name_semver_t>& packages) {
  framework::PostResult sent;
  try {
    if (!framework::to_bool(app::get_telemetry(&context.options()))) return true;
    sent = send(context, packages);
  } catch (const framework::JsonError& bad_option) {
    // The packages are installed by now; an option that is of no use changes nothing about that.
    sent = tl::unexpected(framework::NotSent{{bad_option.what()}});
  }
  if (sent) return true;
  context.warn(sent.error().was_connected ? msg::Code::update_pkg_store_telemetry
                                          : msg::Code::access_pkg_store_telemetry,
               {context.pkgtype()}, sent.error().cause.text);
  return false;
}

}  // namespace zendro::pkg
