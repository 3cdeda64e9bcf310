#pragma once

#include <memory>
#include <string>
#include <utility>

#include "framework/core/dataValue.h"
#include "platform/corvane/object.h"

namespace SarnMirel {

// Carries a live object of the host inside an authentication structure. It belongs to this process alone: to
// whatever writes, visits or copies values it is void, so that the object can't leave with an answer.
template <typename T>
class RefValue final : public Mirel::Data::DataValue {
 public:
  explicit RefValue(Corvane::Ref<T> object) : object_(std::move(object)) {}
  RefValue(const RefValue&) = delete;
  RefValue& operator=(const RefValue&) = delete;

  Mirel::Data::DataType type() const override { return Mirel::Data::DataType::Void; }
  std::string ToString() const { return "RefValue"; }
  template <typename Visitor>
  void Visit(Visitor&& visitor) const {
    std::forward<Visitor>(visitor)(*Mirel::Data::VoidValue::GetInstance());
  }
  std::shared_ptr<const Mirel::Data::VoidValue> Copy() const { return Mirel::Data::VoidValue::GetInstance(); }

  // May be null.
  const Corvane::Ref<T>& object() const { return object_; }

 private:
  Corvane::Ref<T> object_;
};

// The object in a structure's field; null when there is no such field, or one of another type.
template <typename T>
Corvane::Ref<T> RefField(const Mirel::Data::CompoundValue& structure, const char* name) {
  const auto field = structure.GetField(name);
  const auto* value = dynamic_cast<const RefValue<T>*>(field.get());
  return value ? value->object() : nullptr;
}

}  // namespace SarnMirel
