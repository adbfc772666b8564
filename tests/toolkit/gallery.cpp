#include "gallery.h"

#include <cmath>
#include <cstdio>
#include <cstring>

namespace gallery {

namespace {

constexpr int32_t kPanelWidth = 540;
constexpr int32_t kPanelHeight = 520;

int32_t logEvent(PanelControl* control) {
  auto* g = static_cast<Gallery*>(controlPanel(control)->user);
  uint32_t modifiers = controlPanel(control)->modifiers;
  std::lock_guard<std::mutex> hold(g->mutex);
  g->events.push_back({controlName(control), modifiers, std::this_thread::get_id()});
  return 0;
}

void setText(char* field, size_t size, const char* text) { std::snprintf(field, size, "%s", text); }

}  // namespace

std::vector<Event> Gallery::takeEvents() {
  std::lock_guard<std::mutex> hold(mutex);
  std::vector<Event> taken;
  taken.swap(events);
  return taken;
}

host::Scene galleryScene() {
  host::Scene scene;
  scene.firstFrame = 1;
  scene.lastFrame = 60;
  scene.framesPerSecond = 30.0;
  const int ball = scene.addItem(host::ItemType::Object, "Ball");
  // Up fast, then easing off: frames 1, 30 and 60.
  scene.item(ball).motion[host::PositionY].envelope.keys = {{1 / 30.0, 0.0}, {1.0, 1.5}, {2.0, 2.0}};
  scene.addItem(host::ItemType::Object, "Floor");
  scene.addItem(host::ItemType::Object, "Ball");  // a clone: shown as "Ball (2)"
  scene.addItem(host::ItemType::Light, "Key Light");
  scene.addItem(host::ItemType::Light, "Fill Light");
  scene.addItem(host::ItemType::Camera, "Camera");
  return scene;
}

Gallery* galleryCreate(const char* title) {
  auto* g = new Gallery;
  Panel* p = PanelCreate(title, g, 0x6A11E7);
  if (!p) {
    delete g;
    return nullptr;
  }
  g->panel = p;
  p->options |= kPanelSaveLoad | kPanelCutPaste | kPanelCancel;
  p->width = kPanelWidth;
  p->height = kPanelHeight;
  p->minWidth = 400;
  p->minHeight = 300;
  p->maxWidth = 900;
  p->maxHeight = 700;

  g->button = buttonCreate("BUTTON", 90, 30, p);
  setText(g->button->text, sizeof g->button->text, "Press Me");
  setText(g->button->label, sizeof g->button->label, "Button:");
  g->button->onChange = logEvent;

  g->disabled = buttonCreate("DISABLED", 180, 30, p);
  setText(g->disabled->text, sizeof g->disabled->text, "Disabled");
  g->disabled->disabled = 1;
  g->disabled->onChange = logEvent;

  g->toggle = toggleCreate("TOGGLE", 90, 56, p);
  setText(g->toggle->text, sizeof g->toggle->text, "Shadows");
  g->toggle->width = 120;
  g->toggle->onChange = logEvent;

  const char* kinds[] = {"Off", "Background", "Monte Carlo"};
  g->radio = radioCreate("RADIO", 90, 82, p, kinds, 3);
  g->radio->onChange = logEvent;

  const char* levels[] = {"Low", "Medium", "High"};
  g->cycle = radioCreate("CYCLE", 90, 150, p, levels, 3, true);
  g->cycle->onChange = logEvent;

  g->item = itemChooserCreate("ITEM", 90, 176, p, 180, false);
  setText(g->item->label, sizeof g->item->label, "Reference:");
  g->item->onChange = logEvent;

  g->inset = insetCreate("INSET", 296, 26, p, 216, 170);
  g->list = listBoxCreate("LIST", 300, 30, p, 208, 120);
  setText(g->list->label, sizeof g->list->label, "");
  g->list->onChange = logEvent;
  g->list->columnWidths[0] = 110;
  if (listBoxSetRows(g->list, 6)) {
    const char* names[] = {"Ball", "Floor", "Ball (2)", "Key Light", "Fill Light", "Camera"};
    const char* kinds2[] = {"Object", "Object", "Object", "Light", "Light", "Camera"};
    for (int32_t r = 0; r < 6; ++r) {
      listBoxSetCell(g->list, r, 0, names[r]);
      listBoxSetCell(g->list, r, 1, kinds2[r]);
    }
  }

  g->bitmap = bitmapCreate("BITMAP", 300, 160, p, toolkitTitleImage());
  g->bitmap->onChange = logEvent;

  g->text = textCreate("TEXT", 330, 162, p, "A line of text in the small font", kFontSmall);

  g->separator = separatorCreate("SEP", 10, 206, p, kPanelWidth - 20);

  g->graph = graphCreate("GRAPH", 90, 222, p);
  setText(g->graph->label, sizeof g->graph->label, "Intensity:");
  double values[101];
  for (int i = 0; i <= 100; ++i) values[i] = 0.5 + 0.4 * std::sin(i * 0.12) * std::exp(-i * 0.01);
  graphSetPoints(g->graph, values, 101, 1.0, 101.0);

  g->number = numericCreateAt("NUMBER", 90, 450, p);
  if (g->number) {
    setText(g->number->label, sizeof g->number->label, "Number");
    g->number->lowLimit = g->number->dragLow = 0.0;
    g->number->highLimit = g->number->dragHigh = 10.0;
    g->number->clipLow = g->number->clipHigh = 1;
    g->number->step = 0.01;
    g->number->onChange = logEvent;
    numericSet(g->number, 1.0);
  }

  for (PanelControl* c : {static_cast<PanelControl*>(g->button), static_cast<PanelControl*>(g->disabled),
                          static_cast<PanelControl*>(g->toggle), static_cast<PanelControl*>(g->radio),
                          static_cast<PanelControl*>(g->cycle), static_cast<PanelControl*>(g->item),
                          static_cast<PanelControl*>(g->list), static_cast<PanelControl*>(g->text),
                          static_cast<PanelControl*>(g->separator), static_cast<PanelControl*>(g->inset),
                          static_cast<PanelControl*>(g->graph), static_cast<PanelControl*>(g->bitmap),
                          static_cast<PanelControl*>(g->number)}) {
    if (!c) {
      galleryDestroy(g);
      return nullptr;
    }
  }
  return g;
}

void galleryDestroy(Gallery* gallery) {
  if (!gallery) return;
  PanelDestroy(gallery->panel);
  delete gallery;
}

}  // namespace gallery
