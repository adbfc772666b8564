#pragma once
// The standard frame of a panel: the controls every panel gets at its first drawing (title,
// separators, inset, the close, cancel, save and load buttons, the title image and the paste
// buffer's sign), fitted to the panel's size.
#include "toolkit/panel.h"

// Builds each control of the frame that the panel's options call for and that does not exist
// yet. Null-safe against failed allocations: what could not be made is left out.
void panelFrameBuild(Panel* panel);
// Places the frame's controls for the panel's current size.
void panelFrameFit(Panel* panel);

// The top and bottom of the area the frame leaves to the panel's own controls.
int32_t panelFrameTop(const Panel* panel);
int32_t panelFrameBottom(const Panel* panel);
