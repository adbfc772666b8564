// The common record of controls: allocation with the head in front, the guards, the panel's
// list, and the operations every caller uses on any control.
#include "toolkit/panel_control.h"

#include <cstring>

#include "runtime/memory.h"
#include "toolkit/button.h"
#include "toolkit/panel.h"
#include "toolkit/text_control.h"

namespace {

constexpr size_t kHeadSize = sizeof(PanelControlHead);
static_assert(kHeadSize % alignof(PanelControl) == 0, "the visible part must start aligned after the head");

constexpr size_t kSetTextLimit = 512;

void copyName(char* out, const char* name) {
  std::strncpy(out, name ? name : kControlUnnamed, kControlNameSize - 1);
  out[kControlNameSize - 1] = '\0';
}

}  // namespace

PanelControlHead* controlHead(PanelControl* control) {
  return control ? reinterpret_cast<PanelControlHead*>(reinterpret_cast<char*>(control) - kHeadSize) : nullptr;
}

const PanelControlHead* controlHead(const PanelControl* control) {
  return control ? reinterpret_cast<const PanelControlHead*>(reinterpret_cast<const char*>(control) - kHeadSize)
                 : nullptr;
}

bool controlAlive(const PanelControl* control) {
  return control && control->guard == kControlVisibleAlive && controlHead(control)->guard == kControlHeadAlive;
}

const char* controlName(const PanelControl* control) { return control ? controlHead(control)->name : ""; }

int32_t controlKind(const PanelControl* control) { return control ? controlHead(control)->kind : 0; }

Panel* controlPanel(PanelControl* control) { return control ? controlHead(control)->panel : nullptr; }

PanelControl* controlAllocate(Panel* panel, const char* name, size_t size) {
  if (size < sizeof(PanelControl)) return nullptr;
  auto* raw = static_cast<char*>(memAllocZero(kHeadSize + size));
  if (!raw) return nullptr;
  auto* head = reinterpret_cast<PanelControlHead*>(raw);
  auto* control = reinterpret_cast<PanelControl*>(raw + kHeadSize);
  head->guard = kControlHeadAlive;
  head->left = head->top = head->right = head->bottom = -1;
  head->panel = panel;
  copyName(head->name, name);
  head->kind = kControlKindUnset;
  head->visible = 1;
  control->guard = kControlVisibleAlive;
  if (panel) controlHead(ControlFindLast(panel))->next = control;
  return control;
}

PanelControl* ControlFindLast(Panel* panel) {
  PanelControl* last = panel;
  while (last && controlHead(last)->next) last = controlHead(last)->next;
  return last;
}

void ControlDestroy(PanelControl* control) {
  if (!controlAlive(control)) return;
  PanelControlHead* head = controlHead(control);
  if (Panel* panel = head->panel; panel && panel != control) {
    for (PanelControl* c = panel; c; c = controlHead(c)->next) {
      if (controlHead(c)->next == control) {
        controlHead(c)->next = head->next;
        break;
      }
    }
    // The frame's pointers must not outlive what they point at.
    for (PanelControl** slot : {&panel->closeButton, &panel->saveButton, &panel->loadButton, &panel->cancelButton,
                                &panel->inset, &panel->titleBitmap, &panel->titleText, &panel->bottomSeparator,
                                &panel->cutPaste, &panel->topSeparator})
      if (*slot == control) *slot = nullptr;
  }
  head->next = nullptr;
  if (head->ops.destroy) head->ops.destroy(control);
  head->guard = kControlHeadDead;
  control->guard = kControlVisibleDead;
  head->kind = kControlKindDestroyed;
  memFree(head);
}

int32_t ControlRedraw(PanelControl* control, int32_t flags) {
  if (!controlAlive(control)) return 0;
  PanelControlHead* head = controlHead(control);
  return head->ops.draw ? head->ops.draw(control, flags) : 0;
}

void ControlSetText(PanelControl* control, int32_t enabled, const char* text) {
  if (!controlAlive(control)) return;
  if (!text) text = "";
  char* field = nullptr;
  size_t limit = 0;
  switch (controlHead(control)->kind) {
    case kControlKindText:
      field = static_cast<TextControl*>(control)->text;
      limit = kSetTextLimit;
      break;
    case kControlKindButton:
      field = static_cast<ButtonControl*>(control)->text;
      limit = kButtonTextSize - 1;
      break;
    default:
      return;
  }
  const int32_t disabled = enabled ? 0 : 1;
  const bool sameText = std::strncmp(field, text, limit) == 0;
  if (sameText && control->disabled == disabled) return;
  std::strncpy(field, text, limit);
  field[limit] = '\0';
  control->disabled = disabled;
  ControlRedraw(control, kRedrawAll);
}

bool PanelHit(const PanelControl* control) {
  if (!controlAlive(control)) return false;
  const PanelControlHead* head = controlHead(control);
  const Panel* panel = head->panel;
  if (!panel || head->left < 0 || head->right <= head->left) return false;
  const WindowRect& u = panel->updateArea;
  return head->left < u.right && u.left < head->right && head->top < u.bottom && u.top < head->bottom;
}

PanelControl* controlFind(Panel* panel, const char* name, PanelControl* after) {
  if (!panel || !name) return nullptr;
  PanelControl* c = after ? controlHead(after)->next : controlHead(panel)->next;
  for (; c; c = controlHead(c)->next)
    if (std::strcmp(controlHead(c)->name, name) == 0) return c;
  return nullptr;
}
