// The signature of a store's list, which the options can ask for.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "framework/io/io.h"
#include "pkg/core_context.h"

namespace zendro::pkg {

/// Gives the document of a signature.
using signature_source = std::function<framework::Result<std::string>()>;

/// Whether the archive of a list has been signed with a key that the options name, or they name
/// none. Only where they do the signature is fetched. Reports what is wrong; `shown_url` names the
/// archive.
bool is_signed(core_context& context, std::string_view archive, std::string_view shown_url,
               const signature_source& fetch);

}  // namespace zendro::pkg
