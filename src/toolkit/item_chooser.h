#pragma once
// ItemChooserControl: host items chosen by the user, shown as one line of text with a button
// "%s_button" beside it that opens Select Item. Saved as item lines by name, copy number and
// ordinal, never by id: ids differ from session to session, so a loaded chooser holds names
// only until `afterLoad` finds their items, and a name the scene lacks becomes "(none)".
#include <cstdint>

#include "toolkit/button.h"
#include "toolkit/item_names.h"
#include "toolkit/panel_control.h"
#include "toolkit/text_control.h"

inline constexpr int32_t kItemChooserWidth = 150;
inline constexpr int32_t kItemChooserHeight = 18;
inline constexpr int32_t kItemChooserButtonWidth = 20;
inline constexpr char kItemChooserButtonText[] = "...";
inline constexpr char kItemChooserNumber[] = "%ld: ";  // before each name where several are allowed

// Which types a chooser offers, as bits 1 << LWI_*.
inline constexpr uint32_t kItemTypesAll = (1u << LWI_OBJECT) | (1u << LWI_LIGHT) | (1u << LWI_CAMERA) | (1u << LWI_BONE);
inline constexpr uint32_t itemTypeBit(int32_t type) { return type >= 0 && type < 32 ? 1u << type : 0u; }

// One chosen item; for a bone, `parent` names its object.
struct ItemSlot : ItemName {
  ItemName parent;
};

struct ItemChooserControl : PanelControl {
  // x, y, width (with the button), height: of PanelControl
  ControlCallback onChange;  // the user chose items with Select Item
  int32_t count;
  ItemSlot* slots;           // tracked, `count` of them
  int32_t room;              // slots allocated
  int32_t multiple;          // several items may be chosen
  uint32_t types;            // what Select Item offers
  char emptyText[32];        // shown when nothing is chosen: "(none)" unless the owner says otherwise
  char label[256];           // text left of the chooser, drawn by a label control "%s_label"
  PanelControl* labelControl;
  ButtonControl* button;     // "%s_button"
  char shownText[kTextSize];
};

// A chooser of `width` (the button included), holding one item, or several with `multiple`.
// Saved. Null when memory runs out.
ItemChooserControl* itemChooserCreate(const char* name, int32_t x, int32_t y, Panel* panel,
                                      int32_t width = kItemChooserWidth, bool multiple = false,
                                      uint32_t types = kItemTypesAll);

// Chooses these host items (one at most for a single chooser), named from the host, and
// redraws; onChange is not run. False when memory runs out (the old items stay).
bool itemChooserSet(ItemChooserControl* chooser, const LWItemID* items, int32_t count);
// The index-th item, or null (past the end, or a name not found).
LWItemID itemChooserItem(const ItemChooserControl* chooser, int32_t index);
// The line as shown: the names, numbered where several are allowed, or the empty text.
void itemChooserText(const ItemChooserControl* chooser, char* out, size_t size);
// Opens Select Item over the chooser's panel (the button does this); kPanelResultOk when the
// user chose, after which onChange has run.
int32_t itemChooserSelect(ItemChooserControl* chooser);
