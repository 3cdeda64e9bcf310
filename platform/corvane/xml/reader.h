#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "platform/corvane/object.h"
#include "platform/corvane/wipedString.h"

namespace Corvane {

namespace Xml {

// A text to parse: UTF-8 whatever its XML declaration says.
class Reader final : public ObjectImpl {
 public:
  explicit Reader(std::string text) : text_(std::move(text)) {}
  std::string_view GetText() const { return text_; }

 private:
  std::string text_;
};

Ref<Reader> CreateStringReader(std::string text);

}  // namespace Xml

// Takes what is written and keeps it as one text.
class Writer final : public ObjectImpl {
 public:
  void Write(std::string_view text) { text_.Append(text); }
  const std::string& GetText() const { return text_.text(); }

 private:
  WipedString text_;
};

Ref<Writer> CreateStringWriter();

}  // namespace Corvane
