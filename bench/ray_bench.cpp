// ombrel-raybench: rays per second of the ray engine against a peer ray tracer (Embree,
// rtcIntersect1 on one thread) over the same triangles, with the grid's build time and
// memory, and the cost of a scene update after one object of many has moved.
//
//   ombrel-raybench [--json] [--rays N] [--data DIR] [--no-update]
//
// Meshes: the scanned meshes in DIR/meshes when present, and a generated sphere, torus,
// triangle soup and a million-triangle sphere. Ray kinds: camera rays (a pinhole looking at
// the mesh, scanline order) and diffuse rays (cosine-weighted from random surface points,
// leaving their polygon). Everything runs on one thread.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "capture/captured_object.h"
#include "capture/scene_capture.h"
#include "ray_peer.h"
#include "ray_world.h"
#include "rayengine/ray_cast.h"
#include "rayengine/voxel_grid.h"
#include "runtime/memory.h"

using namespace raytest;

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

struct Ray {
  double origin[3];
  double direction[3];
  LWItemID skipObject;
  int32_t skipPolygon;
  float peerOrigin[3];
  float peerDirection[3];
  float peerNear;
};

struct Row {
  std::string mesh;
  size_t triangles;
  std::string kind;
  double ombrel;
  double peer;
  double buildMs;
  double gridBytesPerTriangle;
};

void finish(Ray& r, float peerNear) {
  for (int a = 0; a < 3; ++a) {
    r.peerOrigin[a] = float(r.origin[a]);
    r.peerDirection[a] = float(r.direction[a]);
  }
  r.peerNear = peerNear;
}

// A pinhole outside the mesh's box, looking at its middle, in scanline order.
std::vector<Ray> cameraRays(const TriangleMirror& mirror, int count) {
  const double* centre = mirror.centre;
  const double radius = mirror.radius;
  // Looking along (0.3, -0.4, 1), from 2.5 radii away.
  double forward[3] = {0.3, -0.4, 1.0};
  const double fl = std::sqrt(forward[0] * forward[0] + forward[1] * forward[1] + forward[2] * forward[2]);
  for (double& c : forward) c /= fl;
  double right[3] = {forward[2], 0.0, -forward[0]};
  const double rl = std::sqrt(right[0] * right[0] + right[2] * right[2]);
  for (double& c : right) c /= rl;
  const double up[3] = {forward[1] * right[2] - forward[2] * right[1], forward[2] * right[0] - forward[0] * right[2],
                        forward[0] * right[1] - forward[1] * right[0]};
  double eye[3];
  for (int a = 0; a < 3; ++a) eye[a] = centre[a] - forward[a] * 2.5 * radius;
  const int side = std::max(1, int(std::sqrt(double(count))));
  std::vector<Ray> rays;
  rays.reserve(size_t(side) * size_t(side));
  for (int y = 0; y < side; ++y)
    for (int x = 0; x < side; ++x) {
      const double u = (x + 0.5) / side * 2.0 - 1.0, v = (y + 0.5) / side * 2.0 - 1.0;
      Ray r{};
      double length2 = 0.0;
      for (int a = 0; a < 3; ++a) {
        r.origin[a] = eye[a];
        r.direction[a] = forward[a] * 2.5 + (right[a] * u + up[a] * v) * 1.1;
        length2 += r.direction[a] * r.direction[a];
      }
      for (double& c : r.direction) c /= std::sqrt(length2);
      r.skipObject = nullptr;
      r.skipPolygon = -1;
      finish(r, 0.0f);
      rays.push_back(r);
    }
  return rays;
}

// Cosine-weighted from random points of random triangles, each leaving its polygon.
std::vector<Ray> diffuseRays(const TriangleMirror& mirror, int count) {
  Random random(99);
  std::vector<Ray> rays;
  rays.reserve(size_t(count));
  while (int(rays.size()) < count) {
    const MirrorTriangle* t;
    double p[3], n[3];
    if (!mirror.samplePoint(random, t, p, n)) continue;
    Ray r{};
    random.diffuse(n, r.direction);
    RayOffset(p, r.direction, r.origin);
    r.skipObject = t->object->item;
    r.skipPolygon = t->polygon;
    // The peer has no polygon to skip: it starts a little way out instead.
    finish(r, float(1e-5 * mirror.radius));
    rays.push_back(r);
  }
  return rays;
}

double ombrelRate(SceneCapture* capture, const std::vector<Ray>& rays, int kind, double& checksum) {
  auto pass = [&] {
    double sum = 0.0;
    for (const Ray& r : rays) {
      RayHit hit;
      sum += CastRay(capture, r.origin, r.direction, kind, r.skipObject, r.skipPolygon, nullptr, -1.0, &hit);
    }
    return sum;
  };
  pass();  // warm caches, and the lazy inverse transforms
  const auto start = Clock::now();
  checksum = pass();
  return double(rays.size()) / secondsSince(start);
}

double peerRate(const PeerScene& peer, const std::vector<Ray>& rays, bool coherent, double& checksum) {
  auto pass = [&] {
    double sum = 0.0;
    for (const Ray& r : rays) sum += peer.distance(r.peerOrigin, r.peerDirection, r.peerNear, coherent);
    return sum;
  };
  pass();
  const auto start = Clock::now();
  checksum = pass();
  return double(rays.size()) / secondsSince(start);
}

// Grid build time (the better of two rebuilds) and the bytes the grid holds, per triangle.
void measureGrid(CapturedObject* object, size_t triangles, double& buildMs, double& bytesPerTriangle) {
  buildMs = 1e300;
  for (int i = 0; i < 2; ++i) {
    const auto start = Clock::now();
    Grid_Build(object);
    buildMs = std::min(buildMs, secondsSince(start) * 1000.0);
  }
  const size_t cells = size_t(object->countX) * size_t(object->countY) * size_t(object->countZ);
  double bytes = double(cells * sizeof(void*));
  for (size_t i = 0; i < cells; ++i)
    if (object->cells[i]) bytes += memBlockSize(object->cells[i]);
  bytesPerTriangle = bytes / double(std::max<size_t>(triangles, 1));
}

void benchMesh(const std::string& name, const Model& model, int rayCount, std::vector<Row>& rows) {
  RayWorld world;
  world.addObject(model, name, {{0.5, -1.25, 3.0}, {0.4, -0.3, 0.2}, {1.5, 1.5, 1.5}});
  world.start();
  if (world.objects().empty()) return;
  CapturedObject* object = world.objects().front();
  const TriangleMirror mirror(world.capture());
  const size_t triangles = mirror.triangles().size();
  double buildMs, bytesPerTriangle;
  measureGrid(object, triangles, buildMs, bytesPerTriangle);
  const PeerScene peer(mirror, false, false);

  struct Kind {
    const char* name;
    std::vector<Ray> rays;
    int rayKind;
    bool coherent;
  };
  Kind kinds[2] = {{"camera", cameraRays(mirror, rayCount), kRayCamera, true},
                   {"diffuse", diffuseRays(mirror, rayCount), kRayRadiosity, false}};
  for (const Kind& k : kinds) {
    double ours, theirs;
    const double ombrel = ombrelRate(world.capture(), k.rays, k.rayKind, ours);
    const double peerRays = peerRate(peer, k.rays, k.coherent, theirs);
    rows.push_back({name, triangles, k.name, ombrel, peerRays, buildMs, bytesPerTriangle});
  }
}

// SceneCapture_Update after one object of 500 has moved, for two sizes of object.
void benchUpdate(FILE* out) {
  std::fprintf(out, "\nScene update after moving one object of 500 (SceneCapture_Update)\n");
  std::fprintf(out, "%-22s %-20s %14s %16s\n", "polygons per object", "polygons in scene", "capture (s)",
               "per update (ms)");
  struct Size {
    int sides, segments;
  };
  for (const Size size : {Size{10, 11}, Size{100, 101}}) {
    const Model model = sphereModel(1.0f, size.sides, size.segments, "Ball");
    size_t polygons = 0;
    for (const host::Polygon& p : model->layers.front().polygons) polygons += p.vertices.size() >= 3;
    RayWorld world;
    std::vector<int> items;
    for (int i = 0; i < 500; ++i)
      items.push_back(world.addObject(model, "ball" + std::to_string(i), {{double(i % 25) * 3, double(i / 25) * 3, 0}}));
    auto start = Clock::now();
    world.start();
    const double captureSeconds = secondsSince(start);
    const int updates = 200;
    int changed = 0;
    double total = 0.0;
    for (int u = 0; u < updates; ++u) {
      host::Item& item = world.scene().items[size_t(items[size_t(u * 37 % 500)])];
      item.setPosition({double(u % 7), double(u % 5), 1.0 + u});
      start = Clock::now();
      changed += SceneCapture_Update(world.capture(), 0.0);
      total += secondsSince(start);
    }
    if (changed != updates) std::fprintf(out, "  (only %d of %d updates saw the move)\n", changed, updates);
    std::fprintf(out, "%-22zu %-20zu %14.2f %16.4f\n", polygons, polygons * 500, captureSeconds, total / updates * 1000.0);
  }
}

}  // namespace

int main(int argc, char** argv) {
  bool json = false, update = true;
  int rayCount = 1 << 16;
  std::string data = OMBREL_CORPUS_DIR;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--json") {
      json = true;
    } else if (arg == "--no-update") {
      update = false;
    } else if (arg == "--rays" && i + 1 < argc) {
      rayCount = std::max(1, std::atoi(argv[++i]));
    } else if (arg == "--data" && i + 1 < argc) {
      data = argv[++i];
    } else {
      std::fprintf(stderr,
                   "usage: ombrel-raybench [--json] [--rays N] [--data DIR] [--no-update]\n"
                   "  --json       the ray figures as a JSON list on standard output\n"
                   "  --rays N     rays per mesh and kind (default %d)\n"
                   "  --data DIR   where meshes/*.obj are looked for (default %s)\n"
                   "  --no-update  leave out the scene update figures\n",
                   1 << 16, OMBREL_CORPUS_DIR);
      return arg == "--help" ? 0 : 2;
    }
  }
  loadRuntimeOnce();

  struct Mesh {
    std::string name;
    Model model;
  };
  std::vector<Mesh> meshes;
  for (const char* name : {"stanford-bunny", "nefertiti", "ogre", "beast"}) {
    const std::string path = data + "/meshes/" + name + ".obj";
    if (!std::filesystem::exists(path)) continue;
    std::string error;
    if (Model m = objModel(path, error))
      meshes.push_back({name, m});
    else
      std::fprintf(stderr, "%s: %s\n", path.c_str(), error.c_str());
  }
  meshes.push_back({"sphere", sphereModel(1.0f, 256, 128)});
  meshes.push_back({"torus", torusModel(1.0f, 0.3f, 128, 256)});
  meshes.push_back({"soup", soupModel(100000, 0.1f, 5)});
  meshes.push_back({"million", millionModel()});

  std::vector<Row> rows;
  for (const Mesh& m : meshes) benchMesh(m.name, m.model, rayCount, rows);

  if (json) {
    std::printf("[\n");
    for (size_t i = 0; i < rows.size(); ++i) {
      const Row& r = rows[i];
      std::printf("  {\"mesh\": \"%s\", \"triangles\": %zu, \"kind\": \"%s\", \"ombrel_rays_per_s\": %.0f, "
                  "\"peer_rays_per_s\": %.0f, \"build_ms\": %.3f, \"grid_bytes_per_triangle\": %.1f}%s\n",
                  r.mesh.c_str(), r.triangles, r.kind.c_str(), r.ombrel, r.peer, r.buildMs, r.gridBytesPerTriangle,
                  i + 1 < rows.size() ? "," : "");
    }
    std::printf("]\n");
  } else {
    std::printf("Rays per second on one thread: ombrel's CastRay against the peer (Embree rtcIntersect1)\n");
    std::printf("%-16s %10s %-8s %14s %14s %7s %10s %12s\n", "mesh", "triangles", "kind", "ombrel rays/s",
                "peer rays/s", "ratio", "build ms", "grid B/tri");
    for (const Row& r : rows)
      std::printf("%-16s %10zu %-8s %14.0f %14.0f %7.2f %10.1f %12.1f\n", r.mesh.c_str(), r.triangles, r.kind.c_str(),
                  r.ombrel, r.peer, r.ombrel / r.peer, r.buildMs, r.gridBytesPerTriangle);
  }
  std::fflush(stdout);
  // The update figures go beside the JSON, not into it, so that the list stays as it is.
  if (update) benchUpdate(json ? stderr : stdout);
  return 0;
}
