#include "platform/corvane/thread.h"

#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

#include "platform/corvane/exception.h"

namespace Corvane::System {
namespace {

constexpr std::size_t kLongestName = 15;  // the kernel's limit

struct Start {
  std::string name;
  std::function<void()> body;
};

extern "C" void* RunThread(void* argument) noexcept {
  const std::unique_ptr<Start> start(static_cast<Start*>(argument));
  ::pthread_setname_np(::pthread_self(), start->name.c_str());
  start->body();
  return nullptr;
}

class Attributes {
 public:
  Attributes() { ::pthread_attr_init(&attributes_); }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;
  ~Attributes() { ::pthread_attr_destroy(&attributes_); }

  void SetStackSize(std::size_t bytes) {
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    bytes = std::max(bytes, static_cast<std::size_t>(PTHREAD_STACK_MIN));
    ::pthread_attr_setstacksize(&attributes_, (bytes + page - 1) / page * page);
  }
  const pthread_attr_t* Get() const { return &attributes_; }

 private:
  pthread_attr_t attributes_;
};

}  // namespace

Thread::Thread(const std::string& name, std::function<void()> body, std::size_t stackBytes) {
  Attributes attributes;
  if (stackBytes != 0) attributes.SetStackSize(stackBytes);
  auto start = std::make_unique<Start>(Start{name.substr(0, kLongestName), std::move(body)});
  if (const int error = ::pthread_create(&handle_, attributes.Get(), RunThread, start.get())) {
    throw Exception("cannot start thread " + name + ": " + std::strerror(error));
  }
  start.release();  // NOLINT(bugprone-unused-return-value): the thread owns it now
}

Thread::~Thread() {
  if (!joined_) ::pthread_detach(handle_);
}

void Thread::Join() {
  if (!joined_) {
    joined_ = true;
    ::pthread_join(handle_, nullptr);
  }
}

}  // namespace Corvane::System
