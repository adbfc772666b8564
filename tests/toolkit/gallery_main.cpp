// toolkit_gallery: opens the gallery panel on the display of $DISPLAY (or headless), and
// prints what the controls did when it closes. For pictures of the toolkit and by hand.
//   toolkit_gallery                 the gallery, modal, until closed
//   toolkit_gallery --select-item   the Select Item panel of the gallery's item chooser
//   toolkit_gallery --about         the About panel
//   toolkit_gallery --advanced      the "A" dialog of the gallery's number, following Ball's height
#include <cstdio>
#include <cstring>
#include <string>

#include "gallery.h"
#include "runtime/global_services.h"
#include "runtime/module_load.h"
#include "toolkit/about_panel.h"
#include "toolkit/advanced_dialog.h"
#include "toolkit/instance_text.h"
#include "toolkit/item_names.h"

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  if (runtimeLoad() != 1) return 1;
  host::HostSettings settings;
  host::Host host(gallery::galleryScene(), settings);
  if (serverStart(host::Host::globalFunction()) != 0) return 1;

  gallery::Gallery* g = gallery::galleryCreate();
  if (!g) return 1;
  int32_t result = 0;
  if (mode == "--select-item") {
    result = itemChooserSelect(g->item);
    char shown[512];
    itemChooserText(g->item, shown, sizeof shown);
    std::printf("chosen: %s\n", shown);
  } else if (mode == "--advanced") {
    g->number->valueKind = kValueYPos;
    g->number->ref1 = itemFirst(LWI_OBJECT, nullptr);  // "Ball"
    ItemName_FromItem(&g->number->ref1Name, g->number->ref1);
    result = advancedDialogRun(g->number);
    std::printf("kind %d\n", int(g->number->valueKind));
  } else if (mode == "--about") {
    aboutPanelOpen(g->panel);
  } else {
    result = PanelOpen(g->panel, nullptr);
  }
  for (const gallery::Event& e : g->takeEvents()) std::printf("%s modifiers=%u\n", e.control.c_str(), e.modifiers);
  std::printf("result %d\n", result);
  gallery::galleryDestroy(g);
  runtimeUnload();
  return 0;
}
