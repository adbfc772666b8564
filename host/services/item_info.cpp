// "LW Item Info" and "LW Bone Info": the scene's items in Layout's order, their hierarchy,
// and where they are at a time.
#include <lwrender.h>

#include <map>
#include <mutex>
#include <string>

#include "host/scene/transform.h"
#include "host/services/host.h"
#include "host/services/scene_ids.h"

namespace host {

namespace {

Scene* scene() {
  Host* h = Host::current();
  return h ? &h->scene() : nullptr;
}

bool typeOf(LWItemType type, ItemType& out) {
  if (type < LWI_OBJECT || type > LWI_BONE) return false;
  out = ItemType(type);
  return true;
}

// The next item after `from` (an index) that is of `type` and, for bones, of `object`.
LWItemID nextOfType(const Scene& s, int from, ItemType type, int object) {
  for (size_t i = size_t(from + 1); i < s.items.size(); ++i) {
    const Item& it = s.items[i];
    if (it.type != type) continue;
    if (type == ItemType::Bone && it.bone.objectIndex != object) continue;
    return itemIdOf(it);
  }
  return nullptr;
}

LWItemID first(LWItemType type, LWItemID object) {
  Scene* s = scene();
  ItemType t;
  if (!s || !typeOf(type, t)) return nullptr;
  int owner = -1;
  if (t == ItemType::Bone) {
    owner = itemIndexOf(*s, object);
    if (owner < 0) return nullptr;
  }
  return nextOfType(*s, -1, t, owner);
}

LWItemID next(LWItemID id) {
  Scene* s = scene();
  if (!s) return nullptr;
  const int i = itemIndexOf(*s, id);
  if (i < 0) return nullptr;
  const Item& it = s->items[size_t(i)];
  return nextOfType(*s, i, it.type, it.bone.objectIndex);
}

LWItemID nextChildAfter(const Scene& s, int parent, int from) {
  for (size_t i = size_t(from + 1); i < s.items.size(); ++i)
    if (s.items[i].parent == parent) return itemIdOf(s.items[i]);
  return nullptr;
}

LWItemID firstChild(LWItemID parent) {
  Scene* s = scene();
  if (!s) return nullptr;
  const int p = itemIndexOf(*s, parent);
  if (p < 0) return nullptr;
  return nextChildAfter(*s, p, -1);
}

LWItemID nextChild(LWItemID parent, LWItemID previous) {
  Scene* s = scene();
  if (!s) return nullptr;
  const int p = itemIndexOf(*s, parent);
  const int prev = itemIndexOf(*s, previous);
  if (p < 0 || prev < 0) return nullptr;
  return nextChildAfter(*s, p, prev);
}

LWItemID parent(LWItemID id) {
  Scene* s = scene();
  if (!s) return nullptr;
  const Item* it = itemOf(*s, id);
  return it ? itemIdAt(*s, it->parent) : nullptr;
}

LWItemID target(LWItemID id) {
  Scene* s = scene();
  if (!s) return nullptr;
  const Item* it = itemOf(*s, id);
  return it ? itemIdAt(*s, it->target) : nullptr;
}

LWItemID goal(LWItemID) { return nullptr; }

LWItemType type(LWItemID id) {
  Scene* s = scene();
  const Item* it = s ? itemOf(*s, id) : nullptr;
  return it ? LWItemType(it->type) : LWItemType(-1);
}

// Names as Layout shows them: the second item of a type with a name already taken bears
// " (2)" behind it, the third " (3)", so that clones can be told apart and found again. The
// texts are kept per item so that a name handed out stays valid while it does not change.
struct ShownNames {
  std::mutex mutex;
  std::map<LWItemID, std::string> names;
};

const char* name(LWItemID id) {
  Host* h = Host::current();
  Scene* s = h ? &h->scene() : nullptr;
  const int index = s ? itemIndexOf(*s, id) : -1;
  if (index < 0) return nullptr;
  const Item& it = s->items[size_t(index)];
  int copy = 1;
  for (int i = 0; i < index; ++i) {
    const Item& other = s->items[size_t(i)];
    if (other.type == it.type && other.name == it.name &&
        (it.type != ItemType::Bone || other.bone.objectIndex == it.bone.objectIndex))
      ++copy;
  }
  std::string shown = copy > 1 ? it.name + " (" + std::to_string(copy) + ")" : it.name;
  ShownNames& names = h->state<ShownNames>();
  std::lock_guard<std::mutex> hold(names.mutex);
  std::string& kept = names.names[id];
  if (kept != shown) kept = std::move(shown);
  return kept.c_str();
}

bool paramOf(LWItemParam p, ItemParam& out) {
  switch (p) {
    case LWIP_POSITION: out = ItemParam::Position; return true;
    case LWIP_RIGHT: out = ItemParam::Right; return true;
    case LWIP_UP: out = ItemParam::Up; return true;
    case LWIP_FORWARD: out = ItemParam::Forward; return true;
    case LWIP_ROTATION: out = ItemParam::Rotation; return true;
    case LWIP_SCALING: out = ItemParam::Scaling; return true;
    case LWIP_PIVOT: out = ItemParam::Pivot; return true;
    case LWIP_W_POSITION: out = ItemParam::WorldPosition; return true;
    case LWIP_W_RIGHT: out = ItemParam::WorldRight; return true;
    case LWIP_W_UP: out = ItemParam::WorldUp; return true;
    case LWIP_W_FORWARD: out = ItemParam::WorldForward; return true;
    case LWIP_PIVOT_ROT: out = ItemParam::PivotRotation; return true;
  }
  return false;
}

void param(LWItemID id, LWItemParam p, LWTime time, LWDVector vector) {
  if (!vector) return;
  vector[0] = vector[1] = vector[2] = 0.0;
  Scene* s = scene();
  if (!s) return;
  const int i = itemIndexOf(*s, id);
  ItemParam which;
  if (i < 0 || !paramOf(p, which)) return;
  const Vec3 v = itemParam(*s, i, which, time);
  for (int k = 0; k < 3; ++k) vector[k] = v[size_t(k)];
}

unsigned int limits(LWItemID, LWItemParam, LWDVector min, LWDVector max) {
  for (int k = 0; k < 3; ++k) {
    if (min) min[k] = 0.0;
    if (max) max[k] = 0.0;
  }
  return 0;
}

const char* getTag(LWItemID, int) { return nullptr; }
void setTag(LWItemID, int, const char*) {}
LWChanGroupID chanGroup(LWItemID) { return nullptr; }

// The nth (from 1) server of a class that the item carries, as the scene lists them.
const char* server(LWItemID id, const char* serverClass, int index) {
  Scene* s = scene();
  const Item* it = s ? itemOf(*s, id) : nullptr;
  if (!it || !serverClass || index < 1) return nullptr;
  int n = 0;
  for (const PluginBlock& b : it->plugins)
    if (b.serverClass == serverClass && ++n == index) return b.name.c_str();
  return nullptr;
}

unsigned int serverFlags(LWItemID, const char*, int) { return 0; }

void controller(LWItemID id, LWItemParam p, int types[3]) {
  if (!types) return;
  types[0] = types[1] = types[2] = LWMOTCTL_KEYFRAMES;
  Scene* s = scene();
  const Item* it = s ? itemOf(*s, id) : nullptr;
  if (!it || p != LWIP_ROTATION || it->target < 0) return;
  if (it->targetHeading) types[0] = LWMOTCTL_TARGETING;
  if (it->targetPitch) types[1] = LWMOTCTL_TARGETING;
}

unsigned int flags(LWItemID id) {
  Scene* s = scene();
  const Item* it = s ? itemOf(*s, id) : nullptr;
  return it ? it->flags() : 0u;
}

LWTime lookAhead(LWItemID) { return 0.0; }
double goalStrength(LWItemID, LWTime) { return 0.0; }
void stiffness(LWItemID, LWItemParam, LWDVector v) {
  if (v) v[0] = v[1] = v[2] = 0.0;
}
unsigned int axisLocks(LWItemID, LWItemParam) { return 0; }

// ---- bones ----

const Item* bone(LWItemID id) {
  Scene* s = scene();
  const Item* it = s ? itemOf(*s, id) : nullptr;
  return it && it->type == ItemType::Bone ? it : nullptr;
}

unsigned int boneFlags(LWItemID id) {
  const Item* b = bone(id);
  return b && b->bone.active ? LWBONEF_ACTIVE : 0u;
}

void boneRestParam(LWItemID id, LWItemParam p, LWDVector v) {
  if (!v) return;
  v[0] = v[1] = v[2] = 0.0;
  const Item* b = bone(id);
  if (!b) return;
  if (p == LWIP_POSITION)
    for (int k = 0; k < 3; ++k) v[k] = b->bone.restPosition[size_t(k)];
  else if (p == LWIP_ROTATION)
    for (int k = 0; k < 3; ++k) v[k] = b->bone.restRotation[size_t(k)];
  else if (p == LWIP_SCALING)
    v[0] = v[1] = v[2] = 1.0;
}

double boneRestLength(LWItemID id) {
  const Item* b = bone(id);
  return b ? b->bone.restLength : 0.0;
}

void boneLimits(LWItemID, double* inner, double* outer) {
  if (inner) *inner = 0.0;
  if (outer) *outer = 0.0;
}

const char* boneWeightMap(LWItemID) { return nullptr; }
double boneStrength(LWItemID id) { return bone(id) ? 1.0 : 0.0; }
int boneFalloff(LWItemID) { return 0; }
void boneJointComp(LWItemID, double* self, double* parent) {
  if (self) *self = 0.0;
  if (parent) *parent = 0.0;
}
void boneMuscleFlex(LWItemID, double* self, double* parent) {
  if (self) *self = 0.0;
  if (parent) *parent = 0.0;
}
int boneType(LWItemID) { return LWBONETYPE_ZAXIS; }
double boneTwist(LWItemID) { return 0.0; }

struct ItemTables {
  LWItemInfo items{first,      next,       firstChild, nextChild, parent,   target, goal,
                   type,       name,       param,      limits,    getTag,   setTag, chanGroup,
                   server,     serverFlags, controller, flags,    lookAhead, goalStrength,
                   stiffness,  axisLocks};
  LWBoneInfo bones{boneFlags,    boneRestParam, boneRestLength, boneLimits, boneWeightMap, boneStrength,
                   boneFalloff,  boneJointComp, boneMuscleFlex, boneType,   boneTwist};
};

}  // namespace

void registerItemInfo(Host& host) {
  ItemTables& t = host.state<ItemTables>();
  host.services().addVersioned(LWITEMINFO_GLOBAL, 4, [&t](int) -> void* { return &t.items; });
  host.services().addVersioned(LWBONEINFO_GLOBAL, 2, [&t](int) -> void* { return &t.bones; });
}

}  // namespace host
