// The controls that mostly draw: the separator (three lines in three pens), the inset (the
// recessed area a panel with a parent draws its controls on) and the bitmap (an image of the
// toolkit's own, which may act on a click: the title's About, the paste buffer's sign).
#include "toolkit/decorations.h"

#include "toolkit/control_draw.h"
#include "toolkit/panel.h"

namespace {

// A separator's area reaches this far above and below its y.
constexpr int32_t kSeparatorAbove = 2;
constexpr int32_t kSeparatorBelow = 3;

// Every control here draws the same way by its flags; only the layout and the paint differ.
int32_t decorationDraw(PanelControl* control, int32_t flags, void (*layout)(PanelControl*),
                       void (*paint)(PanelControl*)) {
  if (!controlHead(control)->visible) {
    controlTakeDown(control);
    return 0;
  }
  if (flags & kRedrawTakeDown) controlTakeDown(control);
  if (flags & kRedrawLayout) layout(control);
  if ((flags & kRedrawPaint) && controlDrawn(control)) {
    paint(control);
    controlFlush(control);
  }
  return 0;
}

void boxLayout(PanelControl* control) {
  controlSetArea(control, {control->x, control->y, control->x + control->width, control->y + control->height});
}

// ---- Separator ----

void separatorLayout(PanelControl* control) {
  auto* separator = static_cast<SeparatorControl*>(control);
  controlSetArea(control, {separator->x, separator->y - kSeparatorAbove, separator->x + separator->length,
                           separator->y + kSeparatorBelow});
}

void separatorPaint(PanelControl* control) {
  auto* separator = static_cast<SeparatorControl*>(control);
  Panel* panel = controlPanel(control);
  PlatformWindow* window = controlWindow(control);
  if (!window || separator->length <= 0) return;
  const int32_t first = separator->x, last = separator->x + separator->length - 1, y = separator->y;
  windowLine(window, first, y, last, y, panelColour(panel, kColourShadow));
  if (last - first < 2) return;
  windowLine(window, first + 1, y - 1, last - 1, y - 1, panelColour(panel, kColourDark));
  windowLine(window, first + 1, y + 1, last - 1, y + 1, panelColour(panel, kColourLight));
}

int32_t separatorDraw(PanelControl* control, int32_t flags) {
  return decorationDraw(control, flags, separatorLayout, separatorPaint);
}

// ---- Inset ----

void insetPaint(PanelControl* control) {
  Panel* panel = controlPanel(control);
  panelDrawFrame(panel, controlArea(control), false, panelColour(panel, kColourInset));
}

int32_t insetDraw(PanelControl* control, int32_t flags) { return decorationDraw(control, flags, boxLayout, insetPaint); }

// ---- Bitmap ----

const ToolkitImage* shownImage(const BitmapControl* bitmap) {
  if (bitmap->lit && bitmap->image == toolkitPasteImage(false)) return toolkitPasteImage(true);
  return bitmap->image;
}

void bitmapLayout(PanelControl* control) {
  auto* bitmap = static_cast<BitmapControl*>(control);
  if (const ToolkitImage* image = shownImage(bitmap)) {
    bitmap->width = image->width;
    bitmap->height = image->height;
  }
  boxLayout(control);
}

void bitmapPaint(PanelControl* control) {
  auto* bitmap = static_cast<BitmapControl*>(control);
  PlatformWindow* window = controlWindow(control);
  const ToolkitImage* image = shownImage(bitmap);
  if (!window || !image) return;
  windowImage(window, bitmap->x, bitmap->y, image->width, image->height, image->rgb);
  // An image without a lit form of its own is lit by a frame in the highlight colour.
  if (bitmap->lit && image == bitmap->image) {
    const WindowRect a = controlArea(control);
    const WindowColour ink = panelColour(controlPanel(control), kColourHighlight);
    windowLine(window, a.left, a.top, a.right - 1, a.top, ink);
    windowLine(window, a.left, a.bottom - 1, a.right - 1, a.bottom - 1, ink);
    windowLine(window, a.left, a.top, a.left, a.bottom - 1, ink);
    windowLine(window, a.right - 1, a.top, a.right - 1, a.bottom - 1, ink);
  }
}

int32_t bitmapDraw(PanelControl* control, int32_t flags) {
  return decorationDraw(control, flags, bitmapLayout, bitmapPaint);
}

// ---- Messages ----

template <void (*paint)(PanelControl*)>
int32_t paintOnlyMessage(PanelControl* control) {
  if (controlPaintWanted(control)) paint(control);
  return 0;
}

int32_t bitmapMessage(PanelControl* control) {
  auto* bitmap = static_cast<BitmapControl*>(control);
  if (controlPaintWanted(control)) {
    bitmapPaint(control);
    return 0;
  }
  if (bitmap->disabled) return 0;
  if (!bitmap->onChange || !controlPressed(control)) return 0;
  return kMessageStop | bitmap->onChange(bitmap);
}

void decorationOps(PanelControl* control, int32_t kind, int32_t (*draw)(PanelControl*, int32_t),
                   int32_t (*message)(PanelControl*)) {
  PanelControlHead* head = controlHead(control);
  head->kind = kind;
  head->saved = 0;
  head->ops.draw = draw;
  head->ops.takeDown = controlTakeDown;
  head->ops.reset = controlForgetArea;
  head->ops.message = message;
}

}  // namespace

SeparatorControl* separatorCreate(const char* name, int32_t x, int32_t y, Panel* panel, int32_t length) {
  auto* separator = controlNew<SeparatorControl>(panel, name);
  if (!separator) return nullptr;
  decorationOps(separator, kControlKindSeparator, separatorDraw, paintOnlyMessage<separatorPaint>);
  separator->x = x;
  separator->y = y;
  separator->length = length;
  separator->width = length;
  separator->height = kSeparatorAbove + kSeparatorBelow;
  return separator;
}

InsetControl* insetCreate(const char* name, int32_t x, int32_t y, Panel* panel, int32_t width, int32_t height) {
  auto* inset = controlNew<InsetControl>(panel, name);
  if (!inset) return nullptr;
  decorationOps(inset, kControlKindInset, insetDraw, paintOnlyMessage<insetPaint>);
  inset->x = x;
  inset->y = y;
  inset->width = width;
  inset->height = height;
  return inset;
}

BitmapControl* bitmapCreate(const char* name, int32_t x, int32_t y, Panel* panel, const ToolkitImage* image) {
  auto* bitmap = controlNew<BitmapControl>(panel, name);
  if (!bitmap) return nullptr;
  decorationOps(bitmap, kControlKindBitmap, bitmapDraw, bitmapMessage);
  bitmap->x = x;
  bitmap->y = y;
  bitmap->image = image;
  if (image) {
    bitmap->width = image->width;
    bitmap->height = image->height;
  }
  return bitmap;
}
