#pragma once
// The module's eight servers and their activations.
#include <lwserver.h>

inline constexpr int kServerCount = 8;

// The rows the module record points at, ended by an all-null row.
extern ServerRecord ombrelServers[kServerCount + 1];

// Set when the module's load failed (its random tables could not be allocated): every
// activation then refuses, silently, and startup tells the host the module cannot run.
extern bool frameLoadFailed;

// Results of the master's panel server.
inline constexpr int kMasterPanelClosed = 999;
inline constexpr int kMasterNoLocalData = 3477;
inline constexpr int kMasterNotStarted = 9237;

int activateDisplacementHandler(int version, GlobalFunc* global, void* local, void* serverData);
int activateShaderHandler(int version, GlobalFunc* global, void* local, void* serverData);
int activateMasterHandler(int version, GlobalFunc* global, void* local, void* serverData);
int activateMasterInterface(int version, GlobalFunc* global, void* local, void* serverData);
int activateOpenPreview(int version, GlobalFunc* global, void* local, void* serverData);
int activateRefresh(int version, GlobalFunc* global, void* local, void* serverData);
int activateRender(int version, GlobalFunc* global, void* local, void* serverData);
int activateStripShaders(int version, GlobalFunc* global, void* local, void* serverData);
