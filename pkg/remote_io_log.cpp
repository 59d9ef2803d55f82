#include "pkg/remote_io_log.h"

#include <string>

#include "app/options.h"
#include "framework/files.h"
#include "pkg/percent_encoding.h"

namespace zendro::pkg {

std::filesystem::path remote_io_log_path(const core_context_t& context,
                                         std::string_view operation) {
  if (!framework::to_bool(app::get_log_remote_io(&context.options()))) return {};
  const auto is_refused = [](unsigned char c) {
    return c < 0x20 || c == 0x7F ||
           std::string_view("<>:\"/\\|?*").find(static_cast<char>(c)) != std::string_view::npos;
  };
  return framework::path_from_utf8(context.cache_root()) / "logs" /
         framework::path_from_utf8("io_" + percent_encode_if(operation, is_refused) + ".log");
}

}  // namespace zendro::pkg
