#include "platform/pelagor/catalogue.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/istreamwrapper.h>

#include "platform/corvane/exception.h"

namespace Pelagor {
namespace {

std::string Text(const rapidjson::Value& value) {
  return {value.GetString(), value.GetStringLength()};
}

}  // namespace

Catalogue ReadCatalogue(const std::filesystem::path& file) {
  const auto fault = [&](const std::string& reason) {
    return Corvane::Exception(file.string() + ": " + reason);
  };
  std::ifstream in(file, std::ios::binary);
  if (!in) throw fault(std::strerror(errno));
  rapidjson::IStreamWrapper stream(in);
  rapidjson::Document document;
  // Without recursion, so that no nesting ends the process.
  document.ParseStream<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(stream);
  if (document.HasParseError()) {
    throw fault("byte " + std::to_string(document.GetErrorOffset()) + ": " +
                rapidjson::GetParseError_En(document.GetParseError()));
  }
  const rapidjson::Value& root = document;
  if (!root.IsObject()) throw fault("expected an object");
  Catalogue catalogue;
  for (const auto& message : root.GetObject()) {
    const auto id = Text(message.name);
    if (!message.value.IsString()) throw fault("the message \"" + id + "\" is not a text");
    if (!catalogue.emplace(id, Text(message.value)).second) {
      throw fault("the message \"" + id + "\" is there twice");
    }
  }
  return catalogue;
}

}  // namespace Pelagor
