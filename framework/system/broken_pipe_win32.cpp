#include "framework/system/broken_pipe.h"

namespace zendro::framework {

// Windows knows no signal for it: the write fails.
void ignore_broken_pipes() {}

}  // namespace zendro::framework
