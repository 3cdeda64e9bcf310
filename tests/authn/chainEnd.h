#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "framework/core/asyncActivation.h"
#include "framework/core/asyncApiProvider.h"

// The link after the one under test: notes what reaches it, and answers with the text "served".
class ChainEnd final : public Mirel::Core::AsyncApiProvider {
 public:
  std::string ToString() const override { return "ChainEnd"; }
  void Invoke(const std::shared_ptr<const Mirel::Core::MethodIdentifier>& /*method*/,
              const Mirel::Data::DataValuePtr& /*input*/,
              const std::shared_ptr<Mirel::Core::AsyncActivation>& activation,
              const Mirel::Core::AsyncApiResultCb& result) override {
    ++calls;
    authData = activation->authData();
    result(Mirel::Core::MethodResult::GetInstance(Mirel::Data::DataValue::Create("served")), {}, nullptr);
  }

  int calls = 0;
  Mirel::Data::DataValuePtr authData;
};

// One call; gives "served", the error's text, or nothing when no answer came before the return.
inline std::string Call(Mirel::Core::AsyncApiProvider& provider,
                        const std::shared_ptr<Mirel::Core::AsyncActivation>& activation) {
  auto answer = std::make_shared<std::string>();
  provider.Invoke(std::make_shared<const Mirel::Core::MethodIdentifier>(), nullptr, activation,
                  Mirel::Core::AsyncApiResultCb([answer](const auto& result, const auto&, auto&&) {
                    *answer += result->error ? result->error->ToString() : "served";
                  }));
  return *answer;
}
