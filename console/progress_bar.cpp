#include "console/progress_bar.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace zendro::console {
namespace {

constexpr std::chrono::milliseconds kBetween{100};
constexpr std::size_t kLongestMeter = 30;
constexpr const char* kEraseLine = "\r\x1b[K";

}  // namespace

std::string readable_bytes(double bytes) {
  constexpr std::array units = {"B", "kB", "MB", "GB"};
  std::size_t unit = 0;
  for (; bytes >= 1000 && unit + 1 < units.size(); ++unit) bytes /= 1000;
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), unit == 0 ? "%.0f %s" : "%.1f %s", bytes, units[unit]);
  return text.data();
}

bool ProgressBar::take(const pkg::progress_t& progress) {
  if (progress.members_done == 0 && progress.bytes_done == 0 && progress_.members == 0) {
    began_ = clock::now();
  }
  if (progress.bytes_done > progress_.bytes_done) {
    all_bytes_ += progress.bytes_done - progress_.bytes_done;
  }
  progress_ = progress;
  if (progress.members == 0 && progress.bytes_done == 0) return false;
  const clock::time_point now = clock::now();
  if (now - shown_ < kBetween) return false;
  shown_ = now;
  return true;
}

std::string ProgressBar::text() const {
  const std::size_t length = std::min(kLongestMeter, width_ / 3);
  const double members = static_cast<double>(progress_.members);
  double done = static_cast<double>(progress_.members_done);
  if (progress_.bytes && *progress_.bytes > 0) {
    done += static_cast<double>(progress_.bytes_done) / static_cast<double>(*progress_.bytes);
  }
  const auto full =
      static_cast<std::size_t>(static_cast<double>(length) * std::clamp(done / members, 0.0, 1.0));
  std::string text = "[" + std::string(full, '#') + std::string(length - full, ' ') + "] " +
                     std::to_string(progress_.members_done) + "/" +
                     std::to_string(progress_.members);
  const double seconds = std::chrono::duration<double>(clock::now() - began_).count();
  if (all_bytes_ > 0 && seconds > 0) {
    text += "  " + readable_bytes(static_cast<double>(all_bytes_)) + "  " +
            readable_bytes(static_cast<double>(all_bytes_) / seconds) + "/s";
  }
  return text.substr(0, width_ - 1);
}

void ProgressBar::draw() {
  if (width_ < 2 || progress_.members == 0) return;
  const std::string line = kEraseLine + text();
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::fflush(stderr);
  is_drawn_ = true;
}

void ProgressBar::erase() {
  if (!is_drawn_) return;
  std::fputs(kEraseLine, stderr);
  is_drawn_ = false;
}

}  // namespace zendro::console
