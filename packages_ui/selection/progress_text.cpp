#include "packages_ui/selection/progress_text.h"

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace zendro::packages_ui {
namespace {

struct Unit {
  std::uint64_t bytes;
  std::wstring_view name;
};

constexpr std::array kUnits = {Unit{1, L"bytes"}, Unit{1'000, L"kB"}, Unit{1'000'000, L"MB"},
                               Unit{1'000'000'000, L"GB"}};

// Tenths of the unit, rounded.
std::uint64_t tenths_of(std::uint64_t bytes, const Unit& unit) {
  const std::uint64_t tenth = unit.bytes / 10;
  return bytes / tenth + (bytes % tenth * 2 >= tenth ? 1 : 0);
}

// The smallest unit in which the rounded number is below 1,000.
const Unit& unit_for(std::uint64_t bytes) {
  if (bytes < 1'000) return kUnits.front();
  for (const Unit& unit : std::span(kUnits).subspan(1)) {
    if (tenths_of(bytes, unit) < 10'000) return unit;
  }
  return kUnits.back();
}

std::wstring amount(std::uint64_t bytes, const Unit& unit) {
  if (unit.bytes == 1) return std::to_wstring(bytes);
  const std::uint64_t tenths = tenths_of(bytes, unit);
  return std::to_wstring(tenths / 10) + L'.' + std::to_wstring(tenths % 10);
}

std::wstring bytes_text(const pkg::progress_t& progress) {
  if (progress.bytes_done == 0) return {};
  // A size that has been exceeded was wrong, and is left out.
  const bool sized = progress.bytes && *progress.bytes >= progress.bytes_done;
  const Unit& unit = unit_for(sized ? *progress.bytes : progress.bytes_done);
  std::wstring text = amount(progress.bytes_done, unit);
  if (sized) text += L" of " + amount(*progress.bytes, unit);
  return text.append(L" ").append(unit.name);
}

}  // namespace

std::wstring progress_text(const pkg::progress_t& progress) {
  std::wstring text;
  if (progress.members > 0) {
    text = std::to_wstring(progress.members_done) + L" of " + std::to_wstring(progress.members) +
           (progress.members == 1 ? L" file" : L" files");
  }
  const std::wstring bytes = bytes_text(progress);
  if (!text.empty() && !bytes.empty()) text += L", ";
  return text + bytes;
}

}  // namespace zendro::packages_ui
