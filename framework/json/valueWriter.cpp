#include "framework/json/valueWriter.h"

#include <string>

#include "framework/json/jsonText.h"

namespace Mirel::Protocol::Json {
namespace {

using namespace Data;

template <typename Value>
const Value& As(const DataValue& value) {
  return static_cast<const Value&>(value);
}

// Null for an absent optional.
const DataValue* Unwrap(const DataValue& value) {
  return value.type() == DataType::Optional ? As<OptionalValue>(value).value().get() : &value;
}

void WriteBase64(const BlobValue& blob, ORange& out) {
  out.Append('"');
  out.AppendShared(blob.base64(), blob.owner());
  out.Append('"');
}

// The types that look alike in both forms; false for the others.
bool WriteSimple(const DataValue& value, ORange& out) {
  switch (value.type()) {
    case DataType::Void:
      out.Append("null");
      return true;
    case DataType::Boolean:
      out.Append(As<BooleanValue>(value).value() ? "true" : "false");
      return true;
    case DataType::Integer:
      out.Append(std::to_string(As<IntegerValue>(value).value()));
      return true;
    case DataType::Double:
      AppendDouble(As<DoubleValue>(value).value(), out);
      return true;
    case DataType::String:
      AppendString(As<StringValue>(value).value(), out);
      return true;
    default:
      return false;
  }
}

template <typename Write>
void WriteList(const ListValue& list, ORange& out, Write write) {
  out.Append('[');
  bool first = true;
  for (const auto& element : list.elements()) {
    if (!first) out.Append(',');
    first = false;
    write(*element, out);
  }
  out.Append(']');
}

void WriteName(std::string_view name, ORange& out) {
  AppendString(name, out);
  out.Append(':');
}

void WriteTypedCompound(std::string_view kind, const CompoundValue& value, ORange& out) {
  out.Append('{');
  WriteName(kind, out);
  AppendString(value.name(), out);
  out.Append(R"(,"fields":{)");
  bool first = true;
  for (const auto& [name, field] : value.fields()) {
    if (!first) out.Append(',');
    first = false;
    WriteName(name, out);
    WriteTyped(*field, out);
  }
  out.Append("}}");
}

void WriteDirectFields(const CompoundValue& value, bool first, ORange& out) {
  for (const auto& [name, field] : value.fields()) {
    const auto* present = Unwrap(*field);
    if (!present) continue;
    if (!first) out.Append(',');
    first = false;
    WriteName(name, out);
    WriteDirect(*present, out);
  }
}

}  // namespace

void WriteTyped(const DataValue& value, ORange& out) {
  if (WriteSimple(value, out)) return;
  switch (value.type()) {
    case DataType::Structure:
      return WriteTypedCompound("structure", As<CompoundValue>(value), out);
    case DataType::Error:
      return WriteTypedCompound("error", As<CompoundValue>(value), out);
    case DataType::List:
      return WriteList(As<ListValue>(value), out, WriteTyped);
    case DataType::Optional:
      out.Append(R"({"optional":[)");
      if (const auto* present = Unwrap(value)) WriteTyped(*present, out);
      return out.Append("]}");
    case DataType::Secret:
      out.Append(R"({"secret":)");
      AppendString(As<SecretValue>(value).value(), out);
      return out.Append('}');
    default:
      out.Append(R"({"blob":)");
      WriteBase64(As<BlobValue>(value), out);
      return out.Append('}');
  }
}

void WriteDirect(const DataValue& value, ORange& out) {
  if (WriteSimple(value, out)) return;
  switch (value.type()) {
    case DataType::Structure:
      out.Append('{');
      WriteDirectFields(As<CompoundValue>(value), true, out);
      return out.Append('}');
    case DataType::Error:
      out.Append(R"({"error":)");
      AppendString(As<CompoundValue>(value).name(), out);
      WriteDirectFields(As<CompoundValue>(value), false, out);
      return out.Append('}');
    case DataType::List:
      return WriteList(As<ListValue>(value), out, WriteDirect);
    case DataType::Optional:
      if (const auto* present = Unwrap(value)) return WriteDirect(*present, out);
      return out.Append("null");
    case DataType::Secret:
      return AppendString(As<SecretValue>(value).value(), out);
    default:
      return WriteBase64(As<BlobValue>(value), out);
  }
}

}  // namespace Mirel::Protocol::Json
