#include <cstdlib>

#include "tests/environment.h"

namespace zendro::tests {

void set_variable(const char* name, const char* value) { setenv(name, value, 1); }

void unset_variable(const char* name) { unsetenv(name); }

}  // namespace zendro::tests
