// The size, place and columns that a window had when it was closed: read from and written to a file
// of the user, and fitted to the screens at hand. Free of any window.
//
// If the file is missing or damaged, the window opens with its initial size and place.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <vector>

namespace zendro::packages_ui {

struct Area {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  friend bool operator==(const Area&, const Area&) = default;
};

struct Extent {
  int width = 0;
  int height = 0;
  friend bool operator==(const Extent&, const Extent&) = default;
};

struct WindowState {
  int x = 0;  ///< of the upper left corner, in pixels of the desktop
  int y = 0;
  Extent size;  ///< in device-independent pixels, as are the columns
  bool maximised = false;
  std::vector<int> columns;  ///< widths, from the first one on
  friend bool operator==(const WindowState&, const WindowState&) = default;
};

/// Nothing where the file does not exist or is not what write_window_state() writes.
std::optional<WindowState> read_window_state(const std::filesystem::path& file);
/// Creates the folder of the file where it is missing. False when the state could not be kept.
bool write_window_state(const std::filesystem::path& file, const WindowState& state);

/// Moves the area into the screen of which it covers most, or into the first screen if it is on
/// none, and cuts what is larger than the screen. `screens` is not empty.
Area fitted(const Area& wanted, std::span<const Area> screens);

/// The smallest size for a part of a form: `part`, reduced by as much as `form`, the smallest size
/// of the whole form, exceeds `room`, but to no less than `least`.
Extent reduced_part(const Extent& part, const Extent& form, const Extent& room,
                    const Extent& least);

}  // namespace zendro::packages_ui
