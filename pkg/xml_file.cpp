#include "pkg/xml_file.h"

#include <mutex>

#include "framework/files.h"
#include "pkg/cache_write_lock.h"
#include "pkg/core_context.h"

namespace zendro::pkg {

bool write_xml_file(std::string_view xml, std::string_view path, reporter_t* reporter) {
  const std::lock_guard lock(cache_write_lock());
  const std::filesystem::path target = framework::path_from_utf8(path);
  const std::filesystem::path folder = target.parent_path();
  framework::IoError error;
  const auto failed = [&](msg::Code code) {
    if (reporter == nullptr) return false;
    reporter->report(error);
    reporter->report(msg::Message{
        code, {path_argument(framework::path_to_utf8(folder))}, msg::Severity::error, {}});
    return false;
  };
  if (!framework::create_folders(folder, error)) return failed(msg::Code::create_folder);
  switch (framework::write_file(target, xml, error)) {
    case framework::WriteOutcome::not_opened:
      return failed(msg::Code::create_file);
    case framework::WriteOutcome::not_written:
      return failed(msg::Code::write_file);
    case framework::WriteOutcome::written:
      break;
  }
  return true;
}

}  // namespace zendro::pkg
