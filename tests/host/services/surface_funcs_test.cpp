// Surface Functions: finding an object's surfaces, and the channels the renderer reads, from
// corpus files and from surfaces built here.
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
using Objects = std::vector<std::pair<std::string, std::shared_ptr<const host::ObjectModel>>>;

const fs::path kCorpus = fs::path(OMBREL_CORPUS_DIR) / "lightwave" / "LWO" / "LWO2";

// A host whose scene loads each object from the path given.
std::unique_ptr<host::Host> hostWith(const Objects& objects) {
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

std::pair<std::string, std::shared_ptr<const host::ObjectModel>> corpus(const std::string& name) {
  host::ObjectModel m;
  std::string error;
  const std::string path = (kCorpus / name).string();
  return {path, host::readObjectFile(path, m, error) ? std::make_shared<const host::ObjectModel>(std::move(m)) : nullptr};
}

LWSurfaceFuncs* surfaces(host::Host& h) { return static_cast<LWSurfaceFuncs*>(h.global(LWSURFACEFUNCS_GLOBAL, 0)); }

std::vector<LWSurfaceID> list(LWSurfaceID* ids) {
  std::vector<LWSurfaceID> v;
  for (; ids && *ids; ++ids) v.push_back(*ids);
  return v;
}

TEST(SurfaceFuncs, ObjectsSurfacesByNameAndByObjectFile) {
  if (!fs::exists(kCorpus / "uvtest.lwo")) GTEST_SKIP() << "no test corpus at " << kCorpus;
  const auto uv = corpus("uvtest.lwo"), box = corpus("boxuv.lwo");
  auto h = hostWith({uv, box, {"Objects/second_uvtest.lwo", uv.second}});
  LWSurfaceFuncs* sf = surfaces(*h);

  // The list: uvtest's sixteen in file order, then the box's one; an object loaded twice
  // shares its surfaces.
  std::vector<LWSurfaceID> all;
  for (LWSurfaceID s = sf->first(); s; s = sf->next(s)) all.push_back(s);
  ASSERT_EQ(all.size(), 17u);
  EXPECT_EQ(std::set<LWSurfaceID>(all.begin(), all.end()).size(), 17u);
  EXPECT_STREQ(sf->name(all[0]), "surface1");
  EXPECT_STREQ(sf->name(all[16]), "boxSurface");
  EXPECT_EQ(sf->sceneObject(all[16]), box.first);

  EXPECT_EQ(list(sf->byObject(uv.first.c_str())).size(), 16u);
  EXPECT_EQ(list(sf->byObject("second_uvtest.lwo")).size(), 16u);  // by the bare file name
  const auto third = list(sf->byName("surface3", uv.first.c_str()));
  ASSERT_EQ(third.size(), 1u);
  EXPECT_STREQ(sf->name(third[0]), "surface3");
  EXPECT_EQ(list(sf->byName("boxSurface", nullptr)), std::vector<LWSurfaceID>{all[16]});
  EXPECT_TRUE(list(sf->byName("boxSurface", uv.first.c_str())).empty());
  EXPECT_TRUE(list(sf->byObject("elsewhere.lwo")).empty());

  // Ids stay when the host moves in time, and ids it never gave out are refused.
  h->setTime(1.0);
  EXPECT_EQ(sf->first(), all[0]);
  EXPECT_EQ(list(sf->byName("surface3", uv.first.c_str())), third);
  const auto bogus = reinterpret_cast<LWSurfaceID>(uintptr_t(99999));
  EXPECT_EQ(sf->name(bogus), nullptr);
  EXPECT_EQ(sf->getFlt(bogus, "Diffuse"), nullptr);
}

TEST(SurfaceFuncs, CorpusChannelValues) {
  if (!fs::exists(kCorpus / "transparency.lwo")) GTEST_SKIP() << "no test corpus at " << kCorpus;
  const auto gloss = corpus("sphere_with_mat_gloss_10pc.lwo"), clear = corpus("transparency.lwo");
  auto h = hostWith({gloss, clear});
  LWSurfaceFuncs* sf = surfaces(*h);
  const LWSurfaceID g = list(sf->byObject(gloss.first.c_str())).at(0), t = list(sf->byObject(clear.first.c_str())).at(0);
  EXPECT_NEAR(sf->getFlt(g, "BaseColor")[1], 128.0 / 255, 1e-6);
  EXPECT_NEAR(sf->getFlt(g, "BaseColor")[2], 192.0 / 255, 1e-6);
  EXPECT_NEAR(sf->getFlt(g, "Glossiness")[0], 0.2, 1e-6);
  EXPECT_EQ(sf->getFlt(g, "Specularity")[0], 1.0);
  EXPECT_NEAR(sf->getFlt(g, "SmoothingAngle")[0], 1.5626, 1e-4);
  EXPECT_EQ(sf->getInt(g, "Sidedness"), 1);
  EXPECT_EQ(sf->getInt(t, "Sidedness"), 3);
  EXPECT_EQ(sf->getFlt(t, "Transparency")[0], 0.5);
  EXPECT_EQ(sf->getFlt(t, "IOR")[0], 1.0);
  EXPECT_EQ(sf->getTex(t, "Transparency"), nullptr);
  EXPECT_EQ(sf->getEnv(t, "Transparency"), nullptr);
  EXPECT_EQ(sf->colorVMap(t), nullptr);
}

TEST(SurfaceFuncs, DefaultsEnvelopesTexturesAndVertexColours) {
  host::ObjectBuilder b("built.lwo");
  b.surface("Plain");
  host::Surface& s = b.surface("Busy");
  s.luminosity.envelope = 3;
  s.sidedness = host::SideDouble;
  s.reflectionOptions = 2;
  s.alphaOptions = 1;
  s.alphaValue = 0.25;
  s.vertexColorMap = "paint";
  s.color.layers.resize(1);
  host::ObjectEnvelope e;
  e.index = 3;
  e.envelope.keys.resize(2);
  e.envelope.keys[1].time = 2.0, e.envelope.keys[1].value = 1.0, e.envelope.keys[1].shape = host::KeyShape::Linear;
  b.model().envelopes.push_back(e);
  auto h = hostWith({{"built.lwo", std::make_shared<const host::ObjectModel>(b.finish())}});
  LWSurfaceFuncs* sf = surfaces(*h);
  const LWSurfaceID plain = list(sf->byName("Plain", "built.lwo")).at(0);
  const LWSurfaceID busy = list(sf->byName("Busy", "built.lwo")).at(0);

  // What a new surface holds in Layout; a name no surface has reads 0.
  for (auto [channel, value] : {std::pair{"Diffuse", 1.0}, {"Glossiness", 0.4}, {"IOR", 1.0}, {"Bump", 1.0},
                                {"AlphaValue", 1.0}, {"Luminosity", 0.0}, {"Transparency", 0.0},
                                {"AdditiveTransparency", 0.0}, {"SmoothingAngle", 0.0}, {"NoSuchChannel", 0.0}})
    EXPECT_DOUBLE_EQ(sf->getFlt(plain, channel)[0], value) << channel;
  EXPECT_NEAR(sf->getFlt(plain, "BaseColor")[2], 200.0 / 255.0, 1e-6);
  for (auto [channel, value] : {std::pair{"Sidedness", 1}, {"ReflectionOptions", 1}, {"AlphaOptions", 2}})
    EXPECT_EQ(sf->getInt(plain, channel), value) << channel;
  EXPECT_EQ(sf->getEnv(plain, "Luminosity"), nullptr);
  EXPECT_EQ(sf->getTex(plain, "BaseColor"), nullptr);
  EXPECT_EQ(sf->getImg(plain, "ReflectionImage"), nullptr);
  EXPECT_EQ(sf->colorVMap(plain), nullptr);

  for (auto [channel, value] : {std::pair{"Sidedness", 3}, {"ReflectionOptions", 2}, {"AlphaOptions", 1}})
    EXPECT_EQ(sf->getInt(busy, channel), value) << channel;
  EXPECT_STREQ(sf->colorVMap(busy), "paint");
  // An enveloped channel: the envelope evaluates through "Animation Envelopes", and getFlt
  // gives its value at the host's time.
  const LWEnvelopeID env = sf->getEnv(busy, "Luminosity");
  auto* ef = static_cast<LWEnvelopeFuncs*>(h->global(LWENVELOPEFUNCS_GLOBAL, 0));
  EXPECT_DOUBLE_EQ(ef->evaluate(env, 1.0), 0.5);
  h->setTime(0.5);
  EXPECT_DOUBLE_EQ(sf->getFlt(busy, "Luminosity")[0], 0.25);
  // A channel with layers has a texture, the same one each time.
  const LWTextureID tex = sf->getTex(busy, "BaseColor");
  EXPECT_NE(tex, nullptr);
  EXPECT_EQ(sf->getTex(busy, "BaseColor"), tex);
  // Each channel keeps its own answer, so two reads in a row don't overwrite each other.
  const double* a = sf->getFlt(busy, "AlphaValue");
  const double* d = sf->getFlt(busy, "Diffuse");
  EXPECT_EQ(*a + *d, 1.25);
}

}  // namespace
