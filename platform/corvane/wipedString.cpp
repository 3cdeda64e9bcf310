#include "platform/corvane/wipedString.h"

#include <malloc.h>
#include <openssl/crypto.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace Corvane {
namespace {

// After a text that has become shorter is its tail, and a short text is in the object itself.
void Wipe(std::string& text) {
  text.resize(text.capacity());
  OPENSSL_cleanse(text.data(), text.size());
  text.clear();
}

}  // namespace

WipedString::WipedString(std::string&& text) : text_(std::move(text)) {
  Wipe(text);
}

WipedString::WipedString(WipedString&& other) noexcept : WipedString(std::move(other.text_)) {}

WipedString& WipedString::operator=(WipedString other) noexcept {
  text_.swap(other.text_);
  return *this;
}

WipedString::~WipedString() {
  Wipe(text_);
}

void WipedString::Append(std::string_view more) {
  const std::size_t bytes = text_.size() + more.size();
  if (bytes > text_.capacity()) Reserve(std::max(bytes, 2 * text_.capacity()));
  text_.append(more);
}

std::string& WipedString::Reserve(std::size_t bytes) {
  WipedString roomy;
  roomy.text_.reserve(bytes);
  roomy.text_.append(text_);
  text_.swap(roomy.text_);
  return text_;
}

void WipingFree(void* memory) {
  if (memory != nullptr) OPENSSL_cleanse(memory, malloc_usable_size(memory));
  std::free(memory);
}

void* WipingRealloc(void* memory, std::size_t bytes) {
  void* fresh = std::malloc(bytes);
  if (fresh != nullptr && memory != nullptr) {
    std::memcpy(fresh, memory, std::min(bytes, malloc_usable_size(memory)));
    WipingFree(memory);
  }
  return fresh;
}

}  // namespace Corvane
