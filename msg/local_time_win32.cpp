#include "msg/local_time.h"

namespace zendro::msg {

std::tm local_time(std::int64_t time) {
  const auto seconds = static_cast<std::time_t>(time);
  std::tm local{};
  localtime_s(&local, &seconds);
  return local;
}

}  // namespace zendro::msg
