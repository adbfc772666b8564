// The standard frame of every panel, and what its buttons do: close and cancel, and saving
// and loading the panel's settings to a file of the user's or to the module-wide paste
// buffer, through the same instance text that the host's scene files hold.
#include "toolkit/panel_frame.h"

#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>

#include "runtime/global_services.h"
#include "runtime/memory.h"
#include "toolkit/about_panel.h"
#include "toolkit/button.h"
#include "toolkit/decorations.h"
#include "toolkit/instance_text.h"
#include "toolkit/text_control.h"

namespace {

constexpr int32_t kMargin = 6;
constexpr int32_t kTitleTop = 2;
constexpr int32_t kTitleSeparatorY = 19;
constexpr int32_t kBottomRow = 24;        // from the bottom to the top of the buttons
constexpr int32_t kBottomSeparator = 30;  // from the bottom to the line above them
constexpr int32_t kButtonGap = 4;
constexpr size_t kFileNameSize = 1024;

constexpr char kSaveTitle[] = "Write plugin data to file";
constexpr char kLoadTitle[] = "Load plugin data from file";
constexpr char kPattern[] = "*.*";
constexpr char kCancelText[] = "Cancel";
constexpr char kSaveText[] = "Save";
constexpr char kLoadText[] = "Load";

// The module-wide paste buffer: one panel's text and its type, for pasting into another.
struct PasteBuffer {
  std::mutex mutex;
  std::string text;
  std::string type;
  bool standing = false;
};
PasteBuffer& pasteBuffer() {
  static PasteBuffer* buffer = new PasteBuffer;  // never freed: panels may outlive statics at exit
  return *buffer;
}

bool hasBottomRow(const Panel* panel) {
  return panel->options & (kPanelCloseButton | kPanelCancel | kPanelSaveLoad);
}

int32_t onClose(PanelControl* control) {
  panelEnd(controlPanel(control), kPanelResultOk);
  return 0;
}
int32_t onCancel(PanelControl* control) {
  panelEnd(controlPanel(control), kPanelResultCancel);
  return 0;
}
int32_t onSave(PanelControl* control) {
  panelSaveSettings(controlPanel(control), static_cast<ButtonControl*>(control)->modifiers);
  return 0;
}
int32_t onLoad(PanelControl* control) {
  panelLoadSettings(controlPanel(control), static_cast<ButtonControl*>(control)->modifiers);
  return 0;
}
int32_t onTitleImage(PanelControl* control) {
  aboutPanelOpen(controlPanel(control));
  return 0;
}

ButtonControl* makeButton(Panel* panel, const char* text, ControlCallback callback) {
  ButtonControl* button = buttonCreate("P_C", 0, 0, panel);
  if (!button) return nullptr;
  std::snprintf(button->text, sizeof button->text, "%s", text);
  button->onChange = callback;
  return button;
}

void showPasteState(Panel* panel) {
  const bool lit = panelPasteBufferMatches(panel);
  if (panel->cutPaste) {
    static_cast<BitmapControl*>(panel->cutPaste)->lit = lit;
    static_cast<BitmapControl*>(panel->cutPaste)->image = toolkitPasteImage(lit);
    ControlRedraw(panel->cutPaste, kRedrawAll);
  }
  if (panel->loadButton) {
    static_cast<ButtonControl*>(panel->loadButton)->highlighted = lit;
    ControlRedraw(panel->loadButton, kRedrawAll);
  }
}

// Asks the host for a file, with the panel's window off while the request is open.
bool askFile(Panel* panel, const char* title, char mode, char* fullName) {
  if (!globalServices.fileRequest) return false;
  char name[kFileNameSize], path[kFileNameSize];
  std::snprintf(name, sizeof name, "%c%s", mode, panel->instanceName);
  std::snprintf(path, sizeof path, "%s", kPattern);
  fullName[0] = '\0';
  if (panel->window) windowSetEnabled(panel->window, false);
  int result = 0;
  try {
    result = globalServices.fileRequest(title, name, path, fullName, int(kFileNameSize));
  } catch (...) {
    result = 0;
  }
  if (panel->window) windowSetEnabled(panel->window, true);
  return result == 1 && fullName[0];
}

const char* loadBlock(void* data, const char*, const char* name, LWLoadState* state) {
  auto* panel = static_cast<Panel*>(data);
  for (PanelControl* c = controlHead(panel)->next; c; c = controlHead(c)->next) {
    PanelControlHead* head = controlHead(c);
    if (head->ops.load && std::strcmp(head->name, name) == 0) return head->ops.load(c, state);
  }
  return kInstanceNoControl;
}

}  // namespace

int32_t panelFrameTop(const Panel* panel) {
  return (panel->options & kPanelShowTitle) ? kTitleSeparatorY + 3 : 0;
}

int32_t panelFrameBottom(const Panel* panel) {
  return hasBottomRow(panel) ? panel->height - kBottomSeparator - 2 : panel->height;
}

void panelFrameBuild(Panel* panel) {
  const uint32_t o = panel->options;
  if ((o & kPanelCloseButton) && !panel->closeButton) {
    if (ButtonControl* b = makeButton(panel, panel->closeLabel, onClose)) panel->closeButton = b;
  }
  if ((o & kPanelSaveLoad) && !panel->saveButton) {
    if (ButtonControl* b = makeButton(panel, kSaveText, onSave)) {
      std::snprintf(controlHead(b)->name, kControlNameSize, "P_S");
      panel->saveButton = b;
    }
  }
  if ((o & kPanelSaveLoad) && !panel->loadButton) {
    if (ButtonControl* b = makeButton(panel, kLoadText, onLoad)) {
      std::snprintf(controlHead(b)->name, kControlNameSize, "P_L");
      panel->loadButton = b;
    }
  }
  if ((o & kPanelCancel) && !panel->cancelButton) {
    if (ButtonControl* b = makeButton(panel, kCancelText, onCancel)) panel->cancelButton = b;
  }
  if (panel->parent && !panel->inset) {
    panel->inset = insetCreate("Panel_inset", 0, 0, panel, 1, 1);
    // Messages go in list order and a paint is one of them: the recessed area must paint
    // before the controls that stand on it, so it goes first.
    if (panel->inset) {
      PanelControl* before = panel;
      while (controlHead(before)->next != panel->inset) before = controlHead(before)->next;
      controlHead(before)->next = nullptr;
      controlHead(panel->inset)->next = controlHead(panel)->next;
      controlHead(panel)->next = panel->inset;
    }
  }
  if ((o & kPanelTitleImage) && !panel->titleBitmap) {
    if (BitmapControl* b = bitmapCreate("title_bitmap", 2, 2, panel, toolkitTitleImage())) {
      b->onChange = onTitleImage;
      panel->titleBitmap = b;
    }
  }
  if ((o & kPanelShowTitle) && !panel->titleText) {
    if (TextControl* t = textCreate("Panel_Titl_Text", 0, kTitleTop, panel, panel->title)) {
      t->align = kAlignCentre;
      panel->titleText = t;
    }
  }
  if (hasBottomRow(panel) && !panel->bottomSeparator)
    panel->bottomSeparator = separatorCreate("Panel_BOTTO_Vsep", 0, 0, panel, 1);
  if ((o & kPanelCancel) && !panel->cutPaste) {
    if (BitmapControl* b = bitmapCreate("CutPaste", 0, 0, panel, toolkitPasteImage(false))) panel->cutPaste = b;
  }
  if ((o & kPanelShowTitle) && !panel->topSeparator)
    panel->topSeparator = separatorCreate("Panel_TOP_Vsep", 0, kTitleSeparatorY, panel, 1);
  panelFrameFit(panel);
  showPasteState(panel);
}

void panelFrameFit(Panel* panel) {
  const int32_t w = panel->width, h = panel->height;
  const int32_t row = h - kBottomRow;
  if (panel->closeButton) {
    panel->closeButton->x = w - kMargin - panel->closeButton->width;
    panel->closeButton->y = row;
  }
  int32_t x = kMargin;
  if (panel->cancelButton) {
    panel->cancelButton->x = x;
    panel->cancelButton->y = row;
    x += panel->cancelButton->width + kButtonGap;
  }
  for (PanelControl* b : {panel->saveButton, panel->loadButton}) {
    if (!b) continue;
    b->x = x;
    b->y = row;
    x += b->width + kButtonGap;
  }
  if (panel->cutPaste) {
    panel->cutPaste->x = x;
    panel->cutPaste->y = row + 1;
  }
  if (panel->titleText) panel->titleText->x = w / 2;
  if (panel->topSeparator) static_cast<SeparatorControl*>(panel->topSeparator)->length = w;
  if (panel->bottomSeparator) {
    panel->bottomSeparator->y = h - kBottomSeparator;
    static_cast<SeparatorControl*>(panel->bottomSeparator)->length = w;
  }
  if (panel->inset) {
    const int32_t top = panelFrameTop(panel) + 2, bottom = panelFrameBottom(panel) - 2;
    panel->inset->x = 2;
    panel->inset->y = top;
    panel->inset->width = w - 4;
    panel->inset->height = bottom > top ? bottom - top : 1;
  }
}

const char* PanelInstanceSave(Panel* panel, LWSaveState* state) {
  if (!panel) return kInstanceNoData;
  if (!controlAlive(panel) || controlHead(panel)->kind != kControlKindPanel) return kInstanceInvalidAtSave;
  if (!(panel->version > 0.0)) return kInstanceBadVersion;
  panelPrepareSave(panel);
  long total = instanceWriteHeader(state, panel->instanceName, panel->version);
  for (PanelControl* c = controlHead(panel)->next; c; c = controlHead(c)->next) {
    PanelControlHead* head = controlHead(c);
    if (head->saved && head->ops.save) total += head->ops.save(c, state, 1);
  }
  instanceWriteFooter(state, panel->instanceName, total);
  return nullptr;
}

void PanelInstanceLoad(Panel* panel, LWLoadState* state) {
  if (!panel) {
    instanceShowLoadFailure(globalServices.messages, kInstanceNoData);
    return;
  }
  if (!controlAlive(panel) || controlHead(panel)->kind != kControlKindPanel) {
    instanceShowLoadFailure(globalServices.messages, kInstanceInvalidAtLoad);
    return;
  }
  InstanceTarget target{loadBlock, panel};
  if (const char* failure = instanceReadInstance(state, &target))
    instanceShowLoadFailure(globalServices.messages, failure);
  panel->justLoaded = 1;
}

void panelTakeUpSettings(Panel* panel) {
  panelPrepareSave(panel);
  if (panel->onOpen) panel->onOpen(panel);
  for (PanelControl* c = controlHead(panel)->next; c; c = controlHead(c)->next)
    if (controlHead(c)->visible) ControlRedraw(c, kRedrawAll);
}

bool panelPasteBufferMatches(const Panel* panel) {
  PasteBuffer& paste = pasteBuffer();
  std::lock_guard<std::mutex> hold(paste.mutex);
  return paste.standing && paste.type == panel->typeName;
}

void panelSaveSettings(Panel* panel, uint32_t modifiers) {
  if (!panel) return;
  // The block the text is written into; a text longer than it grows it.
  char* block = static_cast<char*>(memAlloc(kInstanceBlockSize));
  if (!block) {
    panelShowError(kInstanceNoRamToSave, nullptr);
    return;
  }
  InstanceMemoryWriter writer;
  InstanceMemoryWriter_Init(&writer);
  if (const char* failure = PanelInstanceSave(panel, &writer.state)) {
    memFree(block);
    panelShowError(failure, nullptr);
    return;
  }
  if (writer.text.size() + 1 > size_t(kInstanceBlockSize)) {
    char* bigger = static_cast<char*>(memRealloc(block, writer.text.size() + 1));
    if (!bigger) {
      memFree(block);
      panelShowError(kInstanceNoRamToSave, nullptr);
      return;
    }
    block = bigger;
  }
  std::memcpy(block, writer.text.c_str(), writer.text.size() + 1);
  const size_t length = writer.text.size();

  if ((modifiers & kModifierShift) && (panel->options & kPanelCutPaste)) {
    // Saving with shift is a toggle: a buffer of this type already standing is let go.
    PasteBuffer& paste = pasteBuffer();
    {
      std::lock_guard<std::mutex> hold(paste.mutex);
      if (paste.standing && paste.type == panel->typeName) {
        paste.text.clear();
        paste.type.clear();
        paste.standing = false;
      } else {
        paste.text.assign(block, length);
        paste.type.assign(panel->typeName, strnlen(panel->typeName, kPanelTypeNameSize - 1));
        paste.standing = true;
      }
    }
    memFree(block);
    showPasteState(panel);
    return;
  }

  char fullName[kFileNameSize];
  if (askFile(panel, kSaveTitle, '>', fullName)) {
    std::FILE* file = std::fopen(fullName, "wb");
    const bool written = file && std::fwrite(block, 1, length, file) == length;
    if (file && std::fclose(file) != 0) panelShowError("Could not write the settings file", fullName);
    else if (!written) panelShowError("Could not write the settings file", fullName);
  }
  memFree(block);
}

void panelLoadSettings(Panel* panel, uint32_t modifiers) {
  if (!panel) return;
  char* block = static_cast<char*>(memAlloc(kInstanceBlockSize));
  if (!block) {
    panelShowError(kInstanceNoRamToLoad, nullptr);
    return;
  }
  bool haveText = false;
  if (modifiers & kModifierShift) {
    PasteBuffer& paste = pasteBuffer();
    std::lock_guard<std::mutex> hold(paste.mutex);
    if (paste.standing && paste.type == panel->typeName) {
      const size_t n = std::min(paste.text.size(), size_t(kInstanceBlockSize - 1));
      std::memcpy(block, paste.text.data(), n);
      block[n] = '\0';
      haveText = true;
    }
  }
  if (!haveText) {
    char fullName[kFileNameSize];
    if (!askFile(panel, kLoadTitle, '<', fullName)) {
      memFree(block);
      return;
    }
    std::FILE* file = std::fopen(fullName, "rb");
    if (!file) {
      memFree(block);
      panelShowError("Could not open the settings file", fullName);
      return;
    }
    size_t n = 0;
    int c;
    while (n < size_t(kInstanceBlockSize - 1) && (c = std::fgetc(file)) != EOF) block[n++] = char(c);
    block[n] = '\0';
    std::fclose(file);
  }
  InstanceMemoryReader reader;
  InstanceMemoryReader_Init(&reader, block);
  PanelInstanceLoad(panel, &reader.state);
  memFree(block);
  panelTakeUpSettings(panel);
}
