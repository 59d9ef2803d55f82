#include "cli/write_right.h"

#include "cli/write_right_system.h"

namespace zendro::cli {

std::optional<std::filesystem::path> folder_without_right(const std::filesystem::path& folder) {
  std::filesystem::path place = folder.has_filename() ? folder : folder.parent_path();
  std::error_code ignored;
  while (!std::filesystem::exists(place, ignored) && place.has_relative_path()) {
    place = place.parent_path();
  }
  return is_write_denied(place) ? std::optional(place) : std::nullopt;
}

}  // namespace zendro::cli
