#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "platform/corvane/xml/reader.h"

namespace Corvane::Xml::Security {

// What a canonical form writes for a byte; empty for the byte itself. They are types, so that the loop over
// the bytes has them inside.
struct EscapeInText {
  std::string_view operator()(char c) const {
    switch (c) {
      case '&':
        return "&amp;";
      case '<':
        return "&lt;";
      case '>':
        return "&gt;";
      case '\r':
        return "&#xD;";
      default:
        return {};
    }
  }
};

struct EscapeInAttribute {
  std::string_view operator()(char c) const {
    switch (c) {
      case '&':
        return "&amp;";
      case '<':
        return "&lt;";
      case '"':
        return "&quot;";
      case '\t':
        return "&#x9;";
      case '\n':
        return "&#xA;";
      case '\r':
        return "&#xD;";
      default:
        return {};
    }
  }
};

struct EscapeInInstruction {
  std::string_view operator()(char c) const { return c == '\r' ? "&#xD;" : std::string_view(); }
};

// Writes a canonical form, in blocks: most of its pieces have a few bytes, and would each cost the writer
// more than these do. Requires: the last one is flushed.
class CanonicalOutput {
 public:
  explicit CanonicalOutput(Writer& writer) : writer_(writer) {}

  CanonicalOutput& operator<<(std::string_view piece) {
    if (piece.size() > block_.size() - used_) Flush();
    if (piece.size() > block_.size()) {
      writer_.Write(piece);
    } else {
      std::copy(piece.begin(), piece.end(), block_.begin() + used_);
      used_ += piece.size();
    }
    return *this;
  }
  CanonicalOutput& operator<<(char c) { return *this << std::string_view(&c, 1); }

  template <typename Escape>
  void Write(std::string_view text, Escape escape) {
    std::size_t begin = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
      const std::string_view escaped = escape(text[i]);
      if (!escaped.empty()) {
        *this << text.substr(begin, i - begin) << escaped;
        begin = i + 1;
      }
    }
    *this << text.substr(begin);
  }

  void WriteName(std::string_view prefix, std::string_view localName) {
    if (!prefix.empty()) *this << prefix << ':';
    *this << localName;
  }

  void Flush() {
    writer_.Write({block_.data(), used_});
    used_ = 0;
  }

 private:
  Writer& writer_;
  std::array<char, 1024> block_{};
  std::size_t used_ = 0;
};

}  // namespace Corvane::Xml::Security
