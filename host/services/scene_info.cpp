// "LW Scene Info", "LW Interface Info" and "LW Compositing Info": tables of values that
// follow the scene and the time. They are brought up to date when either changes, never by
// a lookup, so that render threads may read them while they look.
#include <algorithm>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <lwrender.h>

#include "host/services/host.h"
#include "host/services/scene_ids.h"

namespace host {

namespace {

LWItemID renderCamera(LWTime) {
  Host* h = Host::current();
  return h ? itemIdAt(h->scene(), h->scene().renderCamera()) : nullptr;
}

unsigned int itemFlags(LWItemID id) {
  Host* h = Host::current();
  if (!h) return 0u;
  const int i = itemIndexOf(h->scene(), id);
  const auto& sel = h->interfaceState().selection;
  return i >= 0 && std::find(sel.begin(), sel.end(), i) != sel.end() ? LWITEMF_SELECTED : 0u;
}

void schemaPos(LWItemID, double* x, double* y) {
  if (x) *x = 0.0;
  if (y) *y = 0.0;
}

int itemVis(LWItemID id) {
  Host* h = Host::current();
  const Item* it = h ? itemOf(h->scene(), id) : nullptr;
  if (!it) return LWOVIS_HIDDEN;
  return it->type == ItemType::Object ? LWOVIS_SHADED : LWOVIS_WIREFRAME;
}

int itemColor(LWItemID) { return 0; }
void setItemColorIndex(LWItemID, int) {}
void setItemColorCustom(LWItemID, double*) {}

template <class T>
void assign(T& field, const T& value) {
  if (!(field == value)) field = value;
}

struct SceneTables {
  std::string name, filename, empty;
  LWSceneInfo scene{};
  std::vector<LWItemID> selected{nullptr};
  LWInterfaceInfo ui{};
  LWCompInfo comp{};
};

void refreshScene(Host& host, SceneTables& t) {
  const Scene& s = host.scene();
  const std::string name =
      s.fileName.empty() ? "(unnamed)" : std::filesystem::path(s.fileName).filename().string();
  if (t.name != name) t.name = name;
  if (t.filename != s.fileName) t.filename = s.fileName;

  long points = 0, polygons = 0;
  for (const Item& it : s.items)
    if (const Layer* l = objectLayer(it)) {
      points += long(l->points.size());
      polygons += long(l->polygons.size());
    }

  LWSceneInfo& si = t.scene;
  assign(si.name, t.name.c_str());
  assign(si.filename, t.filename.c_str());
  assign(si.numPoints, int(points));
  assign(si.numPolygons, int(polygons));
  assign(si.renderType, s.render.renderMode);
  assign(si.renderOpts, int(s.renderOptions()));
  assign(si.frameStart, s.firstFrame);
  assign(si.frameEnd, s.lastFrame);
  assign(si.frameStep, s.frameStep);
  assign(si.framesPerSecond, s.framesPerSecond);
  const int cam = s.renderCamera();
  const CameraSettings c = cam >= 0 ? s.items[size_t(cam)].camera : CameraSettings{};
  assign(si.frameWidth, c.width);
  assign(si.frameHeight, c.height);
  assign(si.pixelAspect, c.pixelAspect);
  assign(si.minSamplesPerPixel, c.antialiasing);
  assign(si.maxSamplesPerPixel, c.antialiasing);
  if (c.limitedRegion != 0) {
    assign(si.limitedRegion[0], c.regionX0);
    assign(si.limitedRegion[1], c.regionY0);
    assign(si.limitedRegion[2], c.regionX1);
    assign(si.limitedRegion[3], c.regionY1);
  } else {
    assign(si.limitedRegion[0], 0);
    assign(si.limitedRegion[1], 0);
    assign(si.limitedRegion[2], c.width - 1);
    assign(si.limitedRegion[3], c.height - 1);
  }
  assign(si.recursionDepth, s.render.recursionLimit);
  assign(si.renderCamera, &renderCamera);
  assign(si.numThreads, int(std::max(1u, std::thread::hardware_concurrency())));
  assign(si.animFilename, t.empty.c_str());
  assign(si.RGBPrefix, t.empty.c_str());
  assign(si.alphaPrefix, t.empty.c_str());

  // The interface.
  std::vector<LWItemID> selected;
  for (int i : host.interfaceState().selection)
    if (LWItemID id = itemIdAt(s, i)) selected.push_back(id);
  selected.push_back(nullptr);
  if (t.selected != selected) t.selected = std::move(selected);
  LWInterfaceInfo& ui = t.ui;
  assign(ui.curTime, host.time());
  assign(ui.selItems, const_cast<const LWItemID*>(t.selected.data()));
  assign(ui.itemFlags, &itemFlags);
  assign(ui.previewStart, s.previewFirstFrame);
  assign(ui.previewEnd, s.previewLastFrame);
  assign(ui.previewStep, s.previewFrameStep);
  assign(ui.dynaUpdate, host.interfaceState().dynamicUpdate);
  assign(ui.schemaPos, &schemaPos);
  assign(ui.itemVis, &itemVis);
  assign(ui.boxThreshold, host.interfaceState().boundingBoxThreshold);
  assign(ui.itemColor, &itemColor);
  assign(ui.setItemColorIndex, &setItemColorIndex);
  assign(ui.setItemColorCustom, &setItemColorCustom);

  // Compositing images come from the image list.
  auto image = [&host](const std::string& path) -> LWImageID {
    return path.empty() || !host.links().imageByPath ? nullptr : host.links().imageByPath(path);
  };
  assign(t.comp.bg, image(s.compositing.background));
  assign(t.comp.fg, image(s.compositing.foreground));
  assign(t.comp.fgAlpha, image(s.compositing.foregroundAlpha));
}

}  // namespace

void registerSceneInfo(Host& host) {
  SceneTables& t = host.state<SceneTables>();
  // Only the second version's layout is kept; the older names are not answered.
  host.services().add(LWSCENEINFO_GLOBAL, [&t](int) -> void* { return &t.scene; });
  // One table serves all three names: the later versions only add members at the end.
  host.services().addVersioned(LWINTERFACEINFO_GLOBAL, 3, [&t](int) -> void* { return &t.ui; });
  host.services().add(LWCOMPINFO_GLOBAL, [&t](int) -> void* { return &t.comp; });
  host.addRefresh([&host, &t] { refreshScene(host, t); });
}

}  // namespace host
