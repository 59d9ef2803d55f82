#include "framework/text/version.h"

namespace zendro::framework {

std::string_view program_version() { return ZENDRO_VERSION; }

}  // namespace zendro::framework
