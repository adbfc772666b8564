#pragma once
// The About panel: the modal "About this plugin" that every panel opens from its title image,
// with the calling panel's version, the program's build, two lucky numbers that change with
// each opening, and two links to the program's README. A link opens in a detached child
// process through xdg-open; with no README installed it is shown without a target and does
// nothing.
#include <cstdint>

#include "toolkit/panel.h"

inline constexpr char kAboutTitle[] = "About this plugin";
inline constexpr char kAboutVersion[] = "Version %.3f-%s   %s";
inline constexpr char kAboutLottery[] = "Today's lucky lottery numbers are %ld and %ld.";
inline constexpr char kAboutWebPage[] = "Visit Our Web Page: ";
inline constexpr char kAboutSupport[] = "Technical Support ";
inline constexpr long kAboutLotteryRange = 36;  // each number is 1 to this

// Opens the About panel over `caller` (or none) and returns when it has closed.
void aboutPanelOpen(Panel* caller);

// The panel as it opens, not yet open: the texts filled for `caller` and the given count of
// earlier openings. The caller destroys it (PanelDestroy). Null when memory runs out.
Panel* aboutPanelCreate(Panel* caller, long opening);

// The two lucky numbers of an opening, each 1 to kAboutLotteryRange.
void aboutLotteryNumbers(long opening, long* first, long* second);

// The README the links open: the installed one, else the one of the source tree the module
// was built in; empty when there is none.
const char* aboutReadmePath();
