#pragma once

#include <atomic>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "platform/corvane/mutex.h"

namespace Corvane {

// Base of everything that is shared by counting. The count lives in the object and starts at 0: the first
// Ref makes it 1, and the last one to go deletes the object. An object that is held by value (a member, a
// local) works as well, as long as no Ref to it is ever made: the last one would delete it.
class ObjectImpl {
 public:
  ObjectImpl() = default;
  ObjectImpl(const ObjectImpl&) = delete;
  ObjectImpl& operator=(const ObjectImpl&) = delete;
  virtual ~ObjectImpl() = default;

  void AddRef() const noexcept { count_.fetch_add(1, std::memory_order_relaxed); }
  void ReleaseRef() const noexcept {
    if (count_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

 private:
  mutable std::atomic<std::uint32_t> count_{0};
};

// Counted pointer. T is an ObjectImpl, or any type that offers AddRef and ReleaseRef.
template <typename T>
class Ref {
 public:
  Ref() noexcept = default;
  Ref(std::nullptr_t) noexcept {}
  Ref(T* object) noexcept : object_(object) { Acquire(); }
  Ref(const Ref& other) noexcept : object_(other.object_) { Acquire(); }
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <typename U>
  requires std::is_convertible_v<U*, T*> Ref(const Ref<U>& other)
  noexcept : object_(other.get()) { Acquire(); }
  ~Ref() { reset(); }

  // Takes its argument by value, so that it serves copy, move, conversion and self-assignment.
  Ref& operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  void reset() noexcept {
    if (T* object = std::exchange(object_, nullptr)) object->ReleaseRef();
  }

  T* get() const noexcept { return object_; }
  // The analyzer takes any release of another Ref for the last one.
  T* operator->() const noexcept { return object_; }  // NOLINT(clang-analyzer-cplusplus.NewDelete)
  T& operator*() const noexcept { return *object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }

  template <typename U>
  bool operator==(const Ref<U>& other) const noexcept {
    return object_ == other.get();
  }
  bool operator==(const T* other) const noexcept { return object_ == other; }
  bool operator==(std::nullptr_t) const noexcept { return object_ == nullptr; }

 private:
  void Acquire() const noexcept {
    if (object_ != nullptr) object_->AddRef();
  }

  T* object_ = nullptr;
};

template <typename T, typename... Args>
Ref<T> MakeRef(Args&&... args) {
  return Ref<T>(new T(std::forward<Args>(args)...));
}

namespace System {

// An object with one lock of its own. The lock is not recursive.
class CORVANE_CAPABILITY LockableObjectImpl : public ObjectImpl {
 public:
  void Lock() CORVANE_ACQUIRE() {
    mutex_.lock();
    locked_.store(true, std::memory_order_relaxed);
  }
  void Unlock() CORVANE_RELEASE() {
    locked_.store(false, std::memory_order_relaxed);
    mutex_.unlock();
  }
  // Whether any thread holds the lock at this moment; for assertions only.
  bool IsLocked() const noexcept { return locked_.load(std::memory_order_relaxed); }

 private:
  Mutex mutex_;
  std::atomic<bool> locked_{false};
};

// Holds an object's lock for the life of the scope.
class [[nodiscard]] CORVANE_SCOPED_CAPABILITY Synchronized {
 public:
  explicit Synchronized(LockableObjectImpl* object) CORVANE_ACQUIRE(object) : object_(object) {
    object_->Lock();
  }
  explicit Synchronized(LockableObjectImpl& object) CORVANE_ACQUIRE(object) : object_(&object) {
    object_->Lock();
  }
  Synchronized(const Synchronized&) = delete;
  Synchronized& operator=(const Synchronized&) = delete;
  // Whoever locks an object holds it by other means: it cannot be gone here, as the analyzer fears.
  ~Synchronized() CORVANE_RELEASE() { object_->Unlock(); }  // NOLINT(clang-analyzer-cplusplus.NewDelete)

 private:
  LockableObjectImpl* object_;
};

}  // namespace System
}  // namespace Corvane
