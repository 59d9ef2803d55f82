#include "pkg/replace_file.h"

#include <mutex>

#include "pkg/cache_write_lock.h"

namespace zendro::pkg {
namespace {

replace_outcome write_in_place(root_folder& root, std::string_view name, std::string_view text,
                               framework::IoError& error) {
  const borrowed_folder folder = root.create();
  if (!folder) {
    error = folder.error().cause();
    return replace_outcome::no_folder;
  }
  const framework::WriteResult written = (*folder)->write_file(name, text);
  if (written) return replace_outcome::replaced;
  error = written.error().cause;
  return written.error().was_opened ? replace_outcome::not_written : replace_outcome::not_opened;
}

}  // namespace

replace_outcome replace_file(root_folder& root, std::string_view name, std::string_view text,
                             message_reporter& reporter) {
  const std::lock_guard lock(cache_write_lock());
  framework::IoError error;
  const replace_outcome outcome = write_in_place(root, name, text, error);
  reporter.report(error);
  return outcome;
}

}  // namespace zendro::pkg
