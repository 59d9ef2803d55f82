// What the program tells the shell.
#pragma once

namespace zendro::console {

inline constexpr int kDone = 0;  ///< or there was nothing to do
inline constexpr int kFailed = 1;
inline constexpr int kUsage = 2;
inline constexpr int kDamaged = 3;  ///< found by a verification
inline constexpr int kRefused = 4;  ///< nobody agreed to what would have been done
inline constexpr int kInterrupted = 130;

}  // namespace zendro::console
