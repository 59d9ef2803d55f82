#include "packages_ui/selection/window_state.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "framework/system/files.h"
#include "framework/text/json.h"

namespace zendro::packages_ui {
namespace {

namespace json = framework::json;

constexpr std::uint64_t kFileLimit = 64 << 10;
// A larger number is a sign of a damaged file.
constexpr int kLargestNumber = 100'000;

// Throws JsonError.
int number(const json::object& object, std::string_view name, int lowest) {
  const json::value* value = object.if_contains(name);
  if (value == nullptr) throw framework::JsonError("missing");
  const std::int64_t number = framework::as_integer(*value);
  if (number < lowest || number > kLargestNumber) throw framework::JsonError("out of range");
  return static_cast<int>(number);
}

// Throws JsonError.
WindowState state_of(const json::value& document) {
  const json::object& object = framework::as_map(document);
  WindowState state;
  state.x = number(object, "x", -kLargestNumber);
  state.y = number(object, "y", -kLargestNumber);
  state.size = {number(object, "width", 1), number(object, "height", 1)};
  if (const json::value* maximised = object.if_contains("maximised")) {
    state.maximised = framework::to_bool(*maximised);
  }
  if (const json::value* columns = object.if_contains("columns")) {
    for (const json::value& column : framework::as_array(*columns)) {
      const std::int64_t width = framework::as_integer(column);
      if (width < 1 || width > kLargestNumber) throw framework::JsonError("out of range");
      state.columns.push_back(static_cast<int>(width));
    }
  }
  return state;
}

std::int64_t common_area(const Area& one, const Area& other) {
  const int width = std::min(one.x + one.width, other.x + other.width) - std::max(one.x, other.x);
  const int height =
      std::min(one.y + one.height, other.y + other.height) - std::max(one.y, other.y);
  return width > 0 && height > 0 ? std::int64_t{width} * height : 0;
}

}  // namespace

std::optional<WindowState> read_window_state(const std::filesystem::path& file) {
  const framework::Result<std::string> text = framework::read_file(file, kFileLimit);
  if (!text) return std::nullopt;
  const framework::ParsedJson document = framework::parse_json(*text);
  if (!document) return std::nullopt;
  try {
    return state_of(*document);
  } catch (const framework::JsonError&) {
    return std::nullopt;
  }
}

bool write_window_state(const std::filesystem::path& file, const WindowState& state) {
  json::array columns;
  for (const int width : state.columns) columns.emplace_back(width);
  const json::object object = {{"x", state.x},
                               {"y", state.y},
                               {"width", state.size.width},
                               {"height", state.size.height},
                               {"maximised", state.maximised},
                               {"columns", std::move(columns)}};
  std::string text;
  framework::JsonWriter(text).append(object);
  text += '\n';
  return framework::create_folders(file.parent_path()) && framework::write_file(file, text);
}

Area fitted(const Area& wanted, std::span<const Area> screens) {
  const Area& screen = *std::max_element(
      screens.begin(), screens.end(), [&wanted](const Area& one, const Area& other) {
        return common_area(wanted, one) < common_area(wanted, other);
      });
  Area area = wanted;
  area.width = std::min(area.width, screen.width);
  area.height = std::min(area.height, screen.height);
  area.x = std::clamp(area.x, screen.x, screen.x + screen.width - area.width);
  area.y = std::clamp(area.y, screen.y, screen.y + screen.height - area.height);
  return area;
}

Extent reduced_part(const Extent& part, const Extent& form, const Extent& room,
                    const Extent& least) {
  const auto reduced = [](int size, int whole, int available, int lowest) {
    return std::max(size - std::max(whole - available, 0), std::min(size, lowest));
  };
  return {reduced(part.width, form.width, room.width, least.width),
          reduced(part.height, form.height, room.height, least.height)};
}

}  // namespace zendro::packages_ui
