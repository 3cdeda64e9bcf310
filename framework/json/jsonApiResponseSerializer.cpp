#include "framework/json/jsonApiResponseSerializer.h"

#include <array>
#include <string_view>

#include "framework/json/jsonText.h"
#include "framework/json/valueWriter.h"

namespace Mirel::Protocol::Json {
namespace {

using WriteValue = void (*)(const Data::DataValue&, ORange&);
using ErrorPtr = std::shared_ptr<const Data::ErrorValue>;

// JSON and framing around a small element, so that most answers need one allocation.
constexpr std::size_t kUsualSize = 512;

struct NamedCode {
  std::string_view name;
  std::string_view code;
};

// The numbers that JSON-RPC 2.0 gives to its own faults; all others share one of the server's range.
std::string_view ErrorCode(std::string_view name) {
  static constexpr std::array<NamedCode, 5> kCodes{{
      {"com.tessaly.mirel.std.errors.parse_error", "-32700"},
      {"com.tessaly.mirel.std.errors.invalid_request", "-32600"},
      {"com.tessaly.mirel.std.errors.operation_not_found", "-32601"},
      {"com.tessaly.mirel.std.errors.invalid_argument", "-32602"},
      {"com.tessaly.mirel.std.errors.unexpected_input", "-32602"},
  }};
  for (const auto& known : kCodes) {
    if (known.name == name) return known.code;
  }
  return "-32000";
}

void WriteHead(std::string_view id, ORange& out) {
  out.Append(R"({"jsonrpc":"2.0","id":)");
  out.Append(id);
}

void WriteError(std::string_view id, const Data::ErrorValue& error, WriteValue write, ORange& out) {
  WriteHead(id, out);
  out.Append(R"(,"error":{"code":)");
  out.Append(ErrorCode(error.name()));
  out.Append(R"(,"message":)");
  AppendString(error.ToString(), out);
  out.Append(R"(,"data":)");
  write(error, out);
  out.Append("}}");
}

// Null for a value whose texts aren't kept.
const TextForms* KeptTexts(const Data::DataValue& value) {
  return value.type() == Data::DataType::Structure ? static_cast<const Data::StructValue&>(value).KeptTexts()
                                                   : nullptr;
}

template <Dialect D>
constexpr WriteValue kWrite = D == Dialect::Typed ? WriteTyped : WriteDirect;

template <Dialect D>
const ORange& KeptText(const TextForms& kept, const Data::DataValue& value) {
  return kept.Get(static_cast<std::size_t>(D), [&value](ORange& text) {
    text.Reserve(kUsualSize);
    kWrite<D>(value, text);
  });
}

template <Dialect D>
void WriteInvoke(std::string_view id, const Core::MethodResult& result, ORange& out) {
  if (result.error) return WriteError(id, *result.error, kWrite<D>, out);
  const TextForms* kept = result.output ? KeptTexts(*result.output) : nullptr;
  if (!kept) out.Reserve(kUsualSize);
  WriteHead(id, out);
  out.Append(R"(,"result":)");
  if (kept) {
    out.AppendShared(KeptText<D>(*kept, *result.output), result.output);
  } else if (result.output) {
    kWrite<D>(*result.output, out);
  } else {
    out.Append("null");
  }
  out.Append('}');
}

void WriteProgress(const Progress& progress, ORange& out) {
  out.Append(R"({"jsonrpc":"2.0","method":"progress","params":{"min":)" + std::to_string(progress.min) +
             R"(,"max":)" + std::to_string(progress.max) + R"(,"current":)" +
             std::to_string(progress.current) + "}}");
}

}  // namespace

template <Dialect D>
void BasicResponseSerializer<D>::SerializeInvoke(const std::string& id,
                                                 const std::shared_ptr<const Core::MethodResult>& result,
                                                 ORange& out, ErrorPtr&, bool) const {
  WriteInvoke<D>(id, *result, out);
}

template <Dialect D>
void BasicResponseSerializer<D>::SerializeInvokeProgress(const std::string&, const Progress& progress,
                                                         ORange& out, ErrorPtr&) const {
  WriteProgress(progress, out);
}

template <Dialect D>
void BasicResponseSerializer<D>::SerializeError(const ErrorPtr& error, ORange& out, ErrorPtr&) const {
  WriteError("null", *error, kWrite<D>, out);
}

template class BasicResponseSerializer<Dialect::Typed>;
template class BasicResponseSerializer<Dialect::Direct>;

}  // namespace Mirel::Protocol::Json
