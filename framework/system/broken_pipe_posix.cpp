#include <csignal>

#include "framework/system/broken_pipe.h"

namespace zendro::framework {

void ignore_broken_pipes() { std::signal(SIGPIPE, SIG_IGN); }

}  // namespace zendro::framework
