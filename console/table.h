// Tables that fit the terminal.
#pragma once

#include <string>
#include <vector>

#include "console/output.h"

namespace zendro::console {

/// Writes columns side by side under their heads; the last one is cut where the terminal ends.
/// Texts are UTF-8 on one line.
void write_table(Output& output, const std::vector<std::string>& heads,
                 const std::vector<std::vector<std::string>>& rows);

}  // namespace zendro::console
