#pragma once

#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "framework/core/asyncApiProvider.h"
#include "framework/provider/asyncApiInterface.h"

namespace Mirel::Provider {

// The arguments of a call don't have the form that its operation takes; what() names the place.
class ArgumentError final : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Reads a text from the call's argument structure. Throws ArgumentError when it is not there, or no text.
std::string StringArgument(const Data::DataValuePtr& input, std::string_view name);

// The error "unexpected_input" for arguments that do not convert, with the reason as its one message.
Data::ErrorValuePtr MakeUnexpectedInputError(const std::string& reason);

// The error "not_found" for a thing that a client asked for by its identifier.
Data::ErrorValuePtr MakeNotFoundError(const std::string& identifier);

// A service whose operations answer at once, such as reads of metadata. Each operation is one function, from
// the arguments to a value or an error; an ArgumentError from it becomes the error "unexpected_input".
class SimpleInterface final : public AsyncApiInterface {
 public:
  using Function = std::function<std::shared_ptr<const Core::MethodResult>(const Data::DataValuePtr& input)>;

  SimpleInterface(std::string service, const std::map<std::string, Function>& operations);

  const std::string& ServiceName() const override { return service_; }
  std::vector<OperationInfo> Operations() const override;
  bool LookupOperation(const std::string& name, std::shared_ptr<const AsyncApiOperation>& operation,
                       MessageList& messages) const override;

 private:
  std::string service_;
  std::map<std::string, std::shared_ptr<const AsyncApiOperation>, std::less<>> operations_;
};

// The message of a look-up that found no operation, for other implementations of the interface.
BaseMessage OperationNotFoundMessage(const std::string& service, const std::string& operation);

}  // namespace Mirel::Provider
