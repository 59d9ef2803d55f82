// Entry point.
#include "cli/program.h"

int main(int argc, char** argv) { return zendro::cli::run_program({argv, argv + argc}); }
