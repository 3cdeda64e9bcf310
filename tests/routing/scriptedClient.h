#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bindings/guestDataService.h"

// The other end of a subscription: notes what is fired, and says itself when the next element may come.
class ScriptedClient {
 public:
  using ResultCb = Com::Tessaly::Norn::Hesper::GuestDataSvc::ResultCb;
  using ResultCbPtr = Com::Tessaly::Norn::Hesper::GuestDataSvc::ResultCbPtr;

  ResultCb MakeResult() {
    ResultCb::ResultCb callbacks;
    callbacks.first = [this](const auto& value, const auto& error, const auto&, auto&& continuation) {
      if (value) elements.push_back(value->value);
      if (error) errors.push_back(error);
      continuation_ = std::move(continuation);
    };
    return ResultCb(std::move(callbacks));
  }

  bool HasTurn() const { return continuation_ != nullptr; }
  void TakeNext() {
    std::exchange(continuation_, nullptr)(ResultCbPtr(std::make_shared<ResultCb>(MakeResult())));
  }
  void Leave() { std::exchange(continuation_, nullptr)(ResultCbPtr()); }

  std::vector<std::shared_ptr<const Mirel::Data::StructValue>> elements;
  std::vector<std::shared_ptr<const Mirel::ErrorValue>> errors;

 private:
  ResultCb::Continuation continuation_;
};

// A string field of an element; the text "(absent)" for an optional without a value.
inline std::string TextField(const Mirel::Data::CompoundValue& value, const char* name) {
  auto field = value.GetField(name);
  if (const auto* optional = dynamic_cast<const Mirel::Data::OptionalValue*>(field.get())) {
    field = optional->value();
  }
  const auto* text = dynamic_cast<const Mirel::Data::StringValue*>(field.get());
  return text ? text->value() : "(absent)";
}
