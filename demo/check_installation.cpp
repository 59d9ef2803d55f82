// Checks that exactly the given packages are installed:
//   check_installation PACKAGES TYPE [IDENTITY...]
// PACKAGES is the install root, TYPE "xsd" or "xbrl". Prints what is wrong and exits with 1 if
// anything is.
#include <exception>
#include <iostream>

#include "demo/installation_check.h"
#include "framework/system/files.h"

int main(int argc, char* argv[]) {
  if (argc < 3) {
    std::cerr << "usage: check_installation PACKAGES TYPE [IDENTITY...]\n";
    return 2;
  }
  try {
    const std::string faults = zendro::demo::check_installation(
        zendro::framework::path_from_utf8(argv[1]), argv[2], {argv + 3, argv + argc});
    std::cerr << faults;
    return faults.empty() ? 0 : 1;
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
  }
}
