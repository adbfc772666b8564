#pragma once
// SelectItem: the modal "Select Item" panel of an item chooser. It lists the host's items of
// one type, in the host's order or by name, and keeps what the user picks until OK gives it
// back to the chooser; Cancel leaves the chooser as it was.
//
// The two order radios: "SORT" orders the list (objects, lights, cameras, and the objects
// under which bones are listed), "SORTB" orders the bones within their object, and is
// enabled only while bones are shown. Both are remembered for the module's life, so the
// panel opens in the order the user last chose. What is picked of one type stays picked
// while another type is shown, so a chooser of several items may take items of every type.
#include <cstdint>

#include <lwrender.h>

#include "toolkit/item_chooser.h"
#include "toolkit/list_box.h"
#include "toolkit/panel.h"
#include "toolkit/radio.h"
#include "toolkit/text_control.h"

inline constexpr char kSelectItemTitle[] = "Select Item";
inline constexpr int32_t kSelectItemTypeCount = 4;  // "Objects", "Lights", "Bones", "Cameras"
inline constexpr int32_t kSelectItemOrderHost = 0;  // "LightWave Order"
inline constexpr int32_t kSelectItemOrderName = 1;  // "Sorted By Name"

struct SelectItem {
  Panel* panel;
  ItemChooserControl* chooser;
  RadioControl* type;       // "TYPE", in the order of its items, not of LWI_*
  ButtonControl* clear;     // "CLEARBUTTON"
  RadioControl* sort;       // "SORT"
  RadioControl* sortBones;  // "SORTB"
  TextControl* counts[kSelectItemTypeCount];  // "OTEXT", "LTEXT", "BTEXT", "CTEXT"
  ListBoxControl* list;     // "ITEMLB"
  int32_t shownType;        // LWI_*
  LWItemID* rows;           // tracked: the item of each row of the list
  int32_t rowCount, rowRoom;
  LWItemID* chosen;         // tracked: what the user picked, in the order picked
  int32_t chosenCount, chosenRoom;
};

// The panel over the chooser's items, built but not open: the chooser's items are picked,
// and the list shows the type of the first of them (or the first type the chooser offers).
// Null when memory runs out.
SelectItem* selectItemCreate(ItemChooserControl* chooser);
// Lists the items of a type (LWI_*) in the order the radios say; the picked ones are selected.
void selectItemShow(SelectItem* select, int32_t type);
// The chooser takes what was picked (after OK).
void selectItemGiveBack(SelectItem* select);
// Destroys the panel (closed first, if open) and frees the record. Null is accepted.
void selectItemDestroy(SelectItem* select);
