// Item names: what the panels show for a host item, and how a saved name finds its item
// again. Guards every call into the host, and every walk of its lists against a host that
// never ends one.
#include "toolkit/item_names.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <strings.h>

#include "runtime/global_services.h"

namespace {

// No scene has this many items of one kind; a walk that gets here is going round in circles.
constexpr long kWalkLimit = 1L << 20;
// A bone chain deeper than this is taken as broken.
constexpr int kBoneDepthLimit = 4096;
constexpr char kObjectExtension[] = ".lwo";
constexpr size_t kObjectExtensionLength = sizeof kObjectExtension - 1;

const LWItemInfo* items() { return globalServices.itemInfo; }

bool knownType(int32_t type) { return type >= LWI_OBJECT && type <= LWI_BONE; }

void copyText(char* out, size_t size, const char* text) {
  if (!out || size == 0) return;
  std::snprintf(out, size, "%s", text ? text : "");
}

size_t trimmedLength(const char* name) {
  size_t length = std::strlen(name);
  while (length > 0 && name[length - 1] == ' ') --length;
  return length;
}

// Where the "(n)" mark of a name begins, given its length without trailing blanks; 0 when it
// has none. A mark with nothing before it is part of the name.
size_t markStart(const char* name, size_t length) {
  if (length < 3 || name[length - 1] != ')') return 0;
  size_t at = length - 1;
  while (at > 0 && std::isdigit(static_cast<unsigned char>(name[at - 1]))) --at;
  if (at == length - 1 || at < 2 || name[at - 1] != '(') return 0;
  return at - 1;
}

// The base of `name` and the copy number sought, and for an object saved as "box.lwo" the length of
// the base without the ending as well (0 when there is no such ending).
struct NameKey {
  const char* base;
  size_t length;
  size_t lengthWithoutExtension;
  int32_t copyNumber;
};

NameKey nameKey(const char* name, int32_t type, int32_t copyNumber) {
  NameKey key{name, itemBaseLength(name), 0, copyNumber};
  if (type == LWI_OBJECT && key.length > kObjectExtensionLength &&
      strncasecmp(name + key.length - kObjectExtensionLength, kObjectExtension, kObjectExtensionLength) == 0)
    key.lengthWithoutExtension = key.length - kObjectExtensionLength;
  return key;
}

bool keyMatches(const NameKey& key, const char* candidate) {
  if (!candidate) return false;
  if (itemNameMatches(candidate, key.base, key.length, key.copyNumber)) return true;
  return key.lengthWithoutExtension > 0 &&
         itemNameMatches(candidate, key.base, key.lengthWithoutExtension, key.copyNumber);
}

// Walks the items of a type (the bones of `object`) that match the key; stops at `stopAt`
// when given. Gives the ordinal-th match, or the first when there are fewer; `place` gets
// the 1-based place of `stopAt` among the matches.
LWItemID walkMatches(int32_t type, LWItemID object, const NameKey& key, int32_t ordinal, LWItemID stopAt,
                     int32_t* place) {
  LWItemID first = nullptr;
  int32_t count = 0;
  long steps = 0;
  for (LWItemID it = itemFirst(type, object); it && steps < kWalkLimit; it = itemNext(it), ++steps) {
    if (!keyMatches(key, itemHostName(it))) continue;
    ++count;
    if (!first) first = it;
    if (stopAt ? it == stopAt : count == ordinal) {
      if (place) *place = count;
      return it;
    }
  }
  return first;
}

}  // namespace

LWItemID itemFirst(int32_t type, LWItemID object) {
  const LWItemInfo* info = items();
  if (!info || !info->first || !knownType(type)) return nullptr;
  if (type == LWI_BONE && !object) return nullptr;
  try {
    return info->first(type, object);
  } catch (...) {
    return nullptr;
  }
}

LWItemID itemNext(LWItemID item) {
  const LWItemInfo* info = items();
  if (!info || !info->next || !item) return nullptr;
  try {
    return info->next(item);
  } catch (...) {
    return nullptr;
  }
}

int32_t itemType(LWItemID item) {
  const LWItemInfo* info = items();
  if (!info || !info->type || !item) return kItemTypeNone;
  try {
    const int32_t type = info->type(item);
    return knownType(type) ? type : kItemTypeNone;
  } catch (...) {
    return kItemTypeNone;
  }
}

const char* itemHostName(LWItemID item) {
  const LWItemInfo* info = items();
  if (!info || !info->name || !item) return nullptr;
  try {
    return info->name(item);
  } catch (...) {
    return nullptr;
  }
}

bool itemParam(LWItemID item, int32_t param, double time, double out[3]) {
  out[0] = out[1] = out[2] = 0.0;
  const LWItemInfo* info = items();
  if (!info || !info->param || !item) return false;
  try {
    info->param(item, param, time, out);
    return true;
  } catch (...) {
    out[0] = out[1] = out[2] = 0.0;
    return false;
  }
}

const LWSceneInfo* itemSceneInfo() { return hostTransientAs<const LWSceneInfo>(LWSCENEINFO_GLOBAL); }

LWItemID itemBoneObject(LWItemID bone) {
  const LWItemInfo* info = items();
  if (!info || !bone) return nullptr;
  // Up the hierarchy first: a bone hangs from other bones, and the first of them from its object.
  if (info->parent) {
    LWItemID at = bone;
    for (int depth = 0; depth < kBoneDepthLimit; ++depth) {
      try {
        at = info->parent(at);
      } catch (...) {
        at = nullptr;
      }
      const int32_t type = itemType(at);
      if (type == LWI_OBJECT) return at;
      if (type != LWI_BONE) break;
    }
  }
  // A bone parented elsewhere: ask each object whether it is one of its bones.
  long steps = 0;
  for (LWItemID object = itemFirst(LWI_OBJECT, nullptr); object && steps < kWalkLimit; object = itemNext(object)) {
    for (LWItemID b = itemFirst(LWI_BONE, object); b && steps < kWalkLimit; b = itemNext(b), ++steps)
      if (b == bone) return object;
    ++steps;
  }
  return nullptr;
}

long itemCount(int32_t type) {
  if (!knownType(type)) return 0;
  long count = 0, steps = 0;
  if (type != LWI_BONE) {
    for (LWItemID it = itemFirst(type, nullptr); it && steps < kWalkLimit; it = itemNext(it), ++steps) ++count;
    return count;
  }
  for (LWItemID object = itemFirst(LWI_OBJECT, nullptr); object && steps < kWalkLimit; object = itemNext(object)) {
    for (LWItemID b = itemFirst(LWI_BONE, object); b && steps < kWalkLimit; b = itemNext(b), ++steps) ++count;
    ++steps;
  }
  return count;
}

void itemDisplayName(LWItemID item, char* out, size_t size) {
  if (!item) return copyText(out, size, kItemNone);
  const int32_t type = itemType(item);
  const char* name = itemHostName(item);
  if (!name || type == kItemTypeNone) return copyText(out, size, kItemMystery);
  if (type != LWI_BONE) return copyText(out, size, name);
  const char* objectName = itemHostName(itemBoneObject(item));
  if (objectName)
    std::snprintf(out, size, kItemBoneOf, name, objectName);
  else
    std::snprintf(out, size, kItemMysteryBone, name);
}

int32_t itemCopyNumber(const char* name) {
  if (!name) return 1;
  const size_t length = trimmedLength(name);
  const size_t mark = markStart(name, length);
  if (mark == 0) return 1;
  long number = 0;
  for (size_t i = mark + 1; i + 1 < length; ++i) {
    number = number * 10 + (name[i] - '0');
    if (number > kItemCopyLimit) return kItemCopyLimit;
  }
  return number < 1 ? 1 : int32_t(number);
}

size_t itemBaseLength(const char* name) {
  if (!name) return 0;
  size_t length = trimmedLength(name);
  if (const size_t mark = markStart(name, length)) {
    length = mark;
    while (length > 0 && name[length - 1] == ' ') --length;
  }
  return length;
}

// The base must be followed by the end, blanks or "(", and what follows must be no more than
// a copy mark: "box" finds "box (2)" but never "box lid".
bool itemNameMatches(const char* candidate, const char* base, size_t length, int32_t copyNumber) {
  if (!candidate || !base || std::strncmp(candidate, base, length) != 0) return false;
  const char next = candidate[length];
  if (next != '\0' && next != ' ' && next != '(') return false;
  return itemBaseLength(candidate) == length && itemCopyNumber(candidate) == copyNumber;
}

void ItemName_Clear(ItemName* name) {
  if (!name) return;
  name->item = nullptr;
  name->type = kItemTypeNone;
  name->copyNumber = 1;
  name->ordinal = 1;
  copyText(name->name, sizeof name->name, kItemNone);
}

void ItemName_FromItem(ItemName* name, LWItemID item) {
  if (!name) return;
  const int32_t type = itemType(item);
  const char* hostName = itemHostName(item);
  if (type == kItemTypeNone || !hostName) return ItemName_Clear(name);
  name->item = item;
  name->type = type;
  copyText(name->name, sizeof name->name, hostName);
  const NameKey key{name->name, itemBaseLength(name->name), 0, itemCopyNumber(name->name)};
  name->copyNumber = key.copyNumber;
  int32_t place = 1;
  walkMatches(type, type == LWI_BONE ? itemBoneObject(item) : nullptr, key, 0, item, &place);
  name->ordinal = place > kItemOrdinalLimit ? kItemOrdinalLimit : place;
}

LWItemID ItemName_Find(ItemName* name, ItemName* object) {
  if (!name) return nullptr;
  name->item = nullptr;
  if (!knownType(name->type) || name->name[0] == '\0' || std::strcmp(name->name, kItemNone) == 0) return nullptr;
  LWItemID owner = nullptr;
  if (name->type == LWI_BONE) {
    if (!object) return nullptr;
    object->type = LWI_OBJECT;  // the saved text marks a bone's object line as a bone's
    owner = ItemName_Find(object, nullptr);
    if (!owner) return nullptr;
  }
  const NameKey key = nameKey(name->name, name->type, name->copyNumber);
  name->item = walkMatches(name->type, owner, key, name->ordinal, nullptr, nullptr);
  return name->item;
}
