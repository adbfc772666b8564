// Loads the runtime once before any test, as the module's load constructor does.
#include <gtest/gtest.h>

#include "runtime/module_load.h"

namespace {

class RuntimeEnvironment : public ::testing::Environment {
 public:
  void SetUp() override { ASSERT_EQ(runtimeLoad(), 1); }
  void TearDown() override { runtimeUnload(); }
};

[[maybe_unused]] auto* const environment = ::testing::AddGlobalTestEnvironment(new RuntimeEnvironment);

}  // namespace
