#pragma once
// PanelLook: the pens and brushes of a panel, taken from the host's colours through "Host
// Display Info" so that panels follow the host's look, and the drawing routines every
// control shares (frames, faces, greyed text). Drawing goes through the panel's window and
// does nothing headless.
#include <cstdint>

#include <lwhost.h>

#include "platform/window.h"

struct Panel;

// The colours a panel draws with, in the order of the host's table (LWHOSTCOLOUR_*).
enum PanelColour : int32_t {
  kColourBackground = 0,  // the panel's fill
  kColourFace,            // a button's face
  kColourLight,           // the lit edge of a raised frame
  kColourShadow,          // the shaded edge
  kColourDark,            // the outer dark edge
  kColourText,
  kColourTextDisabled,
  kColourHighlight,       // a lit button, a selected row
  kColourHighlightText,
  kColourEdit,            // the inside of fields and lists
  kColourInset,           // the recessed area of a panel with a parent
  kPanelColourCount
};

struct PanelLook {
  WindowColour colours[kPanelColourCount];
};

// The look from the host's display info. 0, or 2 when the record is missing ("Error B") and
// 3 when it cannot be used ("Error C").
int32_t PanelLook_FromHost(PanelLook* look, const HostDisplayInfo* info);
// A look of fixed greys, for panels made before the host answers.
void PanelLook_Default(PanelLook* look);

WindowColour panelColour(const Panel* panel, PanelColour which);

// A frame around `area`, raised (light above and left) or lowered, filled with `fill`
// unless fill is negative.
void panelDrawFrame(Panel* panel, const WindowRect& area, bool raised, int64_t fill);
// Text in the panel's font, greyed when disabled, clipped to `clip`.
void panelDrawText(Panel* panel, WindowFont font, int32_t x, int32_t y, const char* text, bool disabled,
                   const WindowRect& clip);
// Fills with the panel's background.
void panelClear(Panel* panel, const WindowRect& area);
