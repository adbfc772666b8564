#pragma once
// The gallery: one panel holding one control of every kind, wired to the host's services,
// for the GUI tests and for pictures of the toolkit. Every callback is written to a log with
// the thread it ran on and the modifier keys it saw.
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/services/host.h"
#include "toolkit/button.h"
#include "toolkit/decorations.h"
#include "toolkit/graph.h"
#include "toolkit/item_chooser.h"
#include "toolkit/list_box.h"
#include "toolkit/numeric_control.h"
#include "toolkit/panel.h"
#include "toolkit/radio.h"
#include "toolkit/text_control.h"

namespace gallery {

struct Event {
  std::string control;
  uint32_t modifiers;
  std::thread::id thread;
};

struct Gallery {
  Panel* panel = nullptr;
  ButtonControl* button = nullptr;
  ButtonControl* disabled = nullptr;
  ButtonControl* toggle = nullptr;
  RadioControl* radio = nullptr;
  RadioControl* cycle = nullptr;
  ItemChooserControl* item = nullptr;
  ListBoxControl* list = nullptr;
  TextControl* text = nullptr;
  SeparatorControl* separator = nullptr;
  InsetControl* inset = nullptr;
  GraphControl* graph = nullptr;
  BitmapControl* bitmap = nullptr;
  NumericControl* number = nullptr;

  std::mutex mutex;
  std::vector<Event> events;
  std::vector<Event> takeEvents();
};

// A scene of two objects, two lights and a camera, for the item chooser; "Ball" rises over
// the scene's frames (1 to 60 at 30 per second), so a graph of its height is a curve.
host::Scene galleryScene();

// Builds the gallery panel (not opened). Its user record is the Gallery itself.
Gallery* galleryCreate(const char* title = "Ombrel Gallery");
void galleryDestroy(Gallery* gallery);

}  // namespace gallery
