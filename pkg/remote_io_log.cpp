#include "pkg/remote_io_log.h"

#include <string>

#include "app/options/options.h"
#include "framework/io/digest.h"
#include "framework/system/files.h"
#include "pkg/percent_encoding.h"

namespace zendro::pkg {
namespace {

// A file name has at most 255 bytes; beyond this the rest of a name goes into a digest.
constexpr std::size_t kLongestName = 150;
constexpr std::string_view kFolder = "logs";

}  // namespace

std::shared_ptr<framework::IOImpl_base> open_remote_io_log(core_context& context,
                                                           std::string_view operation) {
  if (!framework::to_bool(app::get_log_remote_io(&context.options()))) return nullptr;
  if (!context.has_folders()) return nullptr;
  const auto is_refused = [](unsigned char c) {
    return c < 0x20 || c == 0x7F ||
           std::string_view("<>:\"/\\|?*").find(static_cast<char>(c)) != std::string_view::npos;
  };
  std::string name = percent_encode_if(operation, is_refused);
  if (name.size() > kLongestName) {
    name = name.substr(0, kLongestName) + "-" + framework::to_hex(framework::sha256(operation));
  }
  name = "io_" + name + ".log";
  const opened_folder folder = context.cache_folder().create().and_then(
      [](const framework::Folder* root) { return create_in(*root, kFolder); });
  const framework::OpenedStream file =
      folder ? (*folder)->append_file(name) : tl::unexpected(folder.error().cause());
  if (file) return *file;
  const std::string path = context.cache_file(kFolder) + framework::kPathSeparator + name;
  context.warn_once(msg::Code::create_file, {path_argument(path)}, file.error().text);
  return nullptr;
}

}  // namespace zendro::pkg
