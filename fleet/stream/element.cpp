#include "fleet/stream/element.h"

#include <openssl/evp.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <array>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "fleet/stream/elementValue.h"
#include "platform/corvane/crypto.h"

namespace Fleet {
namespace {

const rapidjson::Value* Find(const rapidjson::Value& object, const char* name) {
  const auto member = object.FindMember(name);
  return member == object.MemberEnd() || member->value.IsNull() ? nullptr : &member->value;
}

std::string Text(const rapidjson::Value& value, const char* name) {
  if (!value.IsString()) {
    throw std::runtime_error(std::string("an element's \"") + name + "\" is no string");
  }
  return {value.GetString(), value.GetStringLength()};
}

std::string Required(const rapidjson::Value& object, const char* name) {
  const auto* value = Find(object, name);
  if (value == nullptr) throw std::runtime_error(std::string("an element has no \"") + name + '"');
  return Text(*value, name);
}

std::string Optional(const rapidjson::Value& object, const char* name) {
  const auto* value = Find(object, name);
  return value == nullptr ? std::string() : Text(*value, name);
}

std::string Vm(const rapidjson::Value& object) {
  for (const char* name : {"mgr_vm_id", "bios_uuid", "vm_uuid"}) {
    if (const auto* value = Find(object, name)) return Text(*value, name);
  }
  throw std::runtime_error("an element names no VM");
}

std::string Payload(const rapidjson::Value& object) {
  const auto text = Required(object, "payload");
  std::string bytes(Base64_DecodedLength(text.data(), text.size()), '\0');
  std::size_t written = 0;
  if (!Base64_Decode(text.data(), text.size(), reinterpret_cast<unsigned char*>(bytes.data()), bytes.size(),
                     &written)) {
    throw std::runtime_error("an element's payload is no base64");
  }
  bytes.resize(written);
  return bytes;
}

bool History(const rapidjson::Value& object) {
  const auto* value = Find(object, "history");
  if (value == nullptr) return false;
  if (!value->IsBool()) throw std::runtime_error("an element's \"history\" is no boolean");
  return value->GetBool();
}

class Sha256 final {
 public:
  Sha256() { EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr); }

  // Each text with its length, so that no two lists of texts are the same bytes.
  void Add(std::string_view text) {
    const std::uint64_t size = text.size();
    EVP_DigestUpdate(context_.get(), &size, sizeof size);
    EVP_DigestUpdate(context_.get(), text.data(), text.size());
  }

  std::string FirstDigits(std::size_t bytes) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    EVP_DigestFinal_ex(context_.get(), digest.data(), nullptr);
    std::string digits;
    for (std::size_t i = 0; i != bytes; ++i) {
      digits.push_back("0123456789abcdef"[digest[i] >> 4]);
      digits.push_back("0123456789abcdef"[digest[i] & 0xf]);
    }
    return digits;
  }

 private:
  const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context_{EVP_MD_CTX_new(), &EVP_MD_CTX_free};
};

}  // namespace

Element ElementOf(const rapidjson::Value& value) {
  if (!value.IsObject()) throw std::runtime_error("an element is no JSON object");
  Element element;
  element.vm = Vm(value);
  element.topic = Required(value, "topic");
  element.createTime = Optional(value, "create_time");
  element.token = Optional(value, "token");
  element.payload = Payload(value);
  element.history = History(value);
  return element;
}

std::string JsonOf(const rapidjson::Value& value) {
  rapidjson::StringBuffer text;
  rapidjson::Writer<rapidjson::StringBuffer> writer(text);
  value.Accept(writer);
  return {text.GetString(), text.GetSize()};
}

Element ReadElement(std::string json) {
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(json.data(), json.size());
  if (document.HasParseError()) throw std::runtime_error("an element is no JSON");
  auto element = ElementOf(document);
  element.json = std::move(json);
  return element;
}

std::string IdentityOf(const Element& element) {
  constexpr std::size_t kBytes = 16;
  Sha256 hash;
  for (const auto* text :
       {&element.vm, &element.topic, &element.createTime, &element.token, &element.payload}) {
    hash.Add(*text);
  }
  return hash.FirstDigits(kBytes);
}

}  // namespace Fleet
