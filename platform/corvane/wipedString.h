#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Corvane {

// A text that must not stay in memory when it's no longer needed, such as a password or a token. Nothing of
// it is left behind, neither by the end of its life nor by moves, assignments and growth.
class WipedString {
 public:
  WipedString() = default;
  explicit WipedString(std::string_view text) : text_(text) {}
  explicit WipedString(const char* text) : text_(text) {}
  // Takes the text over, and wipes where it was.
  explicit WipedString(std::string&& text);
  WipedString(const WipedString& other) = default;
  WipedString(WipedString&& other) noexcept;
  WipedString& operator=(WipedString other) noexcept;
  ~WipedString();

  const std::string& text() const { return text_; }
  void Append(std::string_view more);
  // Makes room and gives the text, to be filled in by somebody who doesn't let it grow beyond that.
  std::string& Reserve(std::size_t bytes);

 private:
  std::string text_;
};

// For C libraries that are given secrets and take a function to free with: as free and realloc, but nothing
// of the freed memory's content stays.
void WipingFree(void* memory);
void* WipingRealloc(void* memory, std::size_t bytes);

}  // namespace Corvane
