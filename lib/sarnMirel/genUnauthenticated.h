#pragma once

#include "framework/core/asyncApiProvider.h"
#include "framework/core/dataValue.h"

namespace SarnMirel::Filter {

// A task that ends a call with the error Unauthenticated and the given messages. It runs once.
class GenUnauthenticated {
 public:
  GenUnauthenticated(Mirel::Core::AsyncApiResultCb result, Mirel::MessageList messages);

  void operator()() const;

 private:
  Mirel::Core::AsyncApiResultCb result_;
  Mirel::MessageList messages_;
};

}  // namespace SarnMirel::Filter
