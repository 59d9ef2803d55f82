#include "packages_ui/pictures.h"

#include "packages_ui/embedded_files.h"

namespace zendro::packages_ui {

wxBitmapBundle picture(std::string_view name, int size) {
  const auto bytes = embedded_file(name);
  return wxBitmapBundle::FromSVG(bytes.data(), bytes.size(), wxSize(size, size));
}

wxIconBundle program_icons() {
  constexpr int kWindowIconSize = 32;  // in device-independent pixels
  const wxBitmapBundle drawing = picture("PackageManager_cmd", kWindowIconSize);
  wxIconBundle icons;
  for (const int size : {16, 20, 24, 32, 40, 48, 64}) {
    icons.AddIcon(drawing.GetIcon(wxSize(size, size)));
  }
  return icons;
}

}  // namespace zendro::packages_ui
