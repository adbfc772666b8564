#pragma once
// ItemName: a host item as the panels show it and as a saved text names it, so that the same
// item is found again in a later session, where its id is different. Every call into the host
// here is guarded: a stale id or a missing service gives "(none)" or null, never a crash.
//
// How the same item is found again: `copyNumber` is the number of the item's copy mark, the
// "(2)" that the host puts behind the names of clones (1 without a mark); `ordinal` tells
// apart items whose base names and copy numbers are the same (a scene may load one file
// twice without marks): it is the item's 1-based place among just those items, in the host's
// order (for a bone, among the bones of its object). A lookup takes the ordinal-th match, or
// the first when there are fewer, so an added or removed item elsewhere never changes which
// item a name finds.
#include <cstddef>
#include <cstdint>

#include <lwrender.h>

inline constexpr char kItemNone[] = "(none)";
inline constexpr char kItemMysteryBone[] = "Mystery Bone %s";
inline constexpr char kItemBoneOf[] = "Bone \"%s\" of %s";
inline constexpr char kItemMystery[] = "LW Mystery Item";
inline constexpr size_t kItemNameSize = 256;  // 255 characters and the end
inline constexpr int32_t kItemCopyLimit = 4096;
inline constexpr int32_t kItemOrdinalLimit = 32766;
inline constexpr int32_t kItemTypeNone = -1;

struct ItemName {
  LWItemID item;        // null until found, or when there is none
  int32_t type;         // LWI_OBJECT, LWI_LIGHT, LWI_CAMERA, LWI_BONE, or kItemTypeNone
  int32_t copyNumber;   // 1 to kItemCopyLimit
  int32_t ordinal;      // 1 to kItemOrdinalLimit
  char name[kItemNameSize];  // the host's name of the item itself (a bone's own name)
};

// ---- Guarded walks of the host's items ----

// The first item of a type (for bones, the first bone of `object`), the next of the same kind.
LWItemID itemFirst(int32_t type, LWItemID object);
LWItemID itemNext(LWItemID item);
// The item's type, or kItemTypeNone for null and unknown ids.
int32_t itemType(LWItemID item);
// The host's name of the item, or null.
const char* itemHostName(LWItemID item);
// The object that a bone belongs to, or null.
LWItemID itemBoneObject(LWItemID bone);
// How many items of a type the host has; bones are counted over every object.
long itemCount(int32_t type);
// A vector parameter of the item at `time` (LWIP_W_POSITION, LWIP_SCALING ...); false, with
// `out` zero, when the host can't tell.
bool itemParam(LWItemID item, int32_t param, double time, double out[3]);
// The host's scene record as it stands now (frame range, frames per second), or null.
const LWSceneInfo* itemSceneInfo();

// ---- Names ----

// What the panels show for an item: "(none)" for null; the host's name for an object, light or
// camera; `Bone "%s" of %s` for a bone, "Mystery Bone %s" when its object can't be found;
// "LW Mystery Item" for anything else.
void itemDisplayName(LWItemID item, char* out, size_t size);

// The copy number of a name: the digits of a closing "(n)" mark, 1 without one.
int32_t itemCopyNumber(const char* name);
// The length of a name's base: without trailing blanks and without its copy mark.
size_t itemBaseLength(const char* name);
// Whether `candidate` is the base name `base` (its first `length` characters) with copy
// number `copyNumber`.
bool itemNameMatches(const char* candidate, const char* base, size_t length, int32_t copyNumber);

// ---- Finding again ----

// Fills the record from a host item: "(none)" and type kItemTypeNone for null or unknown ids.
void ItemName_FromItem(ItemName* name, LWItemID item);
// Clears the record to "(none)".
void ItemName_Clear(ItemName* name);
// Finds the item again by type, name, copy number and ordinal, and sets `item` (null when the
// scene has no such item). A bone needs its object's record in `object`, which is found first.
// For an object, a name saved ending in ".lwo" also matches the name without it.
LWItemID ItemName_Find(ItemName* name, ItemName* object);
