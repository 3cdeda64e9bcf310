#include "platform/corvane/config.h"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#include "platform/corvane/exception.h"
#include "platform/corvane/log.h"
#include "platform/corvane/textEscape.h"

namespace Corvane::Service {
namespace {

constexpr std::size_t kLargestFile = 1 << 20;
constexpr const char kRoot[] = "config";
constexpr std::array<std::string_view, 5> kOwnKeys = {"log/level", "log/file", "log/maxBytes", "log/maxFiles",
                                                      "sessions/limit"};

std::string_view Trim(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kBlanks);
  return first == std::string_view::npos ? std::string_view()
                                         : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string ReadWholeFile(const std::string& path) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "re"), &std::fclose);
  if (file == nullptr) throw Exception(path + ": " + std::strerror(errno));
  std::string content(kLargestFile + 1, '\0');
  content.resize(std::fread(content.data(), 1, content.size(), file.get()));
  if (std::ferror(file.get()) != 0) throw Exception(path + ": " + std::strerror(errno));
  if (content.size() > kLargestFile) {
    throw Exception(path + Detail::ASPrintInternal(": larger than %1 bytes", kLargestFile));
  }
  return content;
}

// libxml2's hook for a document type declaration.
void RefuseDocumentType(void* context, const xmlChar*, const xmlChar*, const xmlChar*) {
  auto* parser = static_cast<xmlParserCtxtPtr>(context);
  parser->_private = parser;  // marks the reason for the stop
  xmlStopParser(parser);
}

using DocumentPtr = std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)>;

using ParserPtr = std::unique_ptr<xmlParserCtxt, decltype(&xmlFreeParserCtxt)>;

// Null when the content isn't well-formed; the parser then knows why.
DocumentPtr Read(const ParserPtr& parser, const std::string& path, const std::string& content) {
  if (parser == nullptr) throw std::bad_alloc();
  parser->sax->internalSubset = &RefuseDocumentType;
  // UTF-8 whatever the file says: the library's converters write their complaints to standard error.
  DocumentPtr document(
      xmlCtxtReadMemory(parser.get(), content.data(), static_cast<int>(content.size()), nullptr, "UTF-8",
                        XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOCDATA),
      &xmlFreeDoc);
  if (parser->_private != nullptr) throw Exception(path + ": a document type is not accepted");
  return document;
}

DocumentPtr Parse(const std::string& path, const std::string& content) {
  const ParserPtr parser(xmlNewParserCtxt(), &xmlFreeParserCtxt);
  auto document = Read(parser, path, content);
  if (document == nullptr) {
    const xmlError& error = parser->lastError;
    const std::string_view reason = error.message != nullptr ? error.message : "no content";
    throw Exception(Detail::EscapeLine(
        Detail::ASPrintInternal("%1:%2: not well-formed XML: %3", path, error.line, Trim(reason))));
  }
  return document;
}

// Whether there's nothing in the file but what may be in front of an element: blanks and comments.
bool IsEmpty(const std::string& path, const std::string& content) {
  const ParserPtr parser(xmlNewParserCtxt(), &xmlFreeParserCtxt);
  return Read(parser, path, content + "<config/>") != nullptr;
}

std::string_view NameOf(const xmlNode& node) {
  return reinterpret_cast<const char*>(node.name);
}

}  // namespace

// Turns the elements into the flat table of keys.
class Config::Reader {
 public:
  explicit Reader(Config& config) : config_(config) {}

  // Gives whether the node has elements below it; their keys start with the prefix.
  bool ReadChildren(const xmlNode& parent, const std::string& prefix) {
    bool any = false;
    for (xmlNode* node = parent.children; node != nullptr; node = node->next) {
      if (node->type == XML_ELEMENT_NODE) {
        any = true;
        ReadElement(*node, prefix + std::string(NameOf(*node)));
      }
    }
    return any;
  }

 private:
  void ReadElement(xmlNode& node, const std::string& key) {
    if (ReadChildren(node, key + '/')) return;
    const std::unique_ptr<xmlChar, void (*)(void*)> content(xmlNodeGetContent(&node), xmlFree);
    Value value{std::string(Trim(reinterpret_cast<const char*>(content.get()))), xmlGetLineNo(&node)};
    const auto [position, isNew] = config_.values_.emplace(key, std::move(value));
    if (!isNew) {
      throw Exception(Detail::ASPrintInternal("%1:%2: %3 is given twice, first in line %4", config_.path_,
                                              xmlGetLineNo(&node), key, position->second.line));
    }
  }

  Config& config_;
};

Ref<Config> Config::Load(const std::string& path) {
  auto config = MakeRef<Config>();
  config->path_ = path;
  const std::string content = ReadWholeFile(path);
  if (IsEmpty(path, content)) return config;
  const DocumentPtr document = Parse(path, content);
  const xmlNode* root = xmlDocGetRootElement(document.get());
  if (NameOf(*root) != kRoot) {
    throw Exception(Detail::ASPrintInternal("%1:%2: the root element is <%3>, not <%4>", path,
                                            xmlGetLineNo(root), NameOf(*root), kRoot));
  }
  Reader(*config).ReadChildren(*root, "");
  return config;
}

const Config::Value* Config::Find(std::string_view key) const {
  const auto position = values_.find(key);
  return position == values_.end() ? nullptr : &position->second;
}

bool Config::ReadInteger(std::string_view key, std::int32_t* value, std::int32_t least,
                         std::int32_t most) const {
  const Value* found = Find(key);
  if (found == nullptr) return false;
  const char* end = found->text.data() + found->text.size();
  std::int32_t number = 0;
  const auto [stop, error] = std::from_chars(found->text.data(), end, number);
  if (error != std::errc() || stop != end || number < least || number > most) {
    LogWrongForm(key, *found, Detail::ASPrintInternal("an integer from %1 to %2", least, most));
    return false;
  }
  *value = number;
  return true;
}

bool Config::ReadBoolean(std::string_view key, bool* value) const {
  const Value* found = Find(key);
  if (found == nullptr) return false;
  const bool isTrue = found->text == "true" || found->text == "1";
  if (!isTrue && found->text != "false" && found->text != "0") {
    LogWrongForm(key, *found, "true or false");
    return false;
  }
  *value = isTrue;
  return true;
}

bool Config::ReadString(std::string_view key, std::string* value) const {
  const Value* found = Find(key);
  if (found == nullptr) return false;
  *value = found->text;
  return true;
}

void Config::WarnAboutUnknownKeys(std::span<const std::string_view> known) const {
  const auto holds = [](std::span<const std::string_view> list, std::string_view key) {
    return std::find(list.begin(), list.end(), key) != list.end();
  };
  for (const auto& [key, value] : values_) {
    if (!holds(known, key) && !holds(kOwnKeys, key)) {
      LogInternal(Logger::sDefaultLogger.get(), 6, "%1:%2: unknown key %3 is ignored", path_, value.line,
                  key);
    }
  }
}

void Config::LogWrongForm(std::string_view key, const Value& value, std::string_view expected) const {
  LogInternal(Logger::sDefaultLogger.get(), 3, "%1:%2: %3 is \"%4\", expected %5; the default stays", path_,
              value.line, key, value.text, expected);
}

}  // namespace Corvane::Service
