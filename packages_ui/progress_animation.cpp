#include "packages_ui/progress_animation.h"

#include <algorithm>
#include <array>
#include <cmath>

#include <wx/anidecod.h>  // declares wxImageArray
#include <wx/image.h>
#include <wx/imaggif.h>
#include <wx/mstream.h>
#include <wx/palette.h>
#include <wx/settings.h>

namespace zendro::packages_ui {
namespace {

constexpr int kDots = 5;
constexpr int kFrames = 8;
constexpr int kFrameMilliseconds = 100;
constexpr int kShades = 15;

struct Colour {
  unsigned char red;
  unsigned char green;
  unsigned char blue;
};

using Shades = std::array<Colour, kShades>;

// The colours of the dots, from a dark one to a lit one.
Shades shades_between(const wxColour& dark, const wxColour& lit) {
  Shades shades = {};
  for (int shade = 0; shade < kShades; ++shade) {
    const auto blend = [shade](unsigned char from, unsigned char to) {
      return static_cast<unsigned char>(from + (to - from) * shade / (kShades - 1));
    };
    shades[static_cast<std::size_t>(shade)] = {blend(dark.Red(), lit.Red()),
                                               blend(dark.Green(), lit.Green()),
                                               blend(dark.Blue(), lit.Blue())};
  }
  return shades;
}

// A colour that no shade has, which stands for the transparent ground.
Colour ground_beside(const Shades& shades) {
  Colour ground = {};
  const auto has_its_red = [&ground](const Colour& shade) { return shade.red == ground.red; };
  while (std::any_of(shades.begin(), shades.end(), has_its_red)) ++ground.red;
  return ground;
}

// A GIF has few colours, and needs a table of them.
wxPalette palette_of(const Shades& shades, const Colour& ground) {
  std::array<unsigned char, kShades + 1> red = {ground.red};
  std::array<unsigned char, kShades + 1> green = {ground.green};
  std::array<unsigned char, kShades + 1> blue = {ground.blue};
  for (std::size_t shade = 0; shade < kShades; ++shade) {
    red[shade + 1] = shades[shade].red;
    green[shade + 1] = shades[shade].green;
    blue[shade + 1] = shades[shade].blue;
  }
  return {static_cast<int>(red.size()), red.data(), green.data(), blue.data()};
}

void draw_dot(wxImage& image, const wxRealPoint& centre, double radius, const Colour& colour) {
  for (int y = 0; y < image.GetHeight(); ++y) {
    for (int x = 0; x < image.GetWidth(); ++x) {
      if (std::hypot(x + 0.5 - centre.x, y + 0.5 - centre.y) <= radius) {
        image.SetRGB(x, y, colour.red, colour.green, colour.blue);
      }
    }
  }
}

// The light goes from left to right and leaves a tail behind it.
void draw_dots(wxImage& image, int frame, const Shades& shades) {
  const double pitch = static_cast<double>(image.GetWidth()) / kDots;
  const double radius = std::min(pitch * 0.32, image.GetHeight() * 0.32);
  for (int dot = 0; dot < kDots; ++dot) {
    const int frames_since_lit = (frame - dot + kFrames) % kFrames;
    const int shade = (kShades - 1) * (kFrames - 1 - frames_since_lit) / (kFrames - 1);
    draw_dot(image, wxRealPoint(pitch * (dot + 0.5), image.GetHeight() / 2.0), radius,
             shades[static_cast<std::size_t>(shade)]);
  }
}

wxImageArray draw_frames(const wxSize& size, const wxColour& dark, const wxColour& lit) {
  const Shades shades = shades_between(dark, lit);
  const Colour ground = ground_beside(shades);
  const wxPalette palette = palette_of(shades, ground);
  wxImageArray frames;
  for (int frame = 0; frame < kFrames; ++frame) {
    wxImage image(size);
    image.SetRGB(wxRect(size), ground.red, ground.green, ground.blue);
    image.SetMaskColour(ground.red, ground.green, ground.blue);
    image.SetPalette(palette);
    draw_dots(image, frame, shades);
    frames.Add(image);
  }
  return frames;
}

}  // namespace

wxAnimation progress_animation(const wxAnimationCtrl& control, const wxSize& size) {
  const wxImageArray frames = draw_frames(size, wxSystemSettings::GetColour(wxSYS_COLOUR_BTNFACE),
                                          wxSystemSettings::GetColour(wxSYS_COLOUR_HIGHLIGHT));
  // The toolkit takes an animation only as a file.
  wxMemoryOutputStream gif;
  wxGIFHandler().SaveAnimation(frames, &gif, false, kFrameMilliseconds);
  wxMemoryInputStream stream(gif);
  wxAnimation animation = control.CreateAnimation();
  animation.Load(stream, wxANIMATION_TYPE_GIF);
  return animation;
}

}  // namespace zendro::packages_ui
