// SelectItem: the "Select Item" panel of an item chooser, its list of the host's items by
// type and order, and the picked items it hands back on OK. Its handlers run on its own
// panel's thread while the chooser's thread waits in the modal pump.
#include "toolkit/select_item.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <strings.h>

#include "runtime/memory.h"
#include "toolkit/button.h"
#include "toolkit/control_draw.h"
#include "toolkit/panel_frame.h"

namespace {

constexpr const char* kTypeItems[kSelectItemTypeCount] = {"Objects", "Lights", "Bones", "Cameras"};
constexpr int32_t kTypeOfItem[kSelectItemTypeCount] = {LWI_OBJECT, LWI_LIGHT, LWI_BONE, LWI_CAMERA};
constexpr const char* kCountNames[kSelectItemTypeCount] = {"OTEXT", "LTEXT", "BTEXT", "CTEXT"};
constexpr const char* kOrderItems[] = {"LightWave Order", "Sorted By Name"};
constexpr char kClearText[] = "Clear All";
constexpr char kCountFormat[] = "%ld";
constexpr char kOrderTitle[] = "Items";
constexpr char kBoneOrderTitle[] = "Bones in their object";

constexpr int32_t kPanelWidth = 430;
constexpr int32_t kPanelHeight = 340;
constexpr int32_t kMargin = 10;
constexpr int32_t kGap = 10;
constexpr int32_t kCountGap = 12;  // from the widest type to its count
constexpr int32_t kListLeft = 160;

// The orders last chosen, for the next opening.
std::atomic<int32_t> rememberedOrder{kSelectItemOrderHost};
std::atomic<int32_t> rememberedBoneOrder{kSelectItemOrderHost};

SelectItem* selectOf(PanelControl* control) {
  Panel* panel = controlPanel(control);
  return panel ? static_cast<SelectItem*>(panel->user) : nullptr;
}

int32_t itemOfType(int32_t type) {
  for (int32_t i = 0; i < kSelectItemTypeCount; ++i)
    if (kTypeOfItem[i] == type) return i;
  return 0;
}

bool grow(LWItemID** array, int32_t* room, int32_t count) {
  if (count <= *room) return true;
  void* grown = memRealloc(*array, size_t(count) * sizeof(LWItemID));
  if (!grown) return false;
  *array = static_cast<LWItemID*>(grown);
  *room = count;
  return true;
}

bool isChosen(const SelectItem* select, LWItemID item) {
  for (int32_t i = 0; i < select->chosenCount; ++i)
    if (select->chosen[i] == item) return true;
  return false;
}

void choose(SelectItem* select, LWItemID item) {
  if (!item || isChosen(select, item)) return;
  if (grow(&select->chosen, &select->chosenRoom, select->chosenCount + 1)) select->chosen[select->chosenCount++] = item;
}

// Appends the items from `first` on (as the host walks them) to the rows, in the order asked.
void appendWalk(SelectItem* select, LWItemID first, int32_t order) {
  const int32_t start = select->rowCount;
  for (LWItemID it = first; it; it = itemNext(it)) {
    if (!grow(&select->rows, &select->rowRoom, select->rowCount + 1)) break;
    select->rows[select->rowCount++] = it;
  }
  if (order != kSelectItemOrderName) return;
  std::stable_sort(select->rows + start, select->rows + select->rowCount, [](LWItemID a, LWItemID b) {
    const char* na = itemHostName(a);
    const char* nb = itemHostName(b);
    return strcasecmp(na ? na : "", nb ? nb : "") < 0;
  });
}

void fillRows(SelectItem* select) {
  select->rowCount = 0;
  const int32_t type = select->shownType;
  if (!(select->chooser->types & itemTypeBit(type))) return;
  const int32_t order = select->sort->selection;
  if (type != LWI_BONE) return appendWalk(select, itemFirst(type, nullptr), order);
  // Bones stand under their objects: the objects in the list's order, the bones in theirs.
  appendWalk(select, itemFirst(LWI_OBJECT, nullptr), order);
  const int32_t objects = select->rowCount;
  LWItemID* owners = static_cast<LWItemID*>(memAlloc(sizeof(LWItemID) * size_t(objects > 0 ? objects : 1)));
  if (!owners) {
    select->rowCount = 0;
    return;
  }
  std::memcpy(owners, select->rows, sizeof(LWItemID) * size_t(objects));
  select->rowCount = 0;
  for (int32_t i = 0; i < objects; ++i) appendWalk(select, itemFirst(LWI_BONE, owners[i]), select->sortBones->selection);
  memFree(owners);
}

void showCounts(SelectItem* select) {
  for (int32_t i = 0; i < kSelectItemTypeCount; ++i) {
    char text[32];
    std::snprintf(text, sizeof text, kCountFormat, itemCount(kTypeOfItem[i]));
    ControlSetText(select->counts[i], 1, text);
  }
}

// The list's selection becomes what is picked of the type shown; picks of other types stay.
void takeListSelection(SelectItem* select) {
  if (!select->chooser->multiple) {
    select->chosenCount = 0;
  } else {
    int32_t kept = 0;
    for (int32_t i = 0; i < select->chosenCount; ++i)
      if (itemType(select->chosen[i]) != select->shownType) select->chosen[kept++] = select->chosen[i];
    select->chosenCount = kept;
  }
  for (int32_t r = 0; r < select->list->rowCount && r < select->rowCount; ++r)
    if (select->list->rows[r].selected) choose(select, select->rows[r]);
}

int32_t onType(PanelControl* control) {
  SelectItem* select = selectOf(control);
  if (select) selectItemShow(select, kTypeOfItem[std::clamp(select->type->selection, 0, kSelectItemTypeCount - 1)]);
  return 0;
}

int32_t onOrder(PanelControl* control) {
  SelectItem* select = selectOf(control);
  if (!select) return 0;
  rememberedOrder = select->sort->selection;
  rememberedBoneOrder = select->sortBones->selection;
  selectItemShow(select, select->shownType);
  return 0;
}

int32_t onClear(PanelControl* control) {
  SelectItem* select = selectOf(control);
  if (!select) return 0;
  select->chosenCount = 0;
  for (int32_t r = 0; r < select->list->rowCount; ++r) select->list->rows[r].selected = 0;
  if (controlDrawn(select->list)) ControlRedraw(select->list, kRedrawPaint);
  return 0;
}

int32_t onRows(PanelControl* control) {
  if (SelectItem* select = selectOf(control)) takeListSelection(select);
  return 0;
}

int32_t onRowDoubleClick(PanelControl* control) {
  SelectItem* select = selectOf(control);
  if (!select) return 0;
  takeListSelection(select);
  panelEnd(select->panel, kPanelResultOk);
  return 0;
}

// The type the panel opens on: the first chosen item's, else the first the chooser offers.
int32_t firstType(const SelectItem* select) {
  const uint32_t types = select->chooser->types;
  if (select->chosenCount > 0) {
    const int32_t type = itemType(select->chosen[0]);
    if (types & itemTypeBit(type)) return type;
  }
  for (int32_t type : kTypeOfItem)
    if (types & itemTypeBit(type)) return type;
  return LWI_OBJECT;
}

// An order radio with its title above; laid out at once so that its height counts the title.
RadioControl* titledRadio(const char* name, int32_t y, Panel* panel, const char* title) {
  RadioControl* radio = radioCreate(name, kMargin, y, panel, kOrderItems, 2);
  if (!radio) return nullptr;
  std::snprintf(radio->title, sizeof radio->title, "%s", title);
  ControlRedraw(radio, kRedrawLayout);
  return radio;
}

bool buildControls(SelectItem* select) {
  Panel* panel = select->panel;
  const int32_t top = panelFrameTop(panel) + kGap;
  select->type = radioCreate("TYPE", kMargin, top, panel, kTypeItems, kSelectItemTypeCount);
  if (!select->type) return false;
  const int32_t row = select->type->height / kSelectItemTypeCount;
  for (int32_t i = 0; i < kSelectItemTypeCount; ++i) {
    select->counts[i] = textCreate(kCountNames[i], kMargin + select->type->width + kCountGap,
                                   top + i * row + (row - kTextHeight) / 2, panel, "");
    if (!select->counts[i]) return false;
  }
  int32_t y = top + select->type->height + kGap;
  select->clear = buttonCreate("CLEARBUTTON", kMargin, y, panel);
  if (!select->clear) return false;
  std::snprintf(select->clear->text, sizeof select->clear->text, "%s", kClearText);
  y += select->clear->height + kGap;
  select->sort = titledRadio("SORT", y, panel, kOrderTitle);
  if (!select->sort) return false;
  y += select->sort->height + kGap / 2;
  select->sortBones = titledRadio("SORTB", y, panel, kBoneOrderTitle);
  if (!select->sortBones) return false;
  select->list = listBoxCreate("ITEMLB", kListLeft, top, panel, panel->width - kListLeft - kMargin,
                               panelFrameBottom(panel) - kGap - top);
  if (!select->list) return false;

  select->type->onChange = onType;
  select->sort->onChange = onOrder;
  select->sortBones->onChange = onOrder;
  select->clear->onChange = onClear;
  select->list->onChange = onRows;
  select->list->onDoubleClick = onRowDoubleClick;
  select->list->multiple = select->chooser->multiple;
  select->list->columnWidths[0] = select->list->width;
  select->sort->selection = std::clamp(rememberedOrder.load(), 0, 1);
  select->sortBones->selection = std::clamp(rememberedBoneOrder.load(), 0, 1);
  int32_t offered = 0;
  for (int32_t type : kTypeOfItem) offered += (select->chooser->types & itemTypeBit(type)) ? 1 : 0;
  select->type->disabled = offered <= 1;
  return true;
}

}  // namespace

SelectItem* selectItemCreate(ItemChooserControl* chooser) {
  if (!controlAlive(chooser)) return nullptr;
  auto* select = static_cast<SelectItem*>(memAllocZero(sizeof(SelectItem)));
  if (!select) return nullptr;
  select->chooser = chooser;
  select->panel = PanelCreate(kSelectItemTitle, select, 0);
  if (!select->panel) {
    selectItemDestroy(select);
    return nullptr;
  }
  Panel* panel = select->panel;
  panel->options |= kPanelCancel;
  panel->width = panel->minWidth = panel->maxWidth = kPanelWidth;
  panel->height = panel->minHeight = panel->maxHeight = kPanelHeight;
  if (!buildControls(select)) {
    selectItemDestroy(select);
    return nullptr;
  }
  for (int32_t i = 0; i < chooser->count; ++i) choose(select, chooser->slots[i].item);
  showCounts(select);
  selectItemShow(select, firstType(select));
  return select;
}

void selectItemShow(SelectItem* select, int32_t type) {
  if (!select) return;
  select->shownType = type;
  radioSelect(select->type, itemOfType(type));
  select->sortBones->disabled = type == LWI_BONE ? 0 : 1;
  if (controlDrawn(select->sortBones)) ControlRedraw(select->sortBones, kRedrawAll);
  fillRows(select);
  ListBoxControl* list = select->list;
  if (!listBoxSetRows(list, select->rowCount)) select->rowCount = 0;
  for (int32_t r = 0; r < list->rowCount; ++r) {
    char name[kItemNameSize * 2];
    itemDisplayName(select->rows[r], name, sizeof name);
    listBoxSetCell(list, r, 0, name);
    list->rows[r].selected = isChosen(select, select->rows[r]) ? 1 : 0;
  }
  if (controlDrawn(list)) ControlRedraw(list, kRedrawPaint);
}

void selectItemGiveBack(SelectItem* select) {
  if (!select) return;
  itemChooserSet(select->chooser, select->chosen, select->chosenCount);
}

void selectItemDestroy(SelectItem* select) {
  if (!select) return;
  PanelDestroy(select->panel);
  memFree(select->rows);
  memFree(select->chosen);
  memFree(select);
}
