#include "framework/core/dataValue.h"

#include <algorithm>

#include "platform/corvane/crypto.h"

namespace Mirel::Data {

DataValuePtr DataValue::Create(std::string text) {
  return std::make_shared<StringValue>(std::move(text));
}
DataValuePtr DataValue::Create(std::int64_t number) {
  return std::make_shared<IntegerValue>(number);
}
DataValuePtr DataValue::Create(double number) {
  return std::make_shared<DoubleValue>(number);
}
DataValuePtr DataValue::Create(bool flag) {
  return std::make_shared<BooleanValue>(flag);
}

const std::shared_ptr<const VoidValue>& VoidValue::GetInstance() {
  static const std::shared_ptr<const VoidValue> instance = std::make_shared<VoidValue>();
  return instance;
}

std::shared_ptr<const BlobValue> BlobValue::Create(std::vector<unsigned char> bytes) {
  struct Owned {
    std::vector<unsigned char> bytes;
    std::string base64;
  };
  auto owned = std::make_shared<Owned>();
  owned->bytes = std::move(bytes);
  Base64_Encode(owned->bytes.data(), owned->bytes.size(), owned->base64);
  return std::make_shared<BlobValue>(owned, owned->bytes, owned->base64);
}

void CompoundValue::SetField(std::string_view name, DataValuePtr value) {
  const auto found =
      std::find_if(fields_.begin(), fields_.end(), [&](const Field& field) { return field.first == name; });
  if (found == fields_.end()) {
    fields_.emplace_back(name, std::move(value));
  } else {
    found->second = std::move(value);
  }
}

DataValuePtr CompoundValue::GetField(std::string_view name) const {
  for (const auto& [fieldName, value] : fields_) {
    if (fieldName == name) return value;
  }
  return nullptr;
}

std::shared_ptr<ErrorValue> ErrorValue::Create(std::string name, const MessageList& messages) {
  auto list = ListValue::GetInstance();
  for (const auto& message : messages) list->Add(MessageToValue(message));
  auto error = std::make_shared<ErrorValue>(std::move(name));
  error->SetField("messages", std::move(list));
  return error;
}

std::string ErrorValue::ToString() const {
  std::string text = name();
  const auto messages = std::dynamic_pointer_cast<const ListValue>(GetField("messages"));
  if (!messages) return text;
  for (const auto& element : messages->elements()) {
    const auto* message = dynamic_cast<const StructValue*>(element.get());
    const auto defaultMessage = message ? message->GetField("default_message") : nullptr;
    if (const auto* line = dynamic_cast<const StringValue*>(defaultMessage.get())) {
      text += ": " + line->value();
    }
  }
  return text;
}

DataValuePtr MessageToValue(const BaseMessage& message) {
  auto args = ListValue::GetInstance();
  for (const auto& arg : message.args) args->Add(DataValue::Create(arg));
  auto value = StructValue::GetInstance("com.tessaly.mirel.std.localizable_message");
  value->AppendField("id", DataValue::Create(message.id));
  value->AppendField("default_message", DataValue::Create(message.defaultMessage));
  value->AppendField("args", std::move(args));
  return value;
}

DataValuePtr DataValueHelpers::GetValueByPath(const DataValuePtr& value, std::string_view path) {
  DataValuePtr current = value;
  while (current && !path.empty()) {
    const auto* compound = dynamic_cast<const CompoundValue*>(current.get());
    if (!compound) return nullptr;
    const auto end = std::min(path.find('.'), path.size());
    current = compound->GetField(path.substr(0, end));
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return current;
}

}  // namespace Mirel::Data
