#pragma once

#include <boost/optional.hpp>
#include <exception>
#include <functional>
#include <memory>
#include <utility>

#include "framework/core/asyncApiProvider.h"
#include "framework/core/dataValue.h"
#include "framework/core/stdErrors.h"

namespace Mirel {

// Holds a shared pointer, or nothing. Nothing says to a continuation that no further element is wanted.
template <typename P>
class OptionalPtr {
 public:
  OptionalPtr() = default;
  explicit OptionalPtr(std::shared_ptr<P> value) : value_(std::move(value)) {}
  explicit operator bool() const { return value_ != nullptr; }
  P& operator*() const { return *value_; }
  P* operator->() const { return value_.get(); }

 private:
  std::shared_ptr<P> value_;
};

// Makes the second firing of an answer object end the process: it is a programming error.
struct AsyncResultTerminateCbPolicy {
  template <typename ResultCb>
  void operator()(ResultCb& callbacks) const {
    callbacks.first = [](auto&&...) { std::terminate(); };
    callbacks.second = [](auto&&...) { std::terminate(); };
  }
};

using AsyncStreamResultTerminateCbPolicy = AsyncResultTerminateCbPolicy;

// Answers a call with one value or one error, from any thread. Requires: it is fired at most once. One that
// is destroyed unfired answers nothing.
template <typename T, typename Policy>
class AsyncResult {
 public:
  using ErrorPtr = std::shared_ptr<const ErrorValue>;

  // Requires: one of the two is set. The second is for receivers that also take a native error.
  struct ResultCb {
    std::function<void(const boost::optional<T>&, const ErrorPtr&, const Progress&)> first;
    std::function<void(const boost::optional<T>&, const ErrorPtr&, const boost::optional<Data::NativeError>&,
                       const Progress&)>
        second;
  };

  explicit AsyncResult(ResultCb callbacks) : callbacks_(std::move(callbacks)) {}

  void result(const T& value) const { Fire(value, nullptr); }
  void error(const ErrorPtr& error) const { Fire(boost::none, error); }

 private:
  void Fire(const boost::optional<T>& value, const ErrorPtr& error) const {
    if (callbacks_.first) {
      callbacks_.first(value, error, Progress{});
    } else {
      callbacks_.second(value, error, boost::none, Progress{});
    }
    Policy()(callbacks_);
  }

  // Services get their answer object as const, and yet spend it.
  mutable ResultCb callbacks_;
};

// Answers with one element of a stream. Requires: it is fired at most once. The receiver calls the
// continuation when the element has been sent: with a new answer object for the next element, or with nothing
// when no more is wanted.
template <typename T, typename Policy>
class AsyncStreamResult {
 public:
  using ErrorPtr = std::shared_ptr<const ErrorValue>;
  using Continuation = std::function<void(OptionalPtr<AsyncStreamResult>)>;

  struct ResultCb {
    std::function<void(const boost::optional<T>&, const ErrorPtr&, const Progress&, Continuation&&)> first;
    std::function<void(const boost::optional<T>&, const ErrorPtr&, const boost::optional<Data::NativeError>&,
                       const Progress&, Continuation&&)>
        second;
  };

  explicit AsyncStreamResult(ResultCb callbacks) : callbacks_(std::move(callbacks)) {}

  void result(T value, Continuation continuation) const {
    Fire(std::move(value), nullptr, std::move(continuation));
  }
  // Ends the stream.
  void error(const ErrorPtr& error) const { Fire(boost::none, error, nullptr); }

 private:
  void Fire(const boost::optional<T>& value, const ErrorPtr& error, Continuation continuation) const {
    if (callbacks_.first) {
      callbacks_.first(value, error, Progress{}, std::move(continuation));
    } else {
      callbacks_.second(value, error, boost::none, Progress{}, std::move(continuation));
    }
    Policy()(callbacks_);
  }

  // Services get their answer object as const, and yet spend it.
  mutable ResultCb callbacks_;
};

}  // namespace Mirel
