#pragma once

#include <memory>
#include <string>
#include <vector>

#include "framework/core/asyncApiProvider.h"
#include "framework/core/dataValue.h"

namespace Mirel::Provider {

// One operation of a service. Safe for calls from several threads at once.
class AsyncApiOperation {
 public:
  // Answers through `result`, now or later, on any thread.
  virtual void Call(const Data::DataValuePtr& input, const std::shared_ptr<Core::AsyncActivation>& activation,
                    const Core::AsyncApiResultCb& result) const = 0;
  virtual ~AsyncApiOperation() = default;
};

// What introspection says of an operation.
struct OperationInfo {
  std::string name;
  // The call gives a series of results: a client should accept a streamed response.
  bool stream = false;
};

// One service, as the local provider finds it.
class AsyncApiInterface {
 public:
  virtual const std::string& ServiceName() const = 0;
  virtual std::vector<OperationInfo> Operations() const = 0;
  // Gives false, with a message, when there is no such operation.
  virtual bool LookupOperation(const std::string& name, std::shared_ptr<const AsyncApiOperation>& operation,
                               MessageList& messages) const = 0;
  virtual ~AsyncApiInterface() = default;
};

}  // namespace Mirel::Provider
