#include <sys/stat.h>

#include "tests/links.h"

namespace zendro::tests {

namespace fs = std::filesystem;

bool make_folder_link(const fs::path& target, const fs::path& link) {
  fs::create_directory_symlink(target, link);
  return true;
}

bool is_wine() { return false; }

std::vector<Plant> plants(const fs::path& outside) {
  const auto link_to = [outside](const char* target) {
    return [outside, target](const fs::path& place) {
      fs::create_symlink(outside / target, place);
      return true;
    };
  };
  return {{"link to a file", link_to("file")},
          {"link to a missing file", link_to("missing")},
          {"link to a folder", link_to("sub")},
          {"link to itself",
           [](const fs::path& place) {
             fs::create_symlink(place.filename(), place);
             return true;
           }},
          {"hard link",
           [outside](const fs::path& place) {
             fs::create_hard_link(outside / "file", place);
             return true;
           }},
          {"pipe", [](const fs::path& place) { return mkfifo(place.c_str(), 0666) == 0; }}};
}

}  // namespace zendro::tests
