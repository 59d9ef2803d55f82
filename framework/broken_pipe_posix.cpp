#include "framework/broken_pipe.h"

#include <csignal>

namespace zendro::framework {

void ignore_broken_pipes() { std::signal(SIGPIPE, SIG_IGN); }

}  // namespace zendro::framework
