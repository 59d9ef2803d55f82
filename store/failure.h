// Why something of a store failed.
#pragma once

#include <string>
#include <string_view>

#include "framework/io/io.h"

namespace zendro::store {

/// "<where>: <cause>".
inline tl::unexpected<framework::IoError> failed(std::string_view where, std::string_view cause) {
  return tl::unexpected(framework::IoError{std::string(where) + ": " + std::string(cause)});
}

}  // namespace zendro::store
