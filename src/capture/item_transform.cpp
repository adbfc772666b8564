#include "capture/item_transform.h"

#include <atomic>
#include <cmath>
#include <cstring>
#include <mutex>

#include "runtime/global_services.h"

namespace {

// Render threads may find the inverse missing at once; one of them computes it.
std::mutex inverseMutex;

// The rotation of heading, pitch and bank (bank first, then pitch, then heading), row-major,
// its columns the turned x, y and z axes.
void rotationHPB(const double hpb[3], double out[9]) {
  const double ch = std::cos(hpb[0]), sh = std::sin(hpb[0]);
  const double cp = std::cos(hpb[1]), sp = std::sin(hpb[1]);
  const double cb = std::cos(hpb[2]), sb = std::sin(hpb[2]);
  const double right[3] = {ch * cb + sh * sp * sb, cp * sb, -sh * cb + ch * sp * sb};
  const double up[3] = {-ch * sb + sh * sp * cb, cp * cb, sh * sb + ch * sp * cb};
  const double forward[3] = {sh * cp, -sp, ch * cp};
  for (int i = 0; i < 3; ++i) {
    out[i * 3 + 0] = right[i];
    out[i * 3 + 1] = up[i];
    out[i * 3 + 2] = forward[i];
  }
}

void computeInverse(ItemTransform* t) {
  Matrix3_Invert(t->matrix, t->inverseMatrix);
  for (int r = 0; r < 3; ++r) {
    const double* row = t->inverseMatrix + r * 3;
    t->inversePosition[r] = -(t->position[0] * row[0] + t->position[1] * row[1] + t->position[2] * row[2]);
  }
}

}  // namespace

void Matrix3_Transpose(const double in[9], double out[9]) {
  double t[9];
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) t[c * 3 + r] = in[r * 3 + c];
  std::memcpy(out, t, sizeof t);
}

void Matrix3_Multiply(const double a[9], const double b[9], double out[9]) {
  double t[9];
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) t[r * 3 + c] = a[r * 3] * b[c] + a[r * 3 + 1] * b[3 + c] + a[r * 3 + 2] * b[6 + c];
  std::memcpy(out, t, sizeof t);
}

int Matrix3_Invert(const double m[9], double out[9]) {
  const double c00 = m[4] * m[8] - m[5] * m[7];
  const double c01 = m[5] * m[6] - m[3] * m[8];
  const double c02 = m[3] * m[7] - m[4] * m[6];
  const double det = m[0] * c00 + m[1] * c01 + m[2] * c02;
  if (det == 0.0 || !std::isfinite(det)) {
    static const double identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    std::memcpy(out, identity, sizeof identity);
    return 0;
  }
  const double k = 1.0 / det;
  double t[9] = {c00 * k,
                 (m[2] * m[7] - m[1] * m[8]) * k,
                 (m[1] * m[5] - m[2] * m[4]) * k,
                 c01 * k,
                 (m[0] * m[8] - m[2] * m[6]) * k,
                 (m[2] * m[3] - m[0] * m[5]) * k,
                 c02 * k,
                 (m[1] * m[6] - m[0] * m[7]) * k,
                 (m[0] * m[4] - m[1] * m[3]) * k};
  std::memcpy(out, t, sizeof t);
  return 1;
}

void ItemTransform_SetIdentity(ItemTransform* t) {
  static const double identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  std::memcpy(t->matrix, identity, sizeof identity);
  std::memcpy(t->inverseMatrix, identity, sizeof identity);
  for (int i = 0; i < 3; ++i) t->position[i] = t->inversePosition[i] = 0.0;
  t->inverseValid = 1;
}

int ItemTransform_Read(LWItemID item, ItemTransform* t, double time) {
  double matrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  double position[3] = {0.0, 0.0, 0.0};
  if (item && item != kReservedItem) {
    LWItemInfo* info = globalServices.itemInfo;
    double rows[3][3], pivot[3], pivotRotation[3];
    info->param(item, LWIP_RIGHT, time, rows[0]);
    info->param(item, LWIP_UP, time, rows[1]);
    info->param(item, LWIP_FORWARD, time, rows[2]);
    info->param(item, LWIP_W_POSITION, time, position);
    info->param(item, LWIP_PIVOT, time, pivot);
    info->param(item, LWIP_PIVOT_ROT, time, pivotRotation);
    double axes[9];
    for (int r = 0; r < 3; ++r)
      for (int c = 0; c < 3; ++c) axes[c * 3 + r] = rows[r][c];  // the axes become columns
    // Object coordinates first go back through the pivot: moved by minus the pivot point,
    // then turned by minus the pivot rotation (bank, pitch and heading undone in reverse
    // order, which is the transpose of the rotation).
    double pivotTurn[9];
    rotationHPB(pivotRotation, pivotTurn);
    Matrix3_Transpose(pivotTurn, pivotTurn);
    Matrix3_Multiply(axes, pivotTurn, matrix);
    for (int r = 0; r < 3; ++r)
      position[r] -= matrix[r * 3] * pivot[0] + matrix[r * 3 + 1] * pivot[1] + matrix[r * 3 + 2] * pivot[2];
  }
  int changed = 0;
  for (int i = 0; i < 9; ++i)
    if (std::fabs(matrix[i] - t->matrix[i]) >= 1e-06) changed = 1;
  for (int i = 0; i < 3; ++i)
    if (std::fabs(position[i] - t->position[i]) >= 1e-09) changed = 1;
  std::memcpy(t->matrix, matrix, sizeof matrix);
  std::memcpy(t->position, position, sizeof position);
  if (changed) std::atomic_ref<int32_t>(t->inverseValid).store(0, std::memory_order_release);
  return changed;
}

void ItemTransform_UpdateInverse(ItemTransform* t) {
  std::atomic_ref<int32_t> valid(t->inverseValid);
  if (valid.load(std::memory_order_acquire)) return;
  std::lock_guard lock(inverseMutex);
  if (valid.load(std::memory_order_relaxed)) return;
  computeInverse(t);
  valid.store(1, std::memory_order_release);
}

void ItemTransform_MapVector(const ItemTransform* t, const double in[3], double out[3]) {
  const double x = in[0], y = in[1], z = in[2];
  for (int r = 0; r < 3; ++r) out[r] = t->matrix[r * 3] * x + t->matrix[r * 3 + 1] * y + t->matrix[r * 3 + 2] * z;
}

void ItemTransform_MapPoint(const ItemTransform* t, const double in[3], double out[3]) {
  ItemTransform_MapVector(t, in, out);
  for (int r = 0; r < 3; ++r) out[r] += t->position[r];
}

void ItemTransform_InverseMapVector(ItemTransform* t, const double in[3], double out[3]) {
  ItemTransform_UpdateInverse(t);
  const double x = in[0], y = in[1], z = in[2];
  const double* m = t->inverseMatrix;
  for (int r = 0; r < 3; ++r) out[r] = m[r * 3] * x + m[r * 3 + 1] * y + m[r * 3 + 2] * z;
}

void ItemTransform_InverseMapPoint(ItemTransform* t, const double in[3], double out[3]) {
  ItemTransform_InverseMapVector(t, in, out);
  for (int r = 0; r < 3; ++r) out[r] += t->inversePosition[r];
}
