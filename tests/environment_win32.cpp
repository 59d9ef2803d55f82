#include <cstdlib>

#include "tests/environment.h"

namespace zendro::tests {

// The system's variables and those of the C library.
void set_variable(const char* name, const char* value) { _putenv_s(name, value); }

void unset_variable(const char* name) { _putenv_s(name, ""); }

}  // namespace zendro::tests
