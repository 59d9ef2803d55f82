#include "tests/links.h"

namespace zendro::tests {

bool make_folder_link(const std::filesystem::path& target, const std::filesystem::path& link) {
  std::filesystem::create_directory_symlink(target, link);
  return true;
}

bool is_wine() { return false; }

}  // namespace zendro::tests
