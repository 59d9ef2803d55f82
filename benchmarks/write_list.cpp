// Writes a list of packages as a store has it: write_list VERSIONS FILE
#include <cstdlib>
#include <fstream>
#include <iostream>

#include "benchmarks/generated_lists.h"

int main(int argc, char* argv[]) {
  const int versions = argc == 3 ? std::atoi(argv[1]) : 0;
  if (versions <= 0) {
    std::cerr << "usage: write_list VERSIONS FILE\n";
    return 2;
  }
  std::ofstream file(argv[2], std::ios::binary);
  file << zendro::benchmarks::store_list(versions);
  file.close();
  return file ? 0 : 1;
}
