// GraphControl: a curve of values over a range of frames, its axis values shown by four text
// controls of its own and an optional label at its left. The points buffer is the graph's, freed
// in destroy; values that are not finite are left out of the curve and of its range.
#include "toolkit/graph.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "runtime/memory.h"
#include "toolkit/control_draw.h"
#include "toolkit/panel.h"
#include "toolkit/text_control.h"

namespace {

enum AxisLabel { kX0 = 0, kX1, kY0, kY1 };
constexpr const char* kAxisSuffix[4] = {"X0", "X1", "Y0", "Y1"};
constexpr int32_t kLabelGap = 4;
constexpr int32_t kPlotInset = 3;  // the curve stays inside the frame

struct Range {
  double low, high;
};

// The range of the finite values; a flat curve is given a unit of height around its value.
Range valueRange(const GraphControl* graph) {
  Range range{0, 0};
  bool any = false;
  for (int32_t i = 0; i < graph->count; ++i) {
    const double v = graph->points[i];
    if (!std::isfinite(v)) continue;
    range.low = any ? std::min(range.low, v) : v;
    range.high = any ? std::max(range.high, v) : v;
    any = true;
  }
  if (!(range.high - range.low > 0) || !std::isfinite(range.high - range.low)) {
    const double middle = std::isfinite(range.high - range.low) ? range.low : 0;
    range = {middle - 0.5, middle + 0.5};
  }
  return range;
}

void axisText(double value, bool percent, char* out, size_t size) {
  std::snprintf(out, size, percent ? "%.2f%%" : "%.3f", value);
}

void graphLayout(GraphControl* graph) {
  controlSetArea(graph, {graph->x, graph->y, graph->x + graph->width, graph->y + graph->height});
  const Range range = valueRange(graph);
  char name[kControlNameSize], text[64];
  const int32_t below = graph->y + graph->height + 2;
  const int32_t leftOf = graph->x - kLabelGap;
  const struct {
    double value;
    bool percent;
    int32_t x, y, align;
  } axes[4] = {
      {graph->xFirst, false, graph->x, below, kAlignLeft},
      {graph->xLast, false, graph->x + graph->width, below, kAlignRight},
      {range.low, graph->percent != 0, leftOf, graph->y + graph->height - kTextHeight, kAlignRight},
      {range.high, graph->percent != 0, leftOf, graph->y, kAlignRight},
  };
  for (int32_t i = 0; i < 4; ++i) {
    std::snprintf(name, sizeof name, "%s_%s", controlName(graph), kAxisSuffix[i]);
    axisText(axes[i].value, axes[i].percent, text, sizeof text);
    labelPlace(&graph->axisLabels[i], graph, text, axes[i].x, axes[i].y, axes[i].align, name);
  }
  // The label sits halfway down the left side, between the top and bottom values.
  labelPlace(&graph->labelControl, graph, graph->label, leftOf, graph->y + (graph->height - kTextHeight) / 2);
}

void graphPaint(GraphControl* graph) {
  if (!controlDrawn(graph)) return;
  Panel* panel = controlPanel(graph);
  const WindowRect area = controlArea(graph);
  panelDrawFrame(panel, area, false, panelColour(panel, kColourEdit));
  PlatformWindow* window = panel ? panel->window : nullptr;
  if (!window || graph->count <= 0) return;
  const Range range = valueRange(graph);
  const int32_t left = area.left + kPlotInset, right = area.right - 1 - kPlotInset;
  const int32_t top = area.top + kPlotInset, bottom = area.bottom - 1 - kPlotInset;
  auto yOf = [&](double v) { return bottom - int32_t(std::lround((v - range.low) / (range.high - range.low) * (bottom - top))); };
  if (range.low < 0 && range.high > 0) windowLine(window, left, yOf(0), right, yOf(0), panelColour(panel, kColourShadow));
  const WindowColour ink = panelColour(panel, kColourText);
  const int32_t last = std::max(graph->count - 1, 1);
  bool previous = false;
  int32_t px = 0, py = 0;
  for (int32_t i = 0; i < graph->count; ++i) {
    const double v = graph->points[i];
    if (!std::isfinite(v)) {
      previous = false;
      continue;
    }
    const int32_t x = left + int32_t(int64_t(right - left) * i / last);
    const int32_t y = yOf(v);
    if (previous) windowLine(window, px, py, x, y, ink);
    if (graph->count == 1) windowLine(window, left, y, right, y, ink);
    px = x;
    py = y;
    previous = true;
  }
}

int32_t graphDraw(PanelControl* control, int32_t flags) {
  auto* graph = static_cast<GraphControl*>(control);
  PanelControl** labels[5] = {&graph->axisLabels[0], &graph->axisLabels[1], &graph->axisLabels[2],
                              &graph->axisLabels[3], &graph->labelControl};
  const bool shown = controlHead(control)->visible != 0;
  if (!shown) flags = kRedrawTakeDown | kRedrawTakeDownLabel;
  if (flags & kRedrawTakeDown) controlTakeDown(control);
  for (PanelControl** label : labels) {
    if (!*label) continue;
    if (!shown) controlHead(*label)->visible = 0;
    if (flags & kRedrawTakeDownLabel) ControlRedraw(*label, kRedrawTakeDown | kRedrawTakeDownLabel);
  }
  if (flags & kRedrawLayout) graphLayout(graph);
  if (flags & kRedrawPaintLabel)
    for (PanelControl** label : labels)
      if (*label) ControlRedraw(*label, kRedrawPaint | kRedrawPaintLabel);
  if (flags & kRedrawPaint) {
    graphPaint(graph);
    controlFlush(control);
  }
  return 0;
}

int32_t graphMessage(PanelControl* control) {
  auto* graph = static_cast<GraphControl*>(control);
  if (controlPaintWanted(control)) {
    graphPaint(graph);
    return 0;
  }
  if (graph->disabled) return 0;
  if (!graph->onChange || !controlPressed(control)) return 0;
  return kMessageStop | graph->onChange(graph);
}

void graphDestroy(PanelControl* control) {
  auto* graph = static_cast<GraphControl*>(control);
  for (PanelControl*& label : graph->axisLabels) labelRemove(&label);
  labelRemove(&graph->labelControl);
  memFree(graph->points);
  graph->points = nullptr;
  graph->count = 0;
}

}  // namespace

GraphControl* graphCreate(const char* name, int32_t x, int32_t y, Panel* panel) {
  auto* graph = controlNew<GraphControl>(panel, name);
  if (!graph) return nullptr;
  PanelControlHead* head = controlHead(graph);
  head->kind = kControlKindGraph;
  head->saved = 0;
  head->ops.draw = graphDraw;
  head->ops.takeDown = controlTakeDown;
  head->ops.reset = controlForgetArea;
  head->ops.destroy = graphDestroy;
  head->ops.message = graphMessage;
  graph->x = x;
  graph->y = y;
  graph->width = kGraphWidth;
  graph->height = kGraphHeight;
  graph->xLast = 1;
  graph->points = static_cast<double*>(memAllocZero(sizeof(double) * kGraphMaxPoints));
  if (!graph->points) {
    ControlDestroy(graph);
    return nullptr;
  }
  return graph;
}

void graphSetPoints(GraphControl* graph, const double* values, int32_t count, double xFirst, double xLast) {
  graph->count = values && graph->points ? std::clamp(count, 0, kGraphMaxPoints) : 0;
  if (graph->count) std::memcpy(graph->points, values, sizeof(double) * size_t(graph->count));
  graph->xFirst = xFirst;
  graph->xLast = xLast;
  ControlRedraw(graph, kRedrawAll);
}
