// Variables of the environment, as the program and its libraries see them.
#pragma once

namespace zendro::tests {

void set_variable(const char* name, const char* value);
void unset_variable(const char* name);

}  // namespace zendro::tests
