#pragma once
// EditField: one line of text that the user types into, the toolkit's stand-in for a native
// edit box. It is a part of the control that owns it, not a control of its own: the owner
// places it, paints it and hands it its presses; the panel hands it the keys while it holds
// the keyboard (Panel::keyboard), and tells the owner when it loses it. `caret` and `anchor`
// are byte offsets into `text` and always stand on character boundaries; the selection is
// what lies between them.
#include <cstddef>
#include <cstdint>

#include "platform/window.h"

struct Panel;
struct PanelControl;

inline constexpr size_t kEditFieldSize = 256;

// Why the field's owner is told (EditField::onCommit).
enum EditCommit : int32_t {
  kEditCommitReturn = 0,  // return or enter: the keyboard stays
  kEditCommitBlur = 1,    // the keyboard went elsewhere (a press outside, tab, the panel closing)
  kEditCommitCancel = 2,  // escape: the owner shows its value again; the keyboard goes
};

struct EditField {
  char text[kEditFieldSize];
  int32_t caret, anchor;
  int32_t scroll;        // pixels of text hidden at the left, so the caret stays in view
  int32_t maxLength;     // characters accepted; at most kEditFieldSize - 1
  WindowRect area;       // where the owner placed it, in the panel; left -1 while not shown
  int32_t selecting;     // the left button went down in the field and is held
  int32_t disabled;
  int32_t modified;      // typed into since the text was last set
  PanelControl* owner;
  void (*onCommit)(PanelControl* owner, int32_t reason);
};

void EditField_Init(EditField* field, PanelControl* owner, int32_t maxLength,
                    void (*onCommit)(PanelControl* owner, int32_t reason));
// Replaces the text (cut to maxLength); caret at the end, nothing selected.
void EditField_SetText(EditField* field, const char* text);
void EditField_SelectAll(EditField* field);

// Draws the field at its area: frame, text, and the selection and caret while `focused`.
void EditField_Paint(EditField* field, Panel* panel, bool focused);

// A key while the field holds the keyboard. True when the field used it; return, escape and
// tab reach the owner through onCommit (tab after the panel moved the keyboard on).
bool EditField_Key(EditField* field, Panel* panel, const WindowMessage& message);
// A press, a move with the button held, or a release, inside or (while selecting) outside the
// field. True when the field used it.
bool EditField_Mouse(EditField* field, Panel* panel, const WindowMessage& message);

// ---- The panel's keyboard ----

// Gives the keyboard to `field` (null: to nobody). The field that had it is told
// kEditCommitBlur first. Panel thread only.
void panelSetKeyboard(Panel* panel, EditField* field);
// Moves the keyboard to the next (or previous) control of the panel that can take it (has a
// `focus` operation and is enabled and shown), going round; the field that had it is told.
void panelKeyboardNext(Panel* panel, bool backwards);
// Whether `field` holds its panel's keyboard.
bool editFieldFocused(const EditField* field, const Panel* panel);
