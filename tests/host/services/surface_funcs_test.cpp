// Surface Functions: finding an object's surfaces, and the channels the renderer reads, from
// corpus files and from surfaces built here.
#include <cmath>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <lwenvel.h>
#include <lwsurf.h>

#include "host/formats/lwo_builder.h"
#include "host/formats/lwo_reader.h"
#include "host/services/host.h"

namespace {

namespace fs = std::filesystem;

const fs::path kCorpus = fs::path(OMBREL_CORPUS_DIR) / "lightwave" / "LWO" / "LWO2";

std::unique_ptr<host::Host> hostWith(const std::vector<std::pair<std::string, std::shared_ptr<const host::ObjectModel>>>& objects) {
  host::Scene scene;
  for (const auto& [path, model] : objects) {
    const int i = scene.addItem(host::ItemType::Object, fs::path(path).stem().string());
    scene.items[size_t(i)].object.model = model;
    scene.items[size_t(i)].object.path = path;
  }
  host::HostSettings quiet;
  quiet.messagesToStderr = false;
  return std::make_unique<host::Host>(std::move(scene), quiet);
}

std::shared_ptr<const host::ObjectModel> readModel(const fs::path& p) {
  host::ObjectModel m;
  std::string error;
  if (!host::readObjectFile(p.string(), m, error)) return nullptr;
  return std::make_shared<const host::ObjectModel>(std::move(m));
}

LWSurfaceFuncs* surfaces(host::Host& h) { return static_cast<LWSurfaceFuncs*>(h.global(LWSURFACEFUNCS_GLOBAL, 0)); }

std::vector<LWSurfaceID> list(LWSurfaceID* ids) {
  std::vector<LWSurfaceID> v;
  for (; ids && *ids; ++ids) v.push_back(*ids);
  return v;
}

TEST(SurfaceFuncs, ObjectsSurfacesByNameAndByObjectFile) {
  if (!fs::exists(kCorpus / "uvtest.lwo")) GTEST_SKIP() << "no test corpus at " << kCorpus;
  const std::string uvPath = (kCorpus / "uvtest.lwo").string(), boxPath = (kCorpus / "boxuv.lwo").string();
  auto uv = readModel(uvPath), box = readModel(boxPath);
  ASSERT_TRUE(uv && box);
  auto h = hostWith({{uvPath, uv}, {boxPath, box}, {"Objects/second_uvtest.lwo", uv}});
  LWSurfaceFuncs* sf = surfaces(*h);
  ASSERT_NE(sf, nullptr);

  // The list: uvtest's sixteen in file order, then the box's one; an object loaded twice
  // shares its surfaces.
  std::vector<LWSurfaceID> all;
  for (LWSurfaceID s = sf->first(); s; s = sf->next(s)) all.push_back(s);
  ASSERT_EQ(all.size(), 17u);
  EXPECT_EQ(std::set<LWSurfaceID>(all.begin(), all.end()).size(), 17u);
  EXPECT_STREQ(sf->name(all[0]), "surface1");
  EXPECT_STREQ(sf->name(all[16]), "boxSurface");
  EXPECT_STREQ(sf->sceneObject(all[16]), boxPath.c_str());

  EXPECT_EQ(list(sf->byObject(uvPath.c_str())).size(), 16u);
  EXPECT_EQ(list(sf->byObject("second_uvtest.lwo")).size(), 16u);  // by the bare file name
  const auto third = list(sf->byName("surface3", uvPath.c_str()));
  ASSERT_EQ(third.size(), 1u);
  EXPECT_STREQ(sf->name(third[0]), "surface3");
  EXPECT_EQ(list(sf->byName("boxSurface", nullptr)), std::vector<LWSurfaceID>{all[16]});
  EXPECT_TRUE(list(sf->byName("boxSurface", uvPath.c_str())).empty());
  EXPECT_TRUE(list(sf->byName("nothing", nullptr)).empty());
  EXPECT_TRUE(list(sf->byObject("elsewhere.lwo")).empty());

  // Ids stay when the host moves in time, and ids it never gave out are refused.
  h->setTime(1.0);
  EXPECT_EQ(sf->first(), all[0]);
  EXPECT_EQ(list(sf->byName("surface3", uvPath.c_str())), third);
  const auto bogus = reinterpret_cast<LWSurfaceID>(uintptr_t(99999));
  EXPECT_EQ(sf->name(bogus), nullptr);
  EXPECT_EQ(sf->getFlt(bogus, "Diffuse"), nullptr);
  EXPECT_EQ(sf->next(bogus), nullptr);
}

TEST(SurfaceFuncs, CorpusChannelValues) {
  if (!fs::exists(kCorpus / "transparency.lwo")) GTEST_SKIP() << "no test corpus at " << kCorpus;
  const std::string gloss = (kCorpus / "sphere_with_mat_gloss_10pc.lwo").string();
  const std::string clear = (kCorpus / "transparency.lwo").string();
  auto h = hostWith({{gloss, readModel(gloss)}, {clear, readModel(clear)}});
  LWSurfaceFuncs* sf = surfaces(*h);
  const auto g = list(sf->byObject(gloss.c_str())), t = list(sf->byObject(clear.c_str()));
  ASSERT_EQ(g.size(), 1u);
  ASSERT_EQ(t.size(), 1u);

  const double* colour = sf->getFlt(g[0], "BaseColor");
  EXPECT_NEAR(colour[0], 1.0, 1e-6);
  EXPECT_NEAR(colour[1], 128.0 / 255.0, 1e-6);
  EXPECT_NEAR(colour[2], 192.0 / 255.0, 1e-6);
  EXPECT_NEAR(sf->getFlt(g[0], "Glossiness")[0], 0.2, 1e-6);
  EXPECT_NEAR(sf->getFlt(g[0], "Specularity")[0], 1.0, 1e-6);
  EXPECT_NEAR(sf->getFlt(g[0], "SmoothingAngle")[0], 1.5626, 1e-4);
  EXPECT_EQ(sf->getInt(g[0], "Sidedness"), 1);

  EXPECT_EQ(sf->getInt(t[0], "Sidedness"), 3);
  EXPECT_DOUBLE_EQ(sf->getFlt(t[0], "Transparency")[0], 0.5);
  EXPECT_DOUBLE_EQ(sf->getFlt(t[0], "IOR")[0], 1.0);
  EXPECT_EQ(sf->getTex(t[0], "Transparency"), nullptr);
  EXPECT_EQ(sf->getEnv(t[0], "Transparency"), nullptr);
  EXPECT_EQ(sf->colorVMap(t[0]), nullptr);
}

TEST(SurfaceFuncs, LayoutsDefaultsEnvelopesTexturesAndVertexColours) {
  host::ObjectBuilder b("built.lwo");
  b.surface("Plain");
  host::Surface& s = b.surface("Busy");
  s.luminosity.envelope = 3;
  s.luminosity.value = 0.2;
  s.sidedness = host::SideDouble;
  s.reflectionOptions = 2;
  s.alphaOptions = 1;
  s.alphaValue = 0.25;
  s.vertexColorMap = "paint";
  s.vertexColoring = 0.5;
  s.color.layers.resize(1);
  s.color.layers[0].type = host::TextureType::Gradient;
  host::ObjectEnvelope e;
  e.index = 3;
  e.envelope.keys.resize(2);
  e.envelope.keys[0].time = 0.0, e.envelope.keys[0].value = 0.0, e.envelope.keys[0].shape = host::KeyShape::Linear;
  e.envelope.keys[1].time = 2.0, e.envelope.keys[1].value = 1.0, e.envelope.keys[1].shape = host::KeyShape::Linear;
  b.model().envelopes.push_back(e);
  auto model = std::make_shared<const host::ObjectModel>(b.finish());
  auto h = hostWith({{"built.lwo", model}});
  LWSurfaceFuncs* sf = surfaces(*h);
  const LWSurfaceID plain = list(sf->byName("Plain", "built.lwo")).at(0);
  const LWSurfaceID busy = list(sf->byName("Busy", "built.lwo")).at(0);

  // What a new surface holds in Layout.
  struct Default {
    const char* channel;
    double value;
  };
  for (const Default& d : {Default{"Diffuse", 1.0}, Default{"Glossiness", 0.4}, Default{"IOR", 1.0},
                           Default{"Bump", 1.0}, Default{"Luminosity", 0.0}, Default{"Specularity", 0.0},
                           Default{"Reflectivity", 0.0}, Default{"Transparency", 0.0}, Default{"Translucency", 0.0},
                           Default{"AlphaValue", 1.0}, Default{"VertexColoring", 0.0}, Default{"ColorHighlights", 0.0},
                           Default{"ColorFilter", 0.0}, Default{"AdditiveTransparency", 0.0},
                           Default{"DiffuseSharpness", 0.0}, Default{"ReflectionSeamAngle", 0.0},
                           Default{"RefractionSeamAngle", 0.0}, Default{"ReflectionBlurring", 0.0},
                           Default{"RefractionBlurring", 0.0}, Default{"SmoothingAngle", 0.0},
                           Default{"NoSuchChannel", 0.0}})
    EXPECT_DOUBLE_EQ(sf->getFlt(plain, d.channel)[0], d.value) << d.channel;
  const double* grey = sf->getFlt(plain, "BaseColor");
  for (int k = 0; k < 3; ++k) EXPECT_NEAR(grey[k], 200.0 / 255.0, 1e-6);
  EXPECT_EQ(sf->getInt(plain, "Sidedness"), 1);
  EXPECT_EQ(sf->getInt(plain, "ReflectionOptions"), 1);
  EXPECT_EQ(sf->getInt(plain, "RefractionOptions"), 1);
  EXPECT_EQ(sf->getInt(plain, "AlphaOptions"), 0);
  for (const char* c : {"BaseColor", "Luminosity", "Diffuse", "Bump"}) {
    EXPECT_EQ(sf->getEnv(plain, c), nullptr) << c;
    EXPECT_EQ(sf->getTex(plain, c), nullptr) << c;
  }
  EXPECT_EQ(sf->getImg(plain, "ReflectionImage"), nullptr);

  EXPECT_EQ(sf->getInt(busy, "Sidedness"), 3);
  EXPECT_EQ(sf->getInt(busy, "ReflectionOptions"), 2);
  EXPECT_EQ(sf->getInt(busy, "AlphaOptions"), 1);
  EXPECT_DOUBLE_EQ(sf->getFlt(busy, "AlphaValue")[0], 0.25);
  EXPECT_STREQ(sf->colorVMap(busy), "paint");

  // An enveloped channel: its envelope evaluates through "Animation Envelopes", and getFlt
  // gives the value at the host's time.
  const LWEnvelopeID env = sf->getEnv(busy, "Luminosity");
  ASSERT_NE(env, nullptr);
  auto* ef = static_cast<LWEnvelopeFuncs*>(h->global(LWENVELOPEFUNCS_GLOBAL, 0));
  EXPECT_DOUBLE_EQ(ef->evaluate(env, 1.0), 0.5);
  EXPECT_EQ(sf->getEnv(busy, "Luminosity"), env);
  h->setTime(0.5);
  EXPECT_DOUBLE_EQ(sf->getFlt(busy, "Luminosity")[0], 0.25);

  // A channel with layers has a texture, the same one each time.
  const LWTextureID tex = sf->getTex(busy, "BaseColor");
  EXPECT_NE(tex, nullptr);
  EXPECT_EQ(sf->getTex(busy, "BaseColor"), tex);
  EXPECT_EQ(sf->getTex(busy, "Diffuse"), nullptr);

  // Each channel keeps its own answer, so two reads in a row don't overwrite each other.
  const double* a = sf->getFlt(busy, "AlphaValue");
  const double* d = sf->getFlt(busy, "Diffuse");
  EXPECT_DOUBLE_EQ(*a, 0.25);
  EXPECT_DOUBLE_EQ(*d, 1.0);
}

}  // namespace
