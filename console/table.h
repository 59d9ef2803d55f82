// Tables that fit the terminal.
#pragma once

#include <string>
#include <vector>

#include "console/output.h"

namespace zendro::console {

/// What becomes of the last column where the terminal ends.
enum class LastColumn { cut, folded };

/// Writes columns side by side under their heads. Texts are UTF-8 on one line.
void write_table(Output& output, const std::vector<std::string>& heads,
                 const std::vector<std::vector<std::string>>& rows,
                 LastColumn last = LastColumn::cut);

}  // namespace zendro::console
