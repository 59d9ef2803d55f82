#include "pkg/remote_io_log.h"

#include <string>

#include "app/options.h"
#include "framework/digest.h"
#include "framework/files.h"
#include "pkg/percent_encoding.h"

namespace zendro::pkg {
namespace {

// A file name has at most 255 bytes; beyond this the rest of a name goes into a digest.
constexpr std::size_t kLongestName = 150;

}  // namespace

std::filesystem::path remote_io_log_path(const core_context_t& context,
                                         std::string_view operation) {
  if (!framework::to_bool(app::get_log_remote_io(&context.options()))) return {};
  const auto is_refused = [](unsigned char c) {
    return c < 0x20 || c == 0x7F ||
           std::string_view("<>:\"/\\|?*").find(static_cast<char>(c)) != std::string_view::npos;
  };
  std::string name = percent_encode_if(operation, is_refused);
  if (name.size() > kLongestName) {
    name = name.substr(0, kLongestName) + "-" + framework::to_hex(framework::sha256(operation));
  }
  return framework::path_from_utf8(context.cache_root()) / "logs" /
         framework::path_from_utf8("io_" + name + ".log");
}

}  // namespace zendro::pkg
