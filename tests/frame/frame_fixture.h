#pragma once
// Common set-up of the frame's tests: a fresh module state and a test host per test. The
// runtime is loaded once for the whole program, as the module's load would do it.
#include <gtest/gtest.h>

#include "frame/frame_hooks.h"
#include "frame/master_instance.h"
#include "frame/previews.h"
#include "frame/shader_handler.h"
#include "frame/shader_surface.h"
#include "runtime/global_services.h"
#include "support/test_host.h"

class FrameTest : public ::testing::Test {
 protected:
  void SetUp() override {
    globalServices = {};
    frameHooks = {};
    masterInstance = nullptr;
    viewerList = nullptr;
    shaderSurfaceList = nullptr;
    shaderHandlerLocal = nullptr;
  }
  void TearDown() override { masterInstance = nullptr; }

  // Runs a successful common start and forgets what it looked up.
  void startModule() {
    ASSERT_EQ(serverStart(host.global()), 0);
    host.clearRecords();
  }

  testhost::TestHost host;
};
