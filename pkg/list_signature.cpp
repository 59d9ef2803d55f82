#include "pkg/list_signature.h"

#include "app/options/options.h"
#include "framework/sign/signature.h"

namespace zendro::pkg {
namespace {

using checked_keys = tl::expected<std::vector<framework::PublicKey>, std::string>;

checked_keys keys_of(const json::value& option) {
  if (!option.is_string()) return tl::unexpected(std::string("not a text"));
  return framework::parse_public_keys(framework::as_string(option));
}

}  // namespace

bool is_signed(core_context& context, std::string_view archive, std::string_view shown_url,
               const signature_source& fetch) {
  const json::value option = app::get_store_public_key(&context.options());
  if (option.is_null()) return true;
  const auto refuse = [&](std::string_view reason) {
    return context.fail(msg::Code::checksum_mismatch_pkg_store_info,
                        {text_argument(L"file", shown_url)}, reason);
  };
  const checked_keys keys = keys_of(option);
  if (!keys)
    return refuse("option " + std::string(app::option::store_public_key) + ": " + keys.error());

  const framework::Result<std::string> document = fetch();
  if (!document && context.stop_requested()) {
    context.reporter().report(document.error());
    return context.fail(msg::Code::update_pkg_store_information, {context.pkgtype()});
  }
  if (!document) return refuse(document.error().text);
  const auto verified = framework::verify_signature(*document, archive, *keys);
  if (verified) return true;
  return refuse(std::string(shown_url) + std::string(framework::kSignatureSuffix) + ": " +
                verified.error());
}

}  // namespace zendro::pkg
