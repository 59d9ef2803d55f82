// The bar that shows on a terminal how far an operation is.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "pkg/progress.h"

namespace zendro::console {

/// A number of bytes as people read it: "3.2 MB".
std::string readable_bytes(double bytes);

class ProgressBar {
 public:
  /// The terminal's width; 0: nothing is drawn.
  explicit ProgressBar(std::size_t width) : width_(width) {}

  /// Takes note of what is told; whether it is time to show it.
  bool take(const pkg::progress_t& progress);
  /// Draws what was told last; where nothing is to be told, nothing is.
  void draw();
  /// Leaves the line as if nothing had been drawn.
  void erase();

 private:
  using clock = std::chrono::steady_clock;

  [[nodiscard]] std::string text() const;

  std::size_t width_;
  bool is_drawn_ = false;
  pkg::progress_t progress_;
  std::uint64_t all_bytes_ = 0;  ///< received since the operation began
  clock::time_point began_ = clock::now();
  clock::time_point shown_ = {};
};

}  // namespace zendro::console
