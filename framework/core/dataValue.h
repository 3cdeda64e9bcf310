#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/core/textForms.h"
#include "platform/corvane/wipedString.h"

namespace Mirel {

// A message for people: its identifier, its text with the arguments filled in, and each argument rendered on
// its own, so that a client may render the message again in another language.
struct BaseMessage {
  std::string id;
  std::string defaultMessage;
  std::vector<std::string> args;
};

using MessageList = std::vector<BaseMessage>;

// A text that a client needs and nobody else may see, such as the identifier of a session.
using SecretString = Corvane::WipedString;

// What an operation without a value answers.
struct Void {};

// The untyped values that travel through the provider chain: what a deserializer makes of a request, and
// what a serializer writes. Values are built once, then shared as const and never changed.
namespace Data {

enum class DataType : std::uint32_t {
  Void = 0,
  Boolean = 1,
  Integer = 2,
  Double = 3,
  String = 4,
  Blob = 5,
  Error = 6,
  Structure = 7,
  List = 8,
  Optional = 9,
  Secret = 10,
};

class DataValue {
 public:
  virtual DataType type() const = 0;
  virtual ~DataValue() = default;

  static std::shared_ptr<const DataValue> Create(std::string text);
  static std::shared_ptr<const DataValue> Create(const char* text) { return Create(std::string(text)); }
  static std::shared_ptr<const DataValue> Create(std::int64_t number);
  static std::shared_ptr<const DataValue> Create(double number);
  static std::shared_ptr<const DataValue> Create(bool flag);

 protected:
  DataValue() = default;
  DataValue(const DataValue&) = default;
  DataValue& operator=(const DataValue&) = default;
};

using DataValuePtr = std::shared_ptr<const DataValue>;

// A value of a plain C++ type.
template <typename T, DataType Tag>
class ScalarValue final : public DataValue {
 public:
  explicit ScalarValue(T value) : value_(std::move(value)) {}
  DataType type() const override { return Tag; }
  const T& value() const { return value_; }

 private:
  T value_;
};

using BooleanValue = ScalarValue<bool, DataType::Boolean>;
using IntegerValue = ScalarValue<std::int64_t, DataType::Integer>;
using DoubleValue = ScalarValue<double, DataType::Double>;
using StringValue = ScalarValue<std::string, DataType::String>;

class VoidValue final : public DataValue {
 public:
  DataType type() const override { return DataType::Void; }
  static const std::shared_ptr<const VoidValue>& GetInstance();
};

// A text that must not outlive its use in memory, nor appear in any log.
class SecretValue final : public DataValue {
 public:
  explicit SecretValue(Corvane::WipedString text) : text_(std::move(text)) {}
  explicit SecretValue(std::string&& text) : text_(std::move(text)) {}
  SecretValue(const SecretValue&) = delete;
  SecretValue& operator=(const SecretValue&) = delete;
  DataType type() const override { return DataType::Secret; }
  const std::string& value() const { return text_.text(); }

 private:
  Corvane::WipedString text_;
};

// Bytes together with their base64 text. Both are views into what `owner` keeps alive, so that many results
// share one payload and its one encoding without a copy.
class BlobValue final : public DataValue {
 public:
  BlobValue(std::shared_ptr<const void> owner, std::span<const unsigned char> bytes, std::string_view base64)
      : owner_(std::move(owner)), bytes_(bytes), base64_(base64) {}
  DataType type() const override { return DataType::Blob; }

  // Owns the bytes, and encodes them once.
  static std::shared_ptr<const BlobValue> Create(std::vector<unsigned char> bytes);

  std::span<const unsigned char> bytes() const { return bytes_; }
  std::string_view base64() const { return base64_; }
  const std::shared_ptr<const void>& owner() const { return owner_; }

 private:
  std::shared_ptr<const void> owner_;
  std::span<const unsigned char> bytes_;
  std::string_view base64_;
};

class OptionalValue final : public DataValue {
 public:
  // A null value makes an absent optional.
  explicit OptionalValue(DataValuePtr value) : value_(std::move(value)) {}
  DataType type() const override { return DataType::Optional; }
  const DataValuePtr& value() const { return value_; }

 private:
  DataValuePtr value_;
};

class ListValue final : public DataValue {
 public:
  DataType type() const override { return DataType::List; }
  static std::shared_ptr<ListValue> GetInstance() { return std::make_shared<ListValue>(); }
  void Add(DataValuePtr value) { elements_.push_back(std::move(value)); }
  const std::vector<DataValuePtr>& elements() const { return elements_; }

 private:
  std::vector<DataValuePtr> elements_;
};

// A named value with named fields, in the order in which they were set. The fields are few, so a look-up
// walks them.
class CompoundValue : public DataValue {
 public:
  using Field = std::pair<std::string, DataValuePtr>;

  const std::string& name() const { return name_; }
  const std::vector<Field>& fields() const { return fields_; }

  // Replaces the field if it is there, otherwise appends it.
  void SetField(std::string_view name, DataValuePtr value);
  // Appends without looking for an earlier field of that name.
  void AppendField(std::string name, DataValuePtr value) {
    fields_.emplace_back(std::move(name), std::move(value));
  }
  // Gives null when there is no such field.
  DataValuePtr GetField(std::string_view name) const;

 protected:
  explicit CompoundValue(std::string name) : name_(std::move(name)) {}

 private:
  std::string name_;
  std::vector<Field> fields_;
};

class StructValue final : public CompoundValue {
 public:
  explicit StructValue(std::string name) : CompoundValue(std::move(name)) {}
  // The copy can be changed, so it has no texts.
  StructValue(const StructValue& other) : CompoundValue(other) {}
  StructValue& operator=(const StructValue&) = delete;
  ~StructValue() override = default;
  DataType type() const override { return DataType::Structure; }
  static std::shared_ptr<StructValue> GetInstance(std::string name) {
    return std::make_shared<StructValue>(std::move(name));
  }

  // For a structure that many answers carry: what it looks like in text is kept with it. To be called before
  // it is shared.
  void KeepTexts() { texts_ = std::make_unique<const TextForms>(); }
  // Null if they aren't kept.
  const TextForms* KeptTexts() const { return texts_.get(); }

 private:
  std::unique_ptr<const TextForms> texts_;
};

using StructValuePtr = std::shared_ptr<StructValue>;

// An error as a client sees it: its name, and the field "messages", a list of localizable messages.
class ErrorValue final : public CompoundValue {
 public:
  explicit ErrorValue(std::string name) : CompoundValue(std::move(name)) {}
  DataType type() const override { return DataType::Error; }

  static std::shared_ptr<ErrorValue> Create(std::string name, const MessageList& messages);

  // One line for logs: the name, then each message's text.
  std::string ToString() const;
};

using ErrorValuePtr = std::shared_ptr<const ErrorValue>;

// What waits behind an element of a stream.
class Backlog {
 public:
  // Whether the producer will fire its next element as soon as it is asked for it. From any thread.
  virtual bool HasNext() const = 0;

 protected:
  ~Backlog() = default;
};

// A structure whose type is known at run time only: the element type of untyped streams.
struct DynamicStructure {
  std::shared_ptr<const StructValue> value;
  // The producer's; it lives as long as the continuation that goes with the element. May be null.
  const Backlog* backlog = nullptr;
};

// One message as a structure "com.tessaly.mirel.std.localizable_message" with the fields "id",
// "default_message" and "args".
DataValuePtr MessageToValue(const BaseMessage& message);

struct DataValueHelpers {
  // The value at the end of a dotted path of field names, "outer.inner"; the empty path is the value itself.
  // Null when a field is missing, or when a part in front of the last one is no structure or error.
  static DataValuePtr GetValueByPath(const DataValuePtr& value, std::string_view path);
};

}  // namespace Data

using Data::ErrorValue;

}  // namespace Mirel
