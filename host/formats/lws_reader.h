#pragma once
// Reader of LightWave scene files (LWSC, versions 1 to 5): items with their motions, parents
// and pivots, object files loaded once each, lights, cameras, backdrop, fog, render settings,
// and server instances kept as text. Lines it doesn't know are skipped. Flaws whose meaning is
// clear are mended and told as warnings, "scene.lws: line 12: what", once a kind (the list is in
// lws_reader.cpp); a file that can't be read gives false and one message, "scene.lws:12: what".
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/scene/object.h"
#include "host/scene/scene.h"

namespace host {

struct LwsReadOptions {
  // Layout's content folder: object paths are tried relative to it. Empty for none.
  std::string contentDir;
  // Reads one object file; readObjectFile when empty.
  std::function<bool(const std::string& path, ObjectModel& out, std::string& error)> loadObject;
  // False leaves every object's model empty (the paths are still resolved when found).
  bool loadObjects = true;
  // Models already read, by resolved path: a scene read again takes them from here instead of
  // reading their files, and adds the ones it reads. The caller drops the entries of files
  // that changed.
  std::map<std::string, std::shared_ptr<const ObjectModel>>* objectCache = nullptr;
};

// Objects that can't be found or read don't fail the scene: the item stays, without geometry,
// and a message for each goes to `warnings` if given, among the scene's own flaws, followed
// by the flaws the object readers mended (once a file).
bool readSceneFile(const std::string& path, Scene& out, std::string& error,
                   const LwsReadOptions& options = {}, std::vector<std::string>* warnings = nullptr);

// The same from text; `path` names the scene in messages and is the folder objects are looked
// for in.
bool readSceneText(const std::string& text, const std::string& path, Scene& out, std::string& error,
                   const LwsReadOptions& options = {}, std::vector<std::string>* warnings = nullptr);

// Where an object path of a scene is found: as written, in the content folder, beside the scene
// and, by its file name alone, beside the scene. Empty if nowhere.
std::string resolveScenePath(const std::string& written, const std::string& scenePath,
                             const std::string& contentDir);

}  // namespace host
