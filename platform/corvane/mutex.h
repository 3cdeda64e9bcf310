#pragma once

#include <mutex>
#include <shared_mutex>

// What a lock guards, in words that clang's thread-safety analysis checks (-Wthread-safety, an error in every
// build by clang). Other compilers see nothing of it.
#ifdef __clang__
#define CORVANE_THREAD_ANNOTATION(attribute) __attribute__((attribute))
#else
#define CORVANE_THREAD_ANNOTATION(attribute)
#endif

// A class whose objects can be held: a mutex.
#define CORVANE_CAPABILITY CORVANE_THREAD_ANNOTATION(capability("mutex"))
// A class whose objects hold one for as long as they live.
#define CORVANE_SCOPED_CAPABILITY CORVANE_THREAD_ANNOTATION(scoped_lockable)
// A member that is only touched under the lock.
#define CORVANE_GUARDED_BY(mutex) CORVANE_THREAD_ANNOTATION(guarded_by(mutex))
// A function whose caller holds the lock.
#define CORVANE_REQUIRES(...) CORVANE_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
// A function that takes the lock and keeps it, or gives it up.
#define CORVANE_ACQUIRE(...) CORVANE_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define CORVANE_ACQUIRE_SHARED(...) CORVANE_THREAD_ANNOTATION(acquire_shared_capability(__VA_ARGS__))
#define CORVANE_RELEASE(...) CORVANE_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define CORVANE_RELEASE_SHARED(...) CORVANE_THREAD_ANNOTATION(release_shared_capability(__VA_ARGS__))

namespace Corvane {

// std::mutex, known to the analysis.
class CORVANE_CAPABILITY Mutex {
 public:
  void lock() CORVANE_ACQUIRE() { mutex_.lock(); }
  void unlock() CORVANE_RELEASE() { mutex_.unlock(); }

 private:
  friend class MutexLock;

  std::mutex mutex_;
};

// std::shared_mutex, known to the analysis.
class CORVANE_CAPABILITY SharedMutex {
 public:
  void lock() CORVANE_ACQUIRE() { mutex_.lock(); }
  void unlock() CORVANE_RELEASE() { mutex_.unlock(); }
  void lock_shared() CORVANE_ACQUIRE_SHARED() { mutex_.lock_shared(); }
  void unlock_shared() CORVANE_RELEASE_SHARED() { mutex_.unlock_shared(); }

 private:
  std::shared_mutex mutex_;
};

// Holds a mutex until the end of the scope. It can give the mutex up earlier and take it again.
class CORVANE_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) CORVANE_ACQUIRE(mutex) : lock_(mutex.mutex_) {}
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;
  ~MutexLock() CORVANE_RELEASE() = default;

  void lock() CORVANE_ACQUIRE() { lock_.lock(); }
  void unlock() CORVANE_RELEASE() { lock_.unlock(); }
  // For std::condition_variable, which gives the mutex back held.
  std::unique_lock<std::mutex>& Native() { return lock_; }

 private:
  std::unique_lock<std::mutex> lock_;
};

// Hold a shared mutex until the end of the scope: alone, or together with other readers.
class CORVANE_SCOPED_CAPABILITY WriterLock {
 public:
  explicit WriterLock(SharedMutex& mutex) CORVANE_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  WriterLock(const WriterLock&) = delete;
  WriterLock& operator=(const WriterLock&) = delete;
  ~WriterLock() CORVANE_RELEASE() { mutex_.unlock(); }

 private:
  SharedMutex& mutex_;
};

class CORVANE_SCOPED_CAPABILITY ReaderLock {
 public:
  explicit ReaderLock(SharedMutex& mutex) CORVANE_ACQUIRE_SHARED(mutex) : mutex_(mutex) {
    mutex_.lock_shared();
  }
  ReaderLock(const ReaderLock&) = delete;
  ReaderLock& operator=(const ReaderLock&) = delete;
  ~ReaderLock() CORVANE_RELEASE() { mutex_.unlock_shared(); }

 private:
  SharedMutex& mutex_;
};

}  // namespace Corvane
