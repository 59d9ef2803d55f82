#include "packages_ui/window_placement.h"

#include <algorithm>
#include <vector>

#include <wx/display.h>
#include <wx/sizer.h>

namespace zendro::packages_ui {
namespace {

// In device-independent pixels.
constexpr int kLeastWidth = 300;
constexpr int kLeastHeight = 120;
constexpr int kCaptionHeight =
    40;  // the title bar, whose height is not known before the window is shown

std::vector<Area> screens() {
  std::vector<Area> areas;
  for (unsigned index = 0; index < wxDisplay::GetCount(); ++index) {
    const wxRect area = wxDisplay(index).GetClientArea();
    areas.push_back({area.x, area.y, area.width, area.height});
  }
  if (areas.empty()) areas.push_back({0, 0, kLeastWidth, kLeastHeight});
  return areas;
}

Extent extent(const wxSize& size) { return {size.x, size.y}; }

}  // namespace

void set_smallest_size(wxTopLevelWindow& window, wxWindow* part) {
  wxSize room = wxDisplay(&window).GetClientArea().GetSize();
  room.DecBy(0, window.FromDIP(kCaptionHeight));
  wxSizerItem* item = window.GetSizer()->GetItem(part, true);
  const Extent reduced =
      reduced_part(extent(item->GetMinSize()), extent(window.GetSizer()->GetMinSize()),
                   extent(room), extent(window.FromDIP(wxSize(kLeastWidth, kLeastHeight))));
  item->SetMinSize(wxSize(reduced.width, reduced.height));
  window.GetSizer()->SetSizeHints(&window);
}

void place_window(wxTopLevelWindow& window, wxDataViewCtrl& grid,
                  const std::optional<WindowState>& state, const wxSize& initial) {
  const wxSize size =
      window.FromDIP(state ? wxSize(state->size.width, state->size.height) : initial);
  const wxRect screen = wxDisplay(&window).GetClientArea();
  Area wanted{screen.x + (screen.width - size.x) / 2, screen.y + (screen.height - size.y) / 2,
              size.x, size.y};
  if (state) {
    wanted.x = state->x;
    wanted.y = state->y;
  }
  const Area area = fitted(wanted, screens());
  window.SetSize(area.x, area.y, area.width, area.height);
  if (!state) return;
  const std::size_t columns = std::min<std::size_t>(state->columns.size(), grid.GetColumnCount());
  for (std::size_t index = 0; index < columns; ++index) {
    grid.GetColumn(static_cast<unsigned>(index))->SetWidth(grid.FromDIP(state->columns[index]));
  }
  if (state->maximised) window.Maximize();
}

WindowState current_window_state(const wxTopLevelWindow& window, const wxDataViewCtrl& grid,
                                 const std::optional<WindowState>& before) {
  WindowState state;
  const wxSize size = window.ToDIP(window.GetSize());
  state.x = window.GetPosition().x;
  state.y = window.GetPosition().y;
  state.size = extent(size);
  state.maximised = window.IsMaximized();
  if (state.maximised && before) {
    state.x = before->x;
    state.y = before->y;
    state.size = before->size;
  }
  int right_edge = 0;
  for (unsigned index = 0; index < grid.GetColumnCount(); ++index) {
    const int width = grid.GetColumn(index)->GetWidth();
    right_edge += width;
    // The last column takes the room that is left, unless the user has made it wider than that.
    const bool last = index + 1 == grid.GetColumnCount();
    if (last && right_edge <= grid.GetClientSize().x) break;
    state.columns.push_back(std::max(1, grid.ToDIP(width)));
  }
  return state;
}

}  // namespace zendro::packages_ui
