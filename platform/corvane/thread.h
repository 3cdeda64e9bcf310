#pragma once

#include <pthread.h>

#include <cstddef>
#include <functional>
#include <string>

#include "platform/corvane/object.h"

namespace Corvane::System {

// A running thread. A thread that nobody joins runs on when its last reference goes, until the process ends.
class Thread final : public ObjectImpl {
 public:
  // See Corvane::Service::Application::StartThread.
  Thread(const std::string& name, std::function<void()> body, std::size_t stackBytes);
  ~Thread() override;

  // Waits for the end of the body. Only the first call has an effect.
  void Join();

 private:
  pthread_t handle_{};
  bool joined_ = false;
};

}  // namespace Corvane::System
