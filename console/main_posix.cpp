// Entry point.
#include "console/program.h"

int main(int argc, char** argv) {
  return zendro::console::run_program({argv, argv + argc}, zendro::console::run);
}
