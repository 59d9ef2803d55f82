#include "pkg/replace_file.h"

#include <mutex>

#include "pkg/cache_write_lock.h"

namespace zendro::pkg {

replace_outcome replace_file(root_folder& root, std::string_view name, std::string_view text,
                             message_reporter& reporter) {
  const std::lock_guard lock(cache_write_lock());
  const borrowed_folder folder = root.create();
  if (!folder) {
    reporter.report(folder.error().cause());
    return replace_outcome::no_folder;
  }
  const framework::WriteResult written = (*folder)->write_file(name, text);
  if (written) return replace_outcome::replaced;
  reporter.report(written.error().cause);
  return written.error().was_opened ? replace_outcome::not_written : replace_outcome::not_opened;
}

}  // namespace zendro::pkg
