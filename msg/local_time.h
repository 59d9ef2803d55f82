// Local time of the machine.
#pragma once

#include <cstdint>
#include <ctime>

namespace zendro::msg {

/// Breaks seconds since 1970-01-01T00:00:00Z down into local time. Thread-safe.
std::tm local_time(std::int64_t time);

}  // namespace zendro::msg
