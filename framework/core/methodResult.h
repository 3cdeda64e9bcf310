#pragma once

#include <memory>
#include <utility>

#include "framework/core/dataValue.h"

namespace Mirel::Core {

// What a provider answers: a value or an error, of which the other is null.
class MethodResult {
 public:
  MethodResult(Data::DataValuePtr outputValue, Data::ErrorValuePtr errorValue, bool isTerminal)
      : output(std::move(outputValue)), error(std::move(errorValue)), terminal(isTerminal) {}
  virtual ~MethodResult() = default;

  static std::shared_ptr<const MethodResult> GetInstance(Data::DataValuePtr output) {
    return std::make_shared<const MethodResult>(std::move(output), nullptr, false);
  }
  static std::shared_ptr<const MethodResult> GetErrorInstance(Data::ErrorValuePtr error) {
    return std::make_shared<const MethodResult>(nullptr, std::move(error), true);
  }

  const Data::DataValuePtr output;
  const Data::ErrorValuePtr error;
  // No result follows this one.
  const bool terminal;
};

}  // namespace Mirel::Core
