// ItemChooserControl: the chosen items, their line of text and the button that opens Select
// Item, and how they survive a save, a load and the host's renumbering of its items. Slots
// hold names as well as ids, so that what was loaded stays meaningful until the scene has the
// items, and what is saved never depends on an id.
#include "toolkit/item_chooser.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "runtime/memory.h"
#include "toolkit/control_draw.h"
#include "toolkit/instance_text.h"
#include "toolkit/panel.h"
#include "toolkit/select_item.h"

namespace {

constexpr int32_t kTextPad = 4;   // the text inside the field's frame
constexpr int32_t kButtonGap = 2; // between the field and its button
constexpr int32_t kLabelGap = 4;  // between a label's end and the field
constexpr char kSeparator[] = ", ";

bool isNone(const ItemName& name) { return !name.item && std::strcmp(name.name, kItemNone) == 0; }

// Room for `count` slots, the ones held kept; false when memory runs out.
bool reserveSlots(ItemChooserControl* chooser, int32_t count) {
  if (count <= chooser->room) return true;
  void* grown = memRealloc(chooser->slots, size_t(count) * sizeof(ItemSlot));
  if (!grown) return false;
  chooser->slots = static_cast<ItemSlot*>(grown);
  chooser->room = count;
  return true;
}

void slotFromItem(ItemSlot* slot, LWItemID item) {
  ItemName_FromItem(slot, item);
  if (slot->type == LWI_BONE)
    ItemName_FromItem(&slot->parent, itemBoneObject(item));
  else
    ItemName_Clear(&slot->parent);
}

void slotClear(ItemSlot* slot) {
  ItemName_Clear(slot);
  ItemName_Clear(&slot->parent);
}

// What the line shows for one slot: from the names it holds, so a slot that is only a name
// (just loaded) shows what it will look for.
void slotText(const ItemSlot& slot, const char* emptyText, char* out, size_t size) {
  if (isNone(slot)) {
    std::snprintf(out, size, "%s", emptyText);
  } else if (slot.type == LWI_BONE && !isNone(slot.parent)) {
    std::snprintf(out, size, kItemBoneOf, slot.name, slot.parent.name);
  } else if (slot.type == LWI_BONE) {
    std::snprintf(out, size, kItemMysteryBone, slot.name);
  } else {
    std::snprintf(out, size, "%s", slot.name);
  }
}

WindowRect fieldArea(const ItemChooserControl* chooser) {
  const WindowRect area = controlArea(chooser);
  const int32_t right = chooser->button ? area.right - kItemChooserButtonWidth - kButtonGap : area.right;
  return {area.left, area.top, right > area.left ? right : area.left, area.bottom};
}

void chooserLayout(ItemChooserControl* chooser) {
  itemChooserText(chooser, chooser->shownText, sizeof chooser->shownText);
  controlSetArea(chooser, {chooser->x, chooser->y, chooser->x + chooser->width, chooser->y + chooser->height});
  labelPlace(&chooser->labelControl, chooser, chooser->label, chooser->x - kLabelGap,
             chooser->y + (chooser->height - kTextHeight) / 2);
  if (ButtonControl* button = chooser->button) {
    button->x = chooser->x + chooser->width - kItemChooserButtonWidth;
    button->y = chooser->y;
    button->width = kItemChooserButtonWidth;
    button->height = chooser->height;
    button->disabled = chooser->disabled;
    controlHead(button)->visible = controlHead(chooser)->visible;
    ControlRedraw(button, kRedrawLayout);
  }
}

void chooserPaint(ItemChooserControl* chooser) {
  if (!controlDrawn(chooser)) return;
  Panel* panel = controlPanel(chooser);
  const WindowRect field = fieldArea(chooser);
  panelDrawFrame(panel, field, false, panelColour(panel, chooser->disabled ? kColourBackground : kColourEdit));
  const WindowRect inner{field.left + kTextPad, field.top + 2, field.right - kTextPad, field.bottom - 2};
  controlText(chooser, kFontNormal, inner.left, controlTextTop(chooser, kFontNormal, field.top, chooser->height),
              chooser->shownText, panelColour(panel, kColourText), inner);
}

// Passes a redraw on to what the chooser owns: its label and its button.
void redrawOwned(ItemChooserControl* chooser, int32_t flags) {
  if (chooser->labelControl) ControlRedraw(chooser->labelControl, flags);
  if (chooser->button) ControlRedraw(chooser->button, flags);
}

int32_t chooserDraw(PanelControl* control, int32_t flags) {
  auto* chooser = static_cast<ItemChooserControl*>(control);
  if (!controlHead(control)->visible) {
    controlTakeDown(control);
    for (PanelControl* owned : {chooser->labelControl, static_cast<PanelControl*>(chooser->button)})
      if (owned) controlHead(owned)->visible = 0;
    redrawOwned(chooser, kRedrawTakeDown | kRedrawTakeDownLabel);
    return 0;
  }
  if (flags & kRedrawTakeDown) controlTakeDown(control);
  if (flags & kRedrawTakeDownLabel) redrawOwned(chooser, kRedrawTakeDown | kRedrawTakeDownLabel);
  if (flags & kRedrawLayout) chooserLayout(chooser);
  if (flags & kRedrawPaintLabel) redrawOwned(chooser, kRedrawPaint | kRedrawPaintLabel);
  if (flags & kRedrawPaint) {
    chooserPaint(chooser);
    controlFlush(control);
  }
  return 0;
}

int32_t selectAnswer(ItemChooserControl* chooser) {
  return itemChooserSelect(chooser) == kPanelResultOk ? kMessageAfterEvent : 0;
}

int32_t chooserMessage(PanelControl* control) {
  auto* chooser = static_cast<ItemChooserControl*>(control);
  if (chooser->disabled) return 0;
  if (controlPaintWanted(control)) {
    chooserPaint(chooser);
    return 0;
  }
  // A click on the field itself opens Select Item, as the button does; the button's own
  // clicks are left to it.
  if (!controlPressed(control) || controlMessage(control)->x >= fieldArea(chooser).right) return 0;
  return kMessageStop | selectAnswer(chooser);
}

// The button's onChange: its chooser is the one that holds it.
int32_t buttonPressed(PanelControl* button) {
  Panel* panel = controlPanel(button);
  for (PanelControl* c = panel ? controlHead(panel)->next : nullptr; c; c = controlHead(c)->next) {
    if (controlHead(c)->kind != kControlKindItem) continue;
    auto* chooser = static_cast<ItemChooserControl*>(c);
    if (chooser->button == button) return selectAnswer(chooser);
  }
  return 0;
}

// The names as the host has them now (an item may have been renamed since it was chosen),
// without touching the slots: a save may come from the host's thread.
void currentName(const ItemSlot& slot, InstanceItemName* out, InstanceItemName* parent) {
  ItemSlot now = slot;
  if (slot.item && itemType(slot.item) == slot.type) slotFromItem(&now, slot.item);
  *out = InstanceItemName{now.type, now.copyNumber, now.ordinal, {}, parent};
  std::snprintf(out->name, sizeof out->name, "%s", now.name);
  *parent = InstanceItemName{LWI_OBJECT, now.parent.copyNumber, now.parent.ordinal, {}, nullptr};
  std::snprintf(parent->name, sizeof parent->name, "%s", now.parent.name);
  if (now.type == LWI_BONE && isNone(now.parent)) std::snprintf(out->name, sizeof out->name, "%s", kItemNone);
}

int32_t chooserSave(PanelControl* control, LWSaveState* state, int32_t indent) {
  auto* chooser = static_cast<ItemChooserControl*>(control);
  if (chooser->count <= 0) return 0;
  auto* names = static_cast<InstanceItemName*>(memAlloc(2 * size_t(chooser->count) * sizeof(InstanceItemName)));
  if (!names) return 0;
  InstanceItemName* parents = names + chooser->count;
  for (int32_t i = 0; i < chooser->count; ++i) currentName(chooser->slots[i], &names[i], &parents[i]);
  const int32_t written = instanceWriteItems(state, indent, controlName(control), names, chooser->count);
  memFree(names);
  return written;
}

void takeLoaded(void* data, const InstanceItemName* item) {
  auto* chooser = static_cast<ItemChooserControl*>(data);
  if (!chooser->multiple && chooser->count >= 1) return;
  if (item->type == LWI_BONE && !item->parent) return;
  if (!reserveSlots(chooser, chooser->count + 1)) return;
  ItemSlot& slot = chooser->slots[chooser->count++];
  slotClear(&slot);
  // Only the names for now: afterLoad finds the items once the scene has them.
  slot.type = item->type;
  slot.copyNumber = item->copyNumber;
  slot.ordinal = item->ordinal;
  std::snprintf(slot.name, sizeof slot.name, "%s", item->name);
  if (item->parent) {
    slot.parent.type = LWI_OBJECT;
    slot.parent.copyNumber = item->parent->copyNumber;
    slot.parent.ordinal = item->parent->ordinal;
    std::snprintf(slot.parent.name, sizeof slot.parent.name, "%s", item->parent->name);
  }
}

const char* chooserLoad(PanelControl* control, LWLoadState* state) {
  auto* chooser = static_cast<ItemChooserControl*>(control);
  chooser->count = 0;
  return instanceReadItems(state, takeLoaded, chooser);
}

// No drawing here: afterLoad may run on the host's thread before a save. The next layout
// shows the names found.
void chooserAfterLoad(PanelControl* control) {
  auto* chooser = static_cast<ItemChooserControl*>(control);
  for (int32_t i = 0; i < chooser->count; ++i) {
    ItemSlot& slot = chooser->slots[i];
    if (slot.item || isNone(slot)) continue;
    if (LWItemID found = ItemName_Find(&slot, &slot.parent))
      slotFromItem(&slot, found);
    else
      slotClear(&slot);  // an item of another scene: "(none)", and no word about it
  }
  itemChooserText(chooser, chooser->shownText, sizeof chooser->shownText);
}

int32_t chooserUseItems(PanelControl* control, LWItemID* list, int32_t room) {
  auto* chooser = static_cast<ItemChooserControl*>(control);
  int32_t added = 0;
  for (int32_t i = 0; i < chooser->count && added < room; ++i)
    if (chooser->slots[i].item) list[added++] = chooser->slots[i].item;
  return added;
}

// The new id for `item` from the table; `item` itself when the table doesn't name it.
// `named` says whether it did.
LWItemID changedId(const LWItemID* table, LWItemID item, bool* named) {
  *named = false;
  if (!item) return item;
  for (const LWItemID* pair = table; pair[0]; pair += 2) {
    if (pair[0] == item) {
      *named = true;
      return pair[1];
    }
  }
  return item;
}

void chooserChangeItems(PanelControl* control, const LWItemID* oldAndNew) {
  auto* chooser = static_cast<ItemChooserControl*>(control);
  if (!oldAndNew) return;
  for (int32_t i = 0; i < chooser->count; ++i) {
    ItemSlot& slot = chooser->slots[i];
    bool named = false, parentNamed = false;
    const LWItemID item = changedId(oldAndNew, slot.item, &named);
    const LWItemID parent = changedId(oldAndNew, slot.parent.item, &parentNamed);
    if ((named && !item) || (parentNamed && !parent)) {
      slotClear(&slot);  // deleted, or a bone whose object was deleted
      continue;
    }
    slot.item = item;
    slot.parent.item = parent;
    // The names stay what they were when the host can't tell about the new id yet.
    if (named && itemType(item) == slot.type) slotFromItem(&slot, item);
  }
  itemChooserText(chooser, chooser->shownText, sizeof chooser->shownText);
}

void chooserCopy(PanelControl* control, const PanelControl* other) {
  auto* chooser = static_cast<ItemChooserControl*>(control);
  const auto* from = static_cast<const ItemChooserControl*>(other);
  if (!reserveSlots(chooser, from->count)) return;
  if (from->count > 0) std::memcpy(chooser->slots, from->slots, size_t(from->count) * sizeof(ItemSlot));
  chooser->count = from->count;
}

void chooserDestroy(PanelControl* control) {
  auto* chooser = static_cast<ItemChooserControl*>(control);
  labelRemove(&chooser->labelControl);
  if (chooser->button) {
    ControlDestroy(chooser->button);
    chooser->button = nullptr;
  }
  memFree(chooser->slots);
  chooser->slots = nullptr;
  chooser->count = chooser->room = 0;
}

}  // namespace

ItemChooserControl* itemChooserCreate(const char* name, int32_t x, int32_t y, Panel* panel, int32_t width,
                                      bool multiple, uint32_t types) {
  auto* chooser = controlNew<ItemChooserControl>(panel, name);
  if (!chooser) return nullptr;
  PanelControlHead* head = controlHead(chooser);
  head->kind = kControlKindItem;
  head->saved = 1;
  head->ops.draw = chooserDraw;
  head->ops.takeDown = controlTakeDown;
  head->ops.save = chooserSave;
  head->ops.load = chooserLoad;
  head->ops.copy = chooserCopy;
  head->ops.reset = controlForgetArea;
  head->ops.destroy = chooserDestroy;
  head->ops.afterLoad = chooserAfterLoad;
  head->ops.useItems = chooserUseItems;
  head->ops.changeItems = chooserChangeItems;
  head->ops.message = chooserMessage;
  chooser->x = x;
  chooser->y = y;
  chooser->width = width > kItemChooserButtonWidth ? width : kItemChooserWidth;
  chooser->height = kItemChooserHeight;
  chooser->multiple = multiple ? 1 : 0;
  chooser->types = types & kItemTypesAll ? types & kItemTypesAll : kItemTypesAll;
  std::snprintf(chooser->emptyText, sizeof chooser->emptyText, "%s", kItemNone);
  char buttonName[kControlNameSize];
  std::snprintf(buttonName, sizeof buttonName, "%s_button", name ? name : kControlUnnamed);
  chooser->button = buttonCreate(buttonName, x + chooser->width - kItemChooserButtonWidth, y, panel);
  if (!chooser->button) {
    ControlDestroy(chooser);
    return nullptr;
  }
  std::snprintf(chooser->button->text, sizeof chooser->button->text, "%s", kItemChooserButtonText);
  chooser->button->onChange = buttonPressed;
  itemChooserText(chooser, chooser->shownText, sizeof chooser->shownText);
  return chooser;
}

bool itemChooserSet(ItemChooserControl* chooser, const LWItemID* items, int32_t count) {
  if (!controlAlive(chooser)) return false;
  if (count < 0 || !items) count = 0;
  if (!chooser->multiple && count > 1) count = 1;
  if (!reserveSlots(chooser, count)) return false;
  for (int32_t i = 0; i < count; ++i) slotFromItem(&chooser->slots[i], items[i]);
  chooser->count = count;
  itemChooserText(chooser, chooser->shownText, sizeof chooser->shownText);
  if (controlDrawn(chooser)) ControlRedraw(chooser, kRedrawPaint);
  return true;
}

LWItemID itemChooserItem(const ItemChooserControl* chooser, int32_t index) {
  if (!chooser || index < 0 || index >= chooser->count) return nullptr;
  return chooser->slots[index].item;
}

void itemChooserText(const ItemChooserControl* chooser, char* out, size_t size) {
  if (!out || size == 0) return;
  out[0] = '\0';
  if (!chooser || chooser->count <= 0) {
    std::snprintf(out, size, "%s", chooser ? chooser->emptyText : kItemNone);
    return;
  }
  if (!chooser->multiple) return slotText(chooser->slots[0], chooser->emptyText, out, size);
  size_t used = 0;
  auto append = [&](const char* text) {
    const size_t n = std::min(std::strlen(text), size - 1 - used);
    std::memcpy(out + used, text, n);
    used += n;
    out[used] = '\0';
  };
  for (int32_t i = 0; i < chooser->count && used + 1 < size; ++i) {
    char number[32], one[2 * kItemNameSize + 32];
    std::snprintf(number, sizeof number, kItemChooserNumber, long(i + 1));
    slotText(chooser->slots[i], chooser->emptyText, one, sizeof one);
    if (i) append(kSeparator);
    append(number);
    append(one);
  }
}

int32_t itemChooserSelect(ItemChooserControl* chooser) {
  if (!controlAlive(chooser) || chooser->disabled) return kPanelResultCancel;
  SelectItem* select = selectItemCreate(chooser);
  if (!select) return kPanelResultCancel;
  // Over the chooser's panel while it is open; a closed panel would close it at once.
  Panel* parent = controlPanel(chooser);
  const int32_t result = PanelOpen(select->panel, parent && parent->isOpen ? parent : nullptr);
  if (result == kPanelResultOk) selectItemGiveBack(select);
  selectItemDestroy(select);
  if (result != kPanelResultOk) return kPanelResultCancel;
  if (chooser->onChange) chooser->onChange(chooser);
  return kPanelResultOk;
}
