#pragma once
// A host item's placement: object to world, with a lazily computed inverse.
#include <cstdint>

#include <lwrender.h>

struct ItemTransform {
  double matrix[9];           // row-major; its columns are the item's right, up, forward axes
  double position[3];         // world position
  double inverseMatrix[9];    // 3x3 inverse of matrix
  double inversePosition[3];  // -position dotted with each row of inverseMatrix
  int32_t inverseValid;       // 1 when the two inverse fields are current
};

// The host's reserved item id that reads as the identity.
inline const LWItemID kReservedItem = reinterpret_cast<LWItemID>(static_cast<uintptr_t>(0x10007fff));

// Identity, zero position, inverse valid.
void ItemTransform_SetIdentity(ItemTransform* transform);

// Reads the item's transform at a time, pivot and pivot rotation included. Returns 1 if it
// differs from what the record held (a matrix cell by 1e-06 or more, a position cell by
// 1e-09 or more); the record holds the new one either way.
int ItemTransform_Read(LWItemID item, ItemTransform* transform, double time);

// Makes the inverse current. Safe to call from several render threads at once.
void ItemTransform_UpdateInverse(ItemTransform* transform);

// matrix x p + position, and the inverse map (which makes the inverse current first).
void ItemTransform_MapPoint(const ItemTransform* transform, const double in[3], double out[3]);
void ItemTransform_MapVector(const ItemTransform* transform, const double in[3], double out[3]);
void ItemTransform_InverseMapPoint(ItemTransform* transform, const double in[3], double out[3]);
void ItemTransform_InverseMapVector(ItemTransform* transform, const double in[3], double out[3]);

// Small 3x3 helpers, row-major. Invert returns 0 (and the identity) for a singular matrix.
int Matrix3_Invert(const double in[9], double out[9]);
void Matrix3_Transpose(const double in[9], double out[9]);
void Matrix3_Multiply(const double a[9], const double b[9], double out[9]);
