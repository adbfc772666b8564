#pragma once
// A lit box before a camera, written as a scene file with its object beside it: tiny pictures
// of it render a level in moments, for the tests that run the render command.
#include <filesystem>
#include <string>

namespace testscene {

// Writes box.lwo and tiny.lws into `dir`, frames 1 to `frames` at width x height. Returns the
// scene's path, or "" with `error` saying why.
std::string writeTinyBoxScene(const std::filesystem::path& dir, int width, int height, int frames,
                              std::string& error);

}  // namespace testscene
