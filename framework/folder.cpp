#include "framework/folder.h"

#include <array>

#include "framework/utf8.h"

namespace zendro::framework {
namespace {

// Names that Windows gives to devices in every folder, with or without an extension.
bool is_device_name(std::string_view name) {
  std::string base(name.substr(0, name.find('.')));
  while (base.ends_with(' ')) base.pop_back();
  for (char& c : base) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  constexpr std::array<std::string_view, 6> kNames = {"CON", "PRN",    "AUX",
                                                      "NUL", "CONIN$", "CONOUT$"};
  for (const std::string_view device : kNames) {
    if (base == device) return true;
  }
  if (!base.starts_with("COM") && !base.starts_with("LPT")) return false;
  const std::string_view number = std::string_view(base).substr(3);
  if (number.size() == 1) return number[0] >= '1' && number[0] <= '9';
  return number == "\u00B9" || number == "\u00B2" || number == "\u00B3";
}

}  // namespace

bool is_plain_name(std::string_view name) {
  constexpr std::size_t kLongestName = 255;
  constexpr std::string_view kRefused = "/\\:*?\"<>|";
  if (name.empty() || name.size() > kLongestName) return false;
  if (name.ends_with('.') || name.ends_with(' ')) return false;  // "." and ".." among them
  for (std::size_t i = 0; i < name.size();) {
    char32_t character = 0;
    const std::size_t length = decode_utf8(name.substr(i), character);
    if (length == 0) return false;
    if (character < 0x20 || (character >= 0x7F && character <= 0x9F)) return false;
    if (length == 1 && kRefused.find(name[i]) != std::string_view::npos) return false;
    i += length;
  }
  return !is_device_name(name);
}

}  // namespace zendro::framework
