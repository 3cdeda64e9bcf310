#pragma once

#include <functional>
#include <utility>

// Does once, in the middle of what this thread does, what another thread could do there: at the thread's gap
// of that number, counted from 0. A gap is where others can come in: in front of the lock of a mutex and
// after the unlock, while the thread holds no other one. Tried at each gap in turn, it finds a check that is
// parted from what hangs on it each time, where threads find it once in a while.
//
// The program has to be linked with the options of this folder's CMakeLists.txt.
class Interruption {
 public:
  Interruption(int gap, std::function<void()> deed);
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;
  ~Interruption();

  bool HasHappened() const { return gap_ < 0; }

  void BeforeLock();
  void AfterLock() { ++held_; }
  void AfterUnlock();

 private:
  void ComeToGap();

  int gap_;
  int held_ = 0;
  const std::function<void()> deed_;
};
