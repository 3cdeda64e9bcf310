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

// Takes a text piece by piece.
class Writer : public ObjectImpl {
 public:
  virtual void Write(std::string_view piece) = 0;
};

// Keeps what is written as one text.
class StringWriter final : public Writer {
 public:
  void Write(std::string_view piece) override { text_.Append(piece); }
  const std::string& GetText() const { return text_.text(); }

 private:
  WipedString text_;
};

Ref<StringWriter> CreateStringWriter();

}  // namespace Corvane
