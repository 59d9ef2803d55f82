// Why something failed.
#pragma once

#include <string>

#include "framework/http/http.h"
#include "framework/system/system_file.h"

namespace zendro::tests {

/// Empty where it has not failed.
template <typename Value>
std::string cause_of(const framework::Result<Value>& result) {
  return result ? std::string() : result.error().text;
}

inline std::string cause_of(const framework::WriteResult& result) {
  return result ? std::string() : result.error().cause.text;
}

inline std::string cause_of(const framework::PostResult& result) {
  return result ? std::string() : result.error().cause.text;
}

/// Whether writing failed before anything of the file could have changed.
inline bool was_not_opened(const framework::WriteResult& result) {
  return !result && !result.error().was_opened;
}

}  // namespace zendro::tests
