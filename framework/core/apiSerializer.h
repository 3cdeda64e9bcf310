#pragma once

#include <memory>
#include <string>
#include <system_error>

#include "framework/core/asyncApiProvider.h"
#include "framework/core/oRange.h"

namespace Mirel::Core {

struct ExecutionContext;

// Turns results into text. A failure sets `errorOut`; what was written to `out` is then worth nothing.
class ApiResponseSerializer {
 public:
  virtual void SerializeInvoke(const std::string& id, const std::shared_ptr<const MethodResult>& result,
                               ORange& out, std::shared_ptr<const Data::ErrorValue>& errorOut,
                               bool stream) const = 0;
  virtual void SerializeInvokeProgress(const std::string& id, const Progress& progress, ORange& out,
                                       std::shared_ptr<const Data::ErrorValue>& errorOut) const = 0;
  // An answer to a request that could not be understood, and therefore has no identifier.
  virtual void SerializeError(const std::shared_ptr<const Data::ErrorValue>& error, ORange& out,
                              std::shared_ptr<const Data::ErrorValue>& errorOut) const = 0;
  virtual ~ApiResponseSerializer() = default;
};

// Called by a deserializer once it has understood a request. An error code refuses the request.
class ApiRequestVisitor {
 public:
  virtual std::error_code Visit(const std::string& requestId,
                                const std::shared_ptr<const MethodIdentifier>& method,
                                const std::shared_ptr<const Data::DataValue>& input,
                                const std::shared_ptr<ExecutionContext>& context) = 0;
  virtual ~ApiRequestVisitor() = default;
};

}  // namespace Mirel::Core
