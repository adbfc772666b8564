#pragma once
// The stand-in host with a scene, quiet, and the module's services started on it, for tests
// of module code that asks the host for items, messages and the like. Header-only: the test
// program links the host's libraries and the module's runtime itself.
#include <memory>

#include "host/services/host.h"
#include "runtime/global_services.h"

namespace testhost {

class StartedHost {
 public:
  explicit StartedHost(host::Scene scene) {
    host::HostSettings settings;
    settings.messagesToStderr = false;
    host_ = std::make_unique<host::Host>(std::move(scene), settings);
    globalServices = {};
    started_ = serverStart(host::Host::globalFunction()) == 0;
  }
  ~StartedHost() {
    globalServices = {};
    host_.reset();
  }
  StartedHost(const StartedHost&) = delete;
  StartedHost& operator=(const StartedHost&) = delete;

  bool started() const { return started_; }
  host::Host& host() { return *host_; }

 private:
  std::unique_ptr<host::Host> host_;
  bool started_ = false;
};

}  // namespace testhost
