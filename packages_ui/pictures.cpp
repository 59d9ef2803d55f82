#include "packages_ui/pictures.h"

#include <string>

#include <wx/mstream.h>
#include <wx/settings.h>

#include "packages_ui/embedded_files.h"
#include "packages_ui/progress_animation.h"

namespace zendro::packages_ui {
namespace {

Colour system_colour(wxSystemColour index) {
  const wxColour colour = wxSystemSettings::GetColour(index);
  return {colour.Red(), colour.Green(), colour.Blue()};
}

}  // namespace

wxBitmapBundle picture(std::string_view name, int size) {
  const auto bytes = embedded_file(name);
  return wxBitmapBundle::FromSVG(bytes.data(), bytes.size(), wxSize(size, size));
}

wxAnimation progress_picture(const wxAnimationCtrl& control, const wxSize& size) {
  const std::string gif = progress_animation(
      static_cast<std::uint16_t>(size.x), static_cast<std::uint16_t>(size.y),
      system_colour(wxSYS_COLOUR_BTNFACE), system_colour(wxSYS_COLOUR_HIGHLIGHT));
  wxMemoryInputStream stream(gif.data(), gif.size());
  wxAnimation animation = control.CreateAnimation();
  animation.Load(stream, wxANIMATION_TYPE_GIF);
  return animation;
}

}  // namespace zendro::packages_ui
