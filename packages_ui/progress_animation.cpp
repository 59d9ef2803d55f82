#include "packages_ui/progress_animation.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>
#include <vector>

namespace zendro::packages_ui {
namespace {

constexpr int kDots = 5;
constexpr int kFrames = 8;
constexpr int kCodeSize = 4;          // bits of a pixel: 16 colours
constexpr unsigned kTransparent = 0;  // colour index of the ground
constexpr unsigned kShades = (1u << kCodeSize) - 1;

void append_u16(std::string& out, unsigned value) {
  out += static_cast<char>(value & 0xFF);
  out += static_cast<char>(value >> 8 & 0xFF);
}

// Packs codes of a fixed width, low bits first.
class BitWriter {
 public:
  void put(unsigned code, int bits) {
    buffer_ |= code << used_;
    for (used_ += bits; used_ >= 8; used_ -= 8, buffer_ >>= 8) flush_byte();
  }
  std::string finish() {
    if (used_ > 0) flush_byte();
    return std::move(bytes_);
  }

 private:
  void flush_byte() { bytes_ += static_cast<char>(buffer_ & 0xFF); }
  std::string bytes_;
  unsigned buffer_ = 0;
  int used_ = 0;
};

// The picture data of a frame. The code table is cleared before it grows to wider codes, so that
// every pixel is written as it is.
void append_pixels(std::string& out, const std::vector<unsigned char>& pixels) {
  constexpr unsigned kClear = 1u << kCodeSize;
  constexpr unsigned kEnd = kClear + 1;
  constexpr unsigned kPixelsPerTable = kClear - 3;
  BitWriter bits;
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    if (i % kPixelsPerTable == 0) bits.put(kClear, kCodeSize + 1);
    bits.put(pixels[i], kCodeSize + 1);
  }
  bits.put(kEnd, kCodeSize + 1);

  out += static_cast<char>(kCodeSize);
  const std::string data = bits.finish();
  for (std::size_t at = 0; at < data.size(); at += 255) {
    const std::string_view block = std::string_view(data).substr(at, 255);
    out += static_cast<char>(block.size());
    out += block;
  }
  out += '\0';
}

std::vector<unsigned char> draw_frame(int frame, int width, int height) {
  std::vector<unsigned char> pixels(static_cast<std::size_t>(width) * height, kTransparent);
  const double pitch = static_cast<double>(width) / kDots;
  const double radius = std::min(pitch * 0.32, height * 0.32);
  for (int dot = 0; dot < kDots; ++dot) {
    // The light goes from left to right and leaves a tail behind it.
    const int age = (frame - dot + kFrames) % kFrames;
    const auto shade =
        static_cast<unsigned char>(1 + (kShades - 1) * (kFrames - 1 - age) / (kFrames - 1));
    const double centre_x = pitch * (dot + 0.5);
    const double centre_y = height / 2.0;
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        if (std::hypot(x + 0.5 - centre_x, y + 0.5 - centre_y) <= radius) {
          pixels[static_cast<std::size_t>(y) * width + x] = shade;
        }
      }
    }
  }
  return pixels;
}

}  // namespace

std::string progress_animation(std::uint16_t width, std::uint16_t height, Colour dim, Colour lit) {
  std::string gif = "GIF89a";
  append_u16(gif, width);
  append_u16(gif, height);
  gif += static_cast<char>(0x80 | (kCodeSize - 1) << 4 | (kCodeSize - 1));  // a global colour table
  gif += '\0';
  gif += '\0';
  gif += std::string(3, '\0');  // the transparent colour
  for (unsigned shade = 0; shade < kShades; ++shade) {
    const auto blend = [shade](std::uint8_t from, std::uint8_t to) {
      return static_cast<char>(from + (to - from) * static_cast<int>(shade) /
                                          static_cast<int>(kShades - 1));
    };
    gif += blend(dim.red, lit.red);
    gif += blend(dim.green, lit.green);
    gif += blend(dim.blue, lit.blue);
  }
  gif += std::string_view("\x21\xFF\x0BNETSCAPE2.0\x03\x01\0\0\0", 19);  // repeat for ever

  for (int frame = 0; frame < kFrames; ++frame) {
    // Restore to the ground afterwards; colour 0 is transparent. Delays are in 1/100 s.
    gif += std::string_view("\x21\xF9\x04\x09", 4);
    append_u16(gif, kProgressFrameMilliseconds / 10);
    gif += static_cast<char>(kTransparent);
    gif += '\0';
    gif += '\x2C';
    gif += std::string(4, '\0');  // left and top edge
    append_u16(gif, width);
    append_u16(gif, height);
    gif += '\0';
    append_pixels(gif, draw_frame(frame, width, height));
  }
  gif += '\x3B';
  return gif;
}

}  // namespace zendro::packages_ui
