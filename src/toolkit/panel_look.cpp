// The panel's colours from the host, and the frame, text and fill routines all controls share.
#include "toolkit/panel_look.h"

#include "toolkit/panel.h"

namespace {

// Greys close to the host's own, for a look made before the host has answered.
constexpr WindowColour kDefaultColours[kPanelColourCount] = {
    0x8C8C8C,  // background
    0xA5A5A5,  // face
    0xD2D2D2,  // light
    0x6A6A6A,  // shadow
    0x3A3A3A,  // dark
    0x000000,  // text
    0x5E5E5E,  // disabled text
    0xE8C040,  // highlight
    0x000000,  // highlight text
    0xC8C8C8,  // edit
    0x7E7E7E,  // inset
};
static_assert(kPanelColourCount == LWHOSTCOLOUR_COUNT, "the panel's colours follow the host's table");

}  // namespace

void PanelLook_Default(PanelLook* look) {
  for (int i = 0; i < kPanelColourCount; ++i) look->colours[i] = kDefaultColours[i];
}

int32_t PanelLook_FromHost(PanelLook* look, const HostDisplayInfo* info) {
  PanelLook_Default(look);
  if (!info) return 2;
  if (!info->colours || info->colourCount < LWHOSTCOLOUR_COUNT) return 3;
  for (int i = 0; i < kPanelColourCount; ++i) look->colours[i] = info->colours[i] & 0xFFFFFFu;
  return 0;
}

WindowColour panelColour(const Panel* panel, PanelColour which) {
  if (which < 0 || which >= kPanelColourCount) return 0;
  return panel ? panel->look.colours[which] : kDefaultColours[which];
}

void panelDrawFrame(Panel* panel, const WindowRect& area, bool raised, int64_t fill) {
  if (!panel || !panel->window || area.right <= area.left || area.bottom <= area.top) return;
  PlatformWindow* w = panel->window;
  if (fill >= 0) windowFillRect(w, area, WindowColour(fill));
  const int32_t l = area.left, t = area.top, r = area.right - 1, b = area.bottom - 1;
  const WindowColour lit = panelColour(panel, kColourLight), shade = panelColour(panel, kColourShadow),
                     dark = panelColour(panel, kColourDark);
  const WindowColour upperLeft = raised ? lit : dark, lowerRight = raised ? dark : lit;
  windowLine(w, l, t, r, t, upperLeft);
  windowLine(w, l, t, l, b, upperLeft);
  windowLine(w, l, b, r, b, lowerRight);
  windowLine(w, r, t, r, b, lowerRight);
  // A second, softer edge inside gives depth without a heavy outline.
  if (r - l > 3 && b - t > 3) {
    windowLine(w, l + 1, b - 1, r - 1, b - 1, raised ? shade : panelColour(panel, kColourFace));
    windowLine(w, r - 1, t + 1, r - 1, b - 1, raised ? shade : panelColour(panel, kColourFace));
    if (!raised) {
      windowLine(w, l + 1, t + 1, r - 1, t + 1, shade);
      windowLine(w, l + 1, t + 1, l + 1, b - 1, shade);
    }
  }
}

void panelDrawText(Panel* panel, WindowFont font, int32_t x, int32_t y, const char* text, bool disabled,
                   const WindowRect& clip) {
  if (!panel || !panel->window || !text) return;
  windowText(panel->window, font, x, y, text, panelColour(panel, disabled ? kColourTextDisabled : kColourText), clip);
}

void panelClear(Panel* panel, const WindowRect& area) {
  if (!panel || !panel->window) return;
  windowFillRect(panel->window, area, panelColour(panel, kColourBackground));
}
