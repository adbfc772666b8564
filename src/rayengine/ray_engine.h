#pragma once
// Hands capture the ray engine's operations it cannot link to: normals, grids and the host
// shader's ray cast. The module's start-up and tests call it before the first capture.
void rayEngineInstall();

// A host shader's ray cast on the live capture: the start moved off its surface, no object
// skipped. The distance plus the offset, or -1.0.
double rayEngineMicropolRayCast(const double position[3], const double direction[3]);
