// "Animation Envelopes": evaluates the model's envelopes, and keeps the ones a plug-in makes.
#include "host/services/envelope_funcs.h"

#include <algorithm>
#include <map>
#include <memory>
#include <shared_mutex>
#include <string>
#include <vector>

#include <lwenvel.h>

#include "host/services/host.h"

namespace host {

namespace {

// One envelope behind an id. Read-only ones point into the model; a plug-in's own are held
// here, with an id per key that stays put when keys are added or taken away.
struct EnvelopeRecord {
  std::shared_ptr<const void> owner;
  const Envelope* shared = nullptr;
  std::unique_ptr<Envelope> own;
  std::vector<uintptr_t> keyIds;  // parallel to own->keys
  uintptr_t nextKeyId = 1;
  int age = 0;

  const Envelope* envelope() const { return own ? own.get() : shared; }
};

struct EnvelopeTable {
  std::shared_mutex mutex;
  std::map<uintptr_t, std::unique_ptr<EnvelopeRecord>> records;
  std::map<const Envelope*, uintptr_t> byModel;
  // Ids are small numbers, never addresses, so a stale id is caught rather than followed.
  uintptr_t nextId = 1;
  LWEnvelopeFuncs funcs{};
};

EnvelopeTable* table() {
  Host* h = Host::current();
  return h ? &h->state<EnvelopeTable>() : nullptr;
}

LWEnvelopeID toId(uintptr_t v) { return reinterpret_cast<LWEnvelopeID>(v); }
uintptr_t fromId(LWEnvelopeID id) { return reinterpret_cast<uintptr_t>(id); }

EnvelopeRecord* record(EnvelopeTable& t, LWEnvelopeID id) {
  auto it = t.records.find(fromId(id));
  return it == t.records.end() ? nullptr : it->second.get();
}

// An own record's key by id, as an index; -1 if not there.
int keyIndex(const EnvelopeRecord& r, LWEnvKeyframeID key) {
  const auto it = std::find(r.keyIds.begin(), r.keyIds.end(), reinterpret_cast<uintptr_t>(key));
  return it == r.keyIds.end() ? -1 : int(it - r.keyIds.begin());
}

LWEnvKeyframeID keyId(uintptr_t v) { return reinterpret_cast<LWEnvKeyframeID>(v); }

// Keys of a model's envelope are read as numbers from 1, as they can't move.
void ensureKeyIds(EnvelopeRecord& r) {
  if (r.own) return;
  const size_t n = r.shared->keys.size();
  if (r.keyIds.size() == n) return;
  r.keyIds.resize(n);
  for (size_t i = 0; i < n; ++i) r.keyIds[i] = i + 1;
}

LWEnvelopeID create(LWChanGroupID, const char* name, int) {
  EnvelopeTable* t = table();
  if (!t) return nullptr;
  std::unique_lock lock(t->mutex);
  auto r = std::make_unique<EnvelopeRecord>();
  r->own = std::make_unique<Envelope>();
  if (name) r->own->name = name;
  const uintptr_t id = t->nextId++;
  t->records[id] = std::move(r);
  return toId(id);
}

void destroy(LWEnvelopeID id) {
  EnvelopeTable* t = table();
  if (!t) return;
  std::unique_lock lock(t->mutex);
  auto it = t->records.find(fromId(id));
  if (it == t->records.end() || !it->second->own) return;  // the model's stay
  t->records.erase(it);
}

LWChanGroupID createGroup(LWChanGroupID, const char*) { return nullptr; }
void destroyGroup(LWChanGroupID) {}

LWError copy(LWEnvelopeID to, LWEnvelopeID from) {
  EnvelopeTable* t = table();
  if (!t) return "No host";
  std::unique_lock lock(t->mutex);
  EnvelopeRecord* a = record(*t, to);
  EnvelopeRecord* b = record(*t, from);
  if (!a || !b) return "Unknown envelope";
  if (!a->own) return "The envelope belongs to the scene and can't be changed";
  const std::string name = a->own->name;
  *a->own = *b->envelope();
  a->own->name = name;
  a->keyIds.clear();
  for (size_t i = 0; i < a->own->keys.size(); ++i) a->keyIds.push_back(a->nextKeyId++);
  ++a->age;
  return nullptr;
}

LWError load(LWEnvelopeID, const LWLoadState*) { return "Envelopes are not read from plug-in data by this host"; }
LWError save(LWEnvelopeID, const LWSaveState*) { return "Envelopes are not written to plug-in data by this host"; }

double evaluate(LWEnvelopeID id, LWTime time) {
  EnvelopeTable* t = table();
  if (!t) return 0.0;
  std::shared_lock lock(t->mutex);
  const EnvelopeRecord* r = record(*t, id);
  return r ? r->envelope()->evaluate(time) : 0.0;
}

int edit(LWChanGroupID, LWEnvelopeID, int, void*) { return 0; }

int envAge(LWEnvelopeID id) {
  EnvelopeTable* t = table();
  if (!t) return 0;
  std::shared_lock lock(t->mutex);
  const EnvelopeRecord* r = record(*t, id);
  return r ? r->age : 0;
}

LWEnvKeyframeID createKey(LWEnvelopeID id, LWTime time, double value) {
  EnvelopeTable* t = table();
  if (!t) return nullptr;
  std::unique_lock lock(t->mutex);
  EnvelopeRecord* r = record(*t, id);
  if (!r || !r->own) return nullptr;
  auto& keys = r->own->keys;
  size_t at = 0;
  while (at < keys.size() && keys[at].time < time) ++at;
  if (at < keys.size() && keys[at].time == time) {  // a key at that time takes the value
    keys[at].value = value;
    ++r->age;
    return keyId(r->keyIds[at]);
  }
  EnvelopeKey k;
  k.time = time;
  k.value = value;
  keys.insert(keys.begin() + long(at), k);
  r->keyIds.insert(r->keyIds.begin() + long(at), r->nextKeyId);
  ++r->age;
  return keyId(r->nextKeyId++);
}

void destroyKey(LWEnvelopeID id, LWEnvKeyframeID key) {
  EnvelopeTable* t = table();
  if (!t) return;
  std::unique_lock lock(t->mutex);
  EnvelopeRecord* r = record(*t, id);
  if (!r || !r->own) return;
  const int i = keyIndex(*r, key);
  if (i < 0) return;
  r->own->keys.erase(r->own->keys.begin() + i);
  r->keyIds.erase(r->keyIds.begin() + i);
  ++r->age;
}

LWEnvKeyframeID findKey(LWEnvelopeID id, LWTime time) {
  EnvelopeTable* t = table();
  if (!t) return nullptr;
  std::unique_lock lock(t->mutex);
  EnvelopeRecord* r = record(*t, id);
  if (!r) return nullptr;
  ensureKeyIds(*r);
  const auto& keys = r->envelope()->keys;
  for (size_t i = 0; i < keys.size(); ++i)
    if (std::abs(keys[i].time - time) < 1e-9) return keyId(r->keyIds[i]);
  return nullptr;
}

LWEnvKeyframeID stepKey(LWEnvelopeID id, LWEnvKeyframeID key, int step) {
  EnvelopeTable* t = table();
  if (!t) return nullptr;
  std::unique_lock lock(t->mutex);
  EnvelopeRecord* r = record(*t, id);
  if (!r) return nullptr;
  ensureKeyIds(*r);
  const int n = int(r->keyIds.size());
  if (n == 0) return nullptr;
  if (!key) return keyId(r->keyIds[step > 0 ? 0 : size_t(n - 1)]);
  const int i = keyIndex(*r, key);
  const int j = i + step;
  return i < 0 || j < 0 || j >= n ? nullptr : keyId(r->keyIds[size_t(j)]);
}

LWEnvKeyframeID nextKey(LWEnvelopeID id, LWEnvKeyframeID key) { return stepKey(id, key, 1); }
LWEnvKeyframeID prevKey(LWEnvelopeID id, LWEnvKeyframeID key) { return stepKey(id, key, -1); }

double* keyField(EnvelopeKey& k, LWKeyTag tag) {
  switch (tag) {
    case LWKEY_VALUE: return &k.value;
    case LWKEY_TIME: return &k.time;
    case LWKEY_TENSION: return &k.tension;
    case LWKEY_CONTINUITY: return &k.continuity;
    case LWKEY_BIAS: return &k.bias;
    case LWKEY_PARAM_0: return &k.param[0];
    case LWKEY_PARAM_1: return &k.param[1];
    case LWKEY_PARAM_2: return &k.param[2];
    case LWKEY_PARAM_3: return &k.param[3];
    default: return nullptr;
  }
}

int keyGet(LWEnvelopeID id, LWEnvKeyframeID key, LWKeyTag tag, void* value) {
  EnvelopeTable* t = table();
  if (!t || !value) return 0;
  std::unique_lock lock(t->mutex);
  EnvelopeRecord* r = record(*t, id);
  if (!r) return 0;
  ensureKeyIds(*r);
  const int i = keyIndex(*r, key);
  if (i < 0) return 0;
  EnvelopeKey k = r->envelope()->keys[size_t(i)];
  if (tag == LWKEY_SHAPE) {
    *static_cast<int*>(value) = int(k.shape);
    return 1;
  }
  double* field = keyField(k, tag);
  if (!field) return 0;
  *static_cast<double*>(value) = *field;
  return 1;
}

int keySet(LWEnvelopeID id, LWEnvKeyframeID key, LWKeyTag tag, void* value) {
  EnvelopeTable* t = table();
  if (!t || !value) return 0;
  std::unique_lock lock(t->mutex);
  EnvelopeRecord* r = record(*t, id);
  if (!r || !r->own) return 0;
  const int i = keyIndex(*r, key);
  if (i < 0) return 0;
  EnvelopeKey& k = r->own->keys[size_t(i)];
  if (tag == LWKEY_SHAPE) {
    const int shape = *static_cast<int*>(value);
    if (shape < 0 || shape > int(KeyShape::Bezier2D)) return 0;
    k.shape = KeyShape(shape);
  } else {
    double* field = keyField(k, tag);
    if (!field) return 0;
    *field = *static_cast<double*>(value);
  }
  if (tag == LWKEY_TIME) {  // keep the keys in time order, their ids with them
    std::vector<size_t> order(r->own->keys.size());
    for (size_t j = 0; j < order.size(); ++j) order[j] = j;
    std::stable_sort(order.begin(), order.end(),
                     [&](size_t a, size_t b) { return r->own->keys[a].time < r->own->keys[b].time; });
    std::vector<EnvelopeKey> keys;
    std::vector<uintptr_t> ids;
    for (size_t j : order) {
      keys.push_back(r->own->keys[j]);
      ids.push_back(r->keyIds[j]);
    }
    r->own->keys = std::move(keys);
    r->keyIds = std::move(ids);
  }
  ++r->age;
  return 1;
}

int setEnvEvent(LWEnvelopeID, LWEnvEventFunc*, void*) { return 0; }

int egSet(LWEnvelopeID id, LWChanGroupID, int tag, void* value) {
  EnvelopeTable* t = table();
  if (!t || !value) return 0;
  std::unique_lock lock(t->mutex);
  EnvelopeRecord* r = record(*t, id);
  if (!r || !r->own) return 0;
  const int v = *static_cast<int*>(value);
  if (v < 0 || v > int(EnvBehavior::Linear)) return 0;
  if (tag == LWENVTAG_STARTBEHAVE) r->own->pre = EnvBehavior(v);
  else if (tag == LWENVTAG_ENDBEHAVE) r->own->post = EnvBehavior(v);
  else return 0;
  ++r->age;
  return 1;
}

int egGet(LWEnvelopeID id, LWChanGroupID, int tag, void* value) {
  EnvelopeTable* t = table();
  if (!t || !value) return 0;
  std::shared_lock lock(t->mutex);
  const EnvelopeRecord* r = record(*t, id);
  if (!r) return 0;
  int* out = static_cast<int*>(value);
  switch (tag) {
    case LWENVTAG_VISIBLE: *out = 1; return 1;
    case LWENVTAG_STARTBEHAVE: *out = int(r->envelope()->pre); return 1;
    case LWENVTAG_ENDBEHAVE: *out = int(r->envelope()->post); return 1;
    case LWENVTAG_KEYCOUNT: *out = int(r->envelope()->keys.size()); return 1;
  }
  return 0;
}

}  // namespace

LWEnvelopeID envelopeIdOf(Host& host, std::shared_ptr<const void> owner, const Envelope* envelope) {
  if (!envelope) return nullptr;
  EnvelopeTable& t = host.state<EnvelopeTable>();
  std::unique_lock lock(t.mutex);
  if (auto it = t.byModel.find(envelope); it != t.byModel.end()) return toId(it->second);
  auto r = std::make_unique<EnvelopeRecord>();
  r->owner = std::move(owner);
  r->shared = envelope;
  const uintptr_t id = t.nextId++;
  t.records[id] = std::move(r);
  t.byModel[envelope] = id;
  return toId(id);
}

const Envelope* envelopeOf(Host& host, LWEnvelopeID id) {
  EnvelopeTable& t = host.state<EnvelopeTable>();
  std::shared_lock lock(t.mutex);
  const EnvelopeRecord* r = record(t, id);
  return r ? r->envelope() : nullptr;
}

void registerEnvelopeFuncs(Host& host) {
  EnvelopeTable& t = host.state<EnvelopeTable>();
  t.funcs = LWEnvelopeFuncs{create,    destroy, createGroup, destroyGroup, copy,    load,       save,
                            evaluate,  edit,    envAge,      createKey,    destroyKey, findKey, nextKey,
                            prevKey,   keySet,  keyGet,      setEnvEvent,  egSet,   egGet};
  host.services().add(LWENVELOPEFUNCS_GLOBAL, [&t](int) -> void* { return &t.funcs; });
}

}  // namespace host
