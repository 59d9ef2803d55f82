// Makes the demonstration store:
//   make_demo_store RECIPE TAXONOMIES UNPACKED OUTPUT
// RECIPE is the recipe file, TAXONOMIES the folder of taxonomy descriptions, UNPACKED a folder with
// one folder for each unpacked Debian package, OUTPUT an empty or missing folder.
#include <exception>
#include <iostream>

#include "demo/store_maker.h"
#include "framework/system/files.h"

int main(int argc, char* argv[]) {
  if (argc != 5) {
    std::cerr << "usage: make_demo_store RECIPE TAXONOMIES UNPACKED OUTPUT\n";
    return 2;
  }
  using zendro::framework::path_from_utf8;
  try {
    zendro::demo::make_stores(path_from_utf8(argv[1]),
                              {path_from_utf8(argv[3]), path_from_utf8(argv[2])},
                              path_from_utf8(argv[4]), std::cout);
    return 0;
  } catch (const std::exception& failure) {
    std::cerr << "make_demo_store: " << failure.what() << '\n';
    return 1;
  }
}
