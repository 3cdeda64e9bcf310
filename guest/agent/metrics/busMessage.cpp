#include "guest/agent/metrics/busMessage.h"

#include <bit>
#include <cstring>

namespace GuestAgent {
namespace {

constexpr char kByteOrder = std::endian::native == std::endian::little ? 'l' : 'B';
constexpr char kVersion = 1;
constexpr char kNoAutoStart = 2;
constexpr std::size_t kBodySizeAt = 4;
constexpr std::size_t kFieldsSizeAt = 12;

enum MessageType : char { kMethodCall = 1, kMethodReturn = 2, kError = 3 };
enum FieldCode : char {
  kPath = 1,
  kInterface = 2,
  kMember = 3,
  kReplySerial = 5,
  kDestination = 6,
  kSignature = 8,
};

constexpr std::size_t Align(std::size_t at, std::size_t unit) {
  return (at + unit - 1) / unit * unit;
}

void Pad(std::string& out, std::size_t unit) {
  out.resize(Align(out.size(), unit));
}

void AppendUnsigned(std::string& out, std::uint32_t value) {
  Pad(out, sizeof value);
  char bytes[sizeof value];
  std::memcpy(bytes, &value, sizeof value);
  out.append(bytes, sizeof value);
}

void PutUnsigned(std::string& out, std::size_t at, std::size_t value) {
  const auto number = static_cast<std::uint32_t>(value);
  std::memcpy(out.data() + at, &number, sizeof number);
}

void AppendText(std::string& out, std::string_view text) {
  AppendUnsigned(out, static_cast<std::uint32_t>(text.size()));
  out.append(text).push_back('\0');
}

void AppendSignature(std::string& out, std::string_view signature) {
  out.push_back(static_cast<char>(signature.size()));
  out.append(signature).push_back('\0');
}

void AppendField(std::string& out, FieldCode code, char type, std::string_view value) {
  Pad(out, 8);
  out.push_back(code);
  AppendSignature(out, {&type, 1});
  type == 'g' ? AppendSignature(out, value) : AppendText(out, value);
}

std::uint32_t UnsignedAt(std::string_view text, std::size_t at) {
  std::uint32_t value = 0;
  std::memcpy(&value, text.data() + at, sizeof value);
  return value;
}

// Reads a message's header fields; what has run into the end gives zeros, and isn't good any more.
class FieldReader final {
 public:
  explicit FieldReader(std::string_view message)
      : text_(message.substr(0, kBusMessageStart + UnsignedAt(message, kFieldsSizeAt))) {}

  bool IsGood() const { return isGood_; }
  bool IsAtEnd() const { return !isGood_ || at_ >= text_.size(); }

  // Gives the serial if the next field is that of a reply, and passes over all others.
  std::optional<std::uint32_t> NextReplySerial() {
    Skip(Align(at_, 8) - at_);
    const auto code = Byte();
    // A signature of one letter.
    if (Byte() != 1) isGood_ = false;
    const auto type = Byte();
    Skip(1);
    if (type == 'u') {
      const auto value = Unsigned();
      return code == kReplySerial ? std::optional(value) : std::nullopt;
    }
    PassText(type);
    return std::nullopt;
  }

 private:
  void PassText(std::uint8_t type) {
    if (type == 's' || type == 'o') {
      Skip(Unsigned());
    } else if (type == 'g') {
      Skip(Byte());
    } else {
      isGood_ = false;
    }
    Skip(1);
  }

  void Skip(std::size_t size) {
    isGood_ = isGood_ && size <= text_.size() - at_;
    if (isGood_) at_ += size;
  }

  std::uint8_t Byte() {
    const std::size_t at = at_;
    Skip(1);
    return isGood_ ? static_cast<std::uint8_t>(text_[at]) : 0;
  }

  std::uint32_t Unsigned() {
    Skip(Align(at_, 4) - at_);
    const std::size_t at = at_;
    Skip(4);
    return isGood_ ? UnsignedAt(text_, at) : 0;
  }

  std::string_view text_;
  std::size_t at_ = kBusMessageStart;
  bool isGood_ = true;
};

}  // namespace

std::string BusCall(std::uint32_t serial, const BusMethod& method,
                    std::initializer_list<std::string_view> arguments) {
  std::string out{kByteOrder, kMethodCall, kNoAutoStart, kVersion};
  AppendUnsigned(out, 0);
  AppendUnsigned(out, serial);
  AppendUnsigned(out, 0);
  AppendField(out, kPath, 'o', method.path);
  AppendField(out, kDestination, 's', method.destination);
  AppendField(out, kInterface, 's', method.interface);
  AppendField(out, kMember, 's', method.member);
  if (arguments.size() > 0) AppendField(out, kSignature, 'g', std::string(arguments.size(), 's'));
  PutUnsigned(out, kFieldsSizeAt, out.size() - kBusMessageStart);
  Pad(out, 8);
  const std::size_t header = out.size();
  for (const auto argument : arguments) AppendText(out, argument);
  PutUnsigned(out, kBodySizeAt, out.size() - header);
  return out;
}

std::optional<std::size_t> BusMessageSize(std::string_view start) {
  const std::size_t body = UnsignedAt(start, kBodySizeAt);
  const std::size_t fields = UnsignedAt(start, kFieldsSizeAt);
  if (start[0] != kByteOrder || start[3] != kVersion) return std::nullopt;
  const std::size_t size = Align(kBusMessageStart + fields, 8) + body;
  return size <= kMaxBusMessage ? std::optional(size) : std::nullopt;
}

std::optional<BusReply> ReadBusReply(std::string_view message) {
  const char type = message[1];
  BusReply reply;
  FieldReader fields(message);
  while (!fields.IsAtEnd()) {
    if (const auto serial = fields.NextReplySerial()) reply.serial = *serial;
  }
  if (!fields.IsGood()) return std::nullopt;
  if (type != kMethodReturn && type != kError) reply.serial = 0;
  reply.isError = type == kError;
  reply.body = message.substr(message.size() - UnsignedAt(message, kBodySizeAt));
  return reply;
}

std::optional<std::uint32_t> ReadUnsignedVariant(std::string_view body) {
  constexpr std::string_view kStart("\1u\0\0", 4);
  if (body.size() != kStart.size() + sizeof(std::uint32_t) || !body.starts_with(kStart)) return std::nullopt;
  return UnsignedAt(body, kStart.size());
}

}  // namespace GuestAgent
