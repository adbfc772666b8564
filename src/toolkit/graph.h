#pragma once
// GraphControl: a curve of up to 1000 values over a range of frames, with its axis labels
// as text controls "%s_X0", "%s_X1", "%s_Y0", "%s_Y1" and a label "%s_label". Axis values
// read "%.3f", or "%.2f%%" for a percent.
#include <cstdint>

#include "toolkit/panel_control.h"

inline constexpr int32_t kGraphMaxPoints = 1000;
inline constexpr int32_t kGraphWidth = 400;
inline constexpr int32_t kGraphHeight = 200;

struct GraphControl : PanelControl {
  ControlCallback onChange;
  int32_t count;
  double* points;  // kGraphMaxPoints, tracked
  double xFirst, xLast;
  int32_t percent;
  char label[256];
  PanelControl* axisLabels[4];
  PanelControl* labelControl;
};

GraphControl* graphCreate(const char* name, int32_t x, int32_t y, Panel* panel);
// Takes at most kGraphMaxPoints values over [xFirst, xLast] and redraws.
void graphSetPoints(GraphControl* graph, const double* values, int32_t count, double xFirst, double xLast);
