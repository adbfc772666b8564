#pragma once
// viewerList: the open previews, newest first. Touched only from the host's main thread.
struct ViewerPanel;

extern ViewerPanel* viewerList;

// Takes down every preview whose window the user has closed. Nothing else tells the module
// that a preview was closed, so every server that looks at the list sweeps it first.
void previewsSweepClosed();
void previewsDestroyAll();
int previewsCount();
