// Writes a list of packages: write_list VERSIONS FILE [terse]
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string_view>

#include "benchmarks/generated_lists.h"

int main(int argc, char* argv[]) {
  const bool is_terse = argc == 4 && argv[3] == std::string_view("terse");
  const int versions = argc == 3 || is_terse ? std::atoi(argv[1]) : 0;
  if (versions <= 0) {
    std::cerr << "usage: write_list VERSIONS FILE [terse]\n";
    return 2;
  }
  std::ofstream file(argv[2], std::ios::binary);
  file << (is_terse ? zendro::benchmarks::terse_list(versions)
                    : zendro::benchmarks::store_list(versions));
  file.close();
  return file ? 0 : 1;
}
