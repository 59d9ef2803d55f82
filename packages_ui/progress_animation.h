// The animation that runs while an operation does: a row of dots that light up one after another.
#pragma once

#include <cstdint>
#include <string>

namespace zendro::packages_ui {

/// The name of the animated picture.
inline constexpr char kProgressAnimationName[] = "GIF_EXECUTION_PROGRESS";
/// How long a frame is shown, in milliseconds.
inline constexpr int kProgressFrameMilliseconds = 100;

struct Colour {
  std::uint8_t red;
  std::uint8_t green;
  std::uint8_t blue;
};

/// The animation as the bytes of a GIF (version 89a) with transparent ground, repeating for ever,
/// for an area of `width` x `height` pixels. The dots fade from `lit` to `dim`.
std::string progress_animation(std::uint16_t width, std::uint16_t height, Colour dim, Colour lit);

}  // namespace zendro::packages_ui
