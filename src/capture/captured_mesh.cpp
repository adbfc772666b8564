#include "capture/captured_mesh.h"

#include <cmath>
#include <cstring>

#include <lwrender.h>

#include "runtime/global_services.h"
#include "runtime/memory.h"

namespace {

constexpr LWID kFace = 0x46414345u;  // 'FACE'
constexpr LWID kSurfTag = 0x53555246u;  // 'SURF'
constexpr LWID kPartTag = 0x50415254u;  // 'PART'

// A growing array of 32-bit words on the tracked allocator.
struct WordList {
  int32_t* words = nullptr;
  int32_t count = 0;
  int32_t capacity = 0;

  bool push(int32_t word) {
    if (count == capacity) {
      const int32_t grown = capacity ? capacity * 2 : 64;
      auto* bigger = static_cast<int32_t*>(memRealloc(words, size_t(grown) * sizeof(int32_t)));
      if (!bigger) return false;
      words = bigger;
      capacity = grown;
    }
    words[count++] = word;
    return true;
  }
  void release() {
    memFree(words);
    *this = {};
  }
};

// What the polygon scan collects before the mesh's polygon arrays can be sized.
struct PolygonScan {
  CapturedMesh* mesh;
  WordList corners;     // point index of each corner, in scan order
  WordList cornerEnds;  // running corner count after each polygon
  const char** surfaceTags;  // per polygon, null for untagged
  const char** partTags;
  ByteKeyTable* surfaceSet;  // name pointer -> index
  ByteKeyTable* partSet;
  int32_t capacity;  // the host's polygon count, which bounds the FACE polygons
  bool failed;       // an allocation failed, or the host gave more than it counted
};

int scanPointIds(void* data, LWPntID point) {
  auto* mesh = static_cast<CapturedMesh*>(data);
  if (mesh->scanIndex >= mesh->pointCount) return 1;  // the host gave more than it counted
  const int32_t index = mesh->scanIndex++;
  ByteKeyTable_Add(mesh->pointIndex, &point, &index);
  mesh->pointIds[index] = point;
  return 0;
}

int scanPolygon(void* data, LWPolID polygon) {
  auto* scan = static_cast<PolygonScan*>(data);
  CapturedMesh* mesh = scan->mesh;
  LWMeshInfo* info = mesh->meshInfo;
  if (info->polType(info, polygon) != kFace) return 0;  // curves, bones and the like are not geometry for rays
  if (mesh->polygonCount >= scan->capacity) {
    scan->failed = true;
    return 1;
  }
  const int size = info->polSize(info, polygon);
  mesh->vertexRefCount += size > 0 ? size : 0;
  const int32_t zero = 0;
  const char* surface = info->polTag(info, polygon, kSurfTag);
  ByteKeyTable_AddPair(scan->surfaceSet, &surface, &zero);
  const char* part = info->polTag(info, polygon, kPartTag);
  if (part) ByteKeyTable_AddPair(scan->partSet, &part, &zero);
  scan->surfaceTags[mesh->polygonCount] = surface;
  scan->partTags[mesh->polygonCount] = part;
  mesh->polygonIds[mesh->polygonCount] = polygon;
  ++mesh->polygonCount;
  int result = 0;
  for (int v = 0; v < size; ++v) {
    LWPntID point = info->polVertex(info, polygon, v);
    int32_t index;
    if (!ByteKeyTable_Find(mesh->pointIndex, &point, 1, &index)) {
      result = 1;  // a vertex the point scan didn't give: the mesh keeps what it has so far
      break;
    }
    if (!scan->corners.push(index)) {
      scan->failed = true;
      result = 1;
      break;
    }
  }
  if (!scan->cornerEnds.push(scan->corners.count)) {
    scan->failed = true;
    --mesh->polygonCount;
    return 1;
  }
  return result;
}

int scanPointPositions(void* data, LWPntID point) {
  auto* mesh = static_cast<CapturedMesh*>(data);
  if (mesh->scanIndex >= mesh->pointCount) return 1;
  float* p = mesh->points + size_t(mesh->scanIndex++) * 3;
  mesh->meshInfo->pntBasePos(mesh->meshInfo, point, p);
  // The box widens only on strict single-precision comparisons.
  double* mins[3] = {&mesh->boxMinX, &mesh->boxMinY, &mesh->boxMinZ};
  double* maxs[3] = {&mesh->boxMaxX, &mesh->boxMaxY, &mesh->boxMaxZ};
  for (int a = 0; a < 3; ++a) {
    if (p[a] < float(*mins[a])) *mins[a] = p[a];
    if (p[a] > float(*maxs[a])) *maxs[a] = p[a];
  }
  return 0;
}

void releaseMeshInfo(CapturedMesh* mesh) {
  if (mesh->meshInfo && mesh->meshInfo->destroy) mesh->meshInfo->destroy(mesh->meshInfo);
  mesh->meshInfo = nullptr;
}

// Numbers the names of a set in its iteration order, copies them into one block, and
// gives each polygon its name's index. Returns false on a failed allocation.
bool numberNames(ByteKeyTable* set, const char* const* tags, int32_t polygonCount, const char* nullName,
                 char** storageOut, char*** namesOut, int32_t* countOut, uint16_t* polygonIndex) {
  const char* name;
  int32_t count = 0;
  size_t bytes = 0;
  ByteKeyTable_Rewind(set);
  while (ByteKeyTable_Next(set, &name, nullptr)) {
    bytes += std::strlen(name ? name : nullName) + 1;
    ++count;
  }
  *countOut = count;
  if (count > 0) {
    char* storage = static_cast<char*>(memAlloc(bytes));
    char** names = static_cast<char**>(memAlloc(size_t(count) * sizeof(char*)));
    if (!storage || !names) {
      memFree(storage);
      memFree(names);
      return false;
    }
    *storageOut = storage;
    *namesOut = names;
    int32_t index = 0;
    ByteKeyTable_Rewind(set);
    while (ByteKeyTable_Next(set, &name, nullptr)) {
      const char* text = name ? name : nullName;
      const size_t length = std::strlen(text) + 1;
      std::memcpy(storage, text, length);
      names[index] = storage;
      storage += length;
      // Put replaces, so the walk's next step still finds the rest of the set in place.
      ByteKeyTable_Put(set, &name, &index);
      ++index;
    }
  }
  for (int32_t p = 0; p < polygonCount; ++p) {
    int32_t index;
    const bool found = ByteKeyTable_Find(set, &tags[p], 1, &index);
    // Indices past the fixed surface table would read beyond it; they count as unknown.
    polygonIndex[p] = found && index < kMaxMeshSurfaces ? uint16_t(index) : kUnknownNameIndex;
  }
  return true;
}

LWSurfaceID firstOf(LWSurfaceID* list) { return list ? list[0] : nullptr; }

void findSurfaces(CapturedMesh* mesh) {
  LWSurfaceFuncs* funcs = globalServices.surfaceFuncs;
  if (!funcs) return;
  const char* file = globalServices.objectInfo->filename(mesh->item);
  const int32_t count = mesh->surfaceCount < kMaxMeshSurfaces ? mesh->surfaceCount : kMaxMeshSurfaces;
  for (int32_t i = 0; i < count; ++i) {
    const char* name = mesh->surfaceNames[i];
    LWSurfaceID id = firstOf(funcs->byName(name, file));
    if (!id) id = firstOf(funcs->byObject(file));
    if (!id) id = firstOf(funcs->byName(name, nullptr));
    if (!id) id = funcs->first();
    mesh->surfaceIds[i] = id;
  }
}

// The point-to-polygon lists: counts, starts, then each polygon at each of its corners.
bool buildPointPolygons(CapturedMesh* mesh) {
  if (mesh->pointCount <= 0) return true;
  const size_t points = size_t(mesh->pointCount);
  mesh->pointPolygonCounts = static_cast<int32_t*>(memAllocZero(points * sizeof(int32_t)));
  mesh->pointPolygonLists = static_cast<int32_t**>(memAlloc(points * sizeof(int32_t*)));
  mesh->pointPolygonStorage = static_cast<int32_t*>(memAlloc(size_t(mesh->vertexRefCount) * sizeof(int32_t)));
  if (!mesh->pointPolygonCounts || !mesh->pointPolygonLists || !mesh->pointPolygonStorage) return false;
  const int32_t corners = mesh->polygonCount > 0 ? mesh->polygonEnds[mesh->polygonCount - 1] : 0;
  for (int32_t c = 0; c < corners; ++c) ++mesh->pointPolygonCounts[mesh->polygonPoints[c]];
  int32_t start = 0;
  for (size_t p = 0; p < points; ++p) {
    mesh->pointPolygonLists[p] = mesh->pointPolygonStorage + start;
    start += mesh->pointPolygonCounts[p];
    mesh->pointPolygonCounts[p] = 0;
  }
  for (int32_t polygon = 0; polygon < mesh->polygonCount; ++polygon) {
    const int32_t end = mesh->polygonEnds[polygon];
    for (int32_t c = polygon ? mesh->polygonEnds[polygon - 1] : 0; c < end; ++c) {
      const int32_t point = mesh->polygonPoints[c];
      mesh->pointPolygonLists[point][mesh->pointPolygonCounts[point]++] = polygon;
    }
  }
  return true;
}

void freeScan(PolygonScan& scan) {
  scan.corners.release();
  scan.cornerEnds.release();
  memFree(scan.surfaceTags);
  memFree(scan.partTags);
  ByteKeyTable_Destroy(scan.surfaceSet);
  ByteKeyTable_Destroy(scan.partSet);
  scan = {};
}

CapturedMesh* fail(CapturedMesh* mesh, PolygonScan* scan, int* error) {
  if (scan) freeScan(*scan);
  if (mesh) {
    releaseMeshInfo(mesh);
    Mesh_Destroy(mesh);
  }
  *error = 2;
  return nullptr;
}

// Reads the base positions and the box; the last step of every successful read.
void readPoints(CapturedMesh* mesh) {
  mesh->boxMinX = mesh->boxMinY = mesh->boxMinZ = 3e37;
  mesh->boxMaxX = mesh->boxMaxY = mesh->boxMaxZ = -3e37;
  mesh->scanIndex = 0;
  if (mesh->points) mesh->meshInfo->scanPoints(mesh->meshInfo, scanPointPositions, mesh);
  const double dx = mesh->boxMaxX - mesh->boxMinX;
  const double dy = mesh->boxMaxY - mesh->boxMinY;
  const double dz = mesh->boxMaxZ - mesh->boxMinZ;
  mesh->diagonal = std::sqrt(dx * dx + dy * dy + dz * dz);
}

}  // namespace

int Mesh_SameShape(const CapturedMesh* mesh, LWItemID item) {
  LWObjectInfo* info = globalServices.objectInfo;
  return info->numPoints(item) == mesh->pointCount && info->numPolygons(item) == mesh->polygonCount;
}

CapturedMesh* Mesh_Create(CapturedMesh* old, LWItemID item, int* error) {
  LWObjectInfo* objectInfo = globalServices.objectInfo;
  *error = 0;
  if (old && Mesh_SameShape(old, item)) {
    old->meshInfo = objectInfo->meshInfo(item, 1);
    if (!old->meshInfo) {
      *error = 2;
      return nullptr;
    }
    readPoints(old);
    releaseMeshInfo(old);
    return old;
  }
  Mesh_Destroy(old);

  auto* mesh = static_cast<CapturedMesh*>(memAllocZero(sizeof(CapturedMesh)));
  if (!mesh) return fail(nullptr, nullptr, error);
  mesh->item = item;
  mesh->meshInfo = objectInfo->meshInfo(item, 1);
  if (!mesh->meshInfo) return fail(mesh, nullptr, error);
  LWMeshInfo* info = mesh->meshInfo;

  const int points = info->numPoints(info);
  const int polygons = info->numPolygons(info);
  mesh->pointCount = points > 0 ? points : 0;
  mesh->polygonCount = polygons > 0 ? polygons : 0;
  mesh->points = static_cast<float*>(memAllocZero(size_t(mesh->pointCount) * 3 * sizeof(float)));
  if (!mesh->points) return fail(mesh, nullptr, error);

  mesh->pointIndex = ByteKeyTable_Create(2 * mesh->pointCount + 20, 2 * mesh->pointCount + 20,
                                         int32_t(sizeof(LWPntID)), 4);
  mesh->pointIds = static_cast<LWPntID*>(memAllocZero(size_t(mesh->pointCount) * sizeof(LWPntID)));
  mesh->polygonIds = static_cast<LWPolID*>(memAllocZero(size_t(mesh->polygonCount) * sizeof(LWPolID)));
  if (!mesh->pointIndex || !mesh->pointIds || !mesh->polygonIds) return fail(mesh, nullptr, error);

  mesh->scanIndex = 0;
  info->scanPoints(info, scanPointIds, mesh);

  PolygonScan scan{};
  scan.mesh = mesh;
  scan.surfaceTags = static_cast<const char**>(memAlloc(size_t(mesh->polygonCount) * sizeof(char*)));
  scan.partTags = static_cast<const char**>(memAlloc(size_t(mesh->polygonCount) * sizeof(char*)));
  scan.surfaceSet = ByteKeyTable_Create(30, 30, int32_t(sizeof(char*)), 4);
  scan.partSet = ByteKeyTable_Create(30, 30, int32_t(sizeof(char*)), 4);
  if (!scan.surfaceTags || !scan.partTags || !scan.surfaceSet || !scan.partSet) return fail(mesh, &scan, error);

  scan.capacity = mesh->polygonCount;
  mesh->scanIndex = 0;
  mesh->polygonCount = 0;
  mesh->vertexRefCount = 0;
  info->scanPolys(info, scanPolygon, &scan);
  if (scan.failed) return fail(mesh, &scan, error);
  // A scan stopped by an unknown vertex leaves its last polygon short.
  mesh->vertexRefCount = scan.corners.count;

  const size_t polygonsRead = size_t(mesh->polygonCount);
  mesh->polygonSurface = static_cast<uint16_t*>(memAllocZero(polygonsRead * sizeof(uint16_t)));
  mesh->polygonPart = static_cast<uint16_t*>(memAllocZero(polygonsRead * sizeof(uint16_t)));
  mesh->polygonPoints = static_cast<int32_t*>(memAlloc(size_t(mesh->vertexRefCount) * sizeof(int32_t)));
  mesh->polygonEnds = static_cast<int32_t*>(memAlloc(polygonsRead * sizeof(int32_t)));
  if (!mesh->polygonSurface || !mesh->polygonPart || !mesh->polygonPoints || !mesh->polygonEnds)
    return fail(mesh, &scan, error);
  if (scan.corners.count) std::memcpy(mesh->polygonPoints, scan.corners.words, size_t(scan.corners.count) * sizeof(int32_t));
  if (polygonsRead) std::memcpy(mesh->polygonEnds, scan.cornerEnds.words, polygonsRead * sizeof(int32_t));

  if (!numberNames(scan.surfaceSet, scan.surfaceTags, mesh->polygonCount, "Default", &mesh->surfaceNameStorage,
                   &mesh->surfaceNames, &mesh->surfaceCount, mesh->polygonSurface) ||
      !numberNames(scan.partSet, scan.partTags, mesh->polygonCount, "(none)", &mesh->partNameStorage,
                   &mesh->partNames, &mesh->partCount, mesh->polygonPart))
    return fail(mesh, &scan, error);
  // The object's surface records are one per entry of the fixed table at most.
  if (mesh->surfaceCount > kMaxMeshSurfaces) mesh->surfaceCount = kMaxMeshSurfaces;

  findSurfaces(mesh);
  if (!buildPointPolygons(mesh)) return fail(mesh, &scan, error);

  freeScan(scan);
  readPoints(mesh);
  releaseMeshInfo(mesh);
  return mesh;
}

void Mesh_Destroy(CapturedMesh* mesh) {
  if (!mesh) return;
  memFree(mesh->points);
  memFree(mesh->polygonPoints);
  memFree(mesh->polygonEnds);
  memFree(mesh->pointPolygonCounts);
  memFree(mesh->pointPolygonLists);
  memFree(mesh->pointPolygonStorage);
  memFree(mesh->polygonSurface);
  memFree(mesh->surfaceNameStorage);
  memFree(mesh->surfaceNames);
  memFree(mesh->polygonPart);
  memFree(mesh->partNameStorage);
  memFree(mesh->partNames);
  ByteKeyTable_Destroy(mesh->pointIndex);
  memFree(mesh->pointIds);
  memFree(mesh->polygonIds);
  memFree(mesh);
}

int32_t Mesh_PointOf(const CapturedMesh* mesh, LWPntID point) {
  int32_t index = 0;
  if (!mesh->pointIndex || !ByteKeyTable_Find(mesh->pointIndex, &point, 1, &index)) return 0;
  return index;
}
