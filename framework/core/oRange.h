#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Mirel {

// A byte sink that a serializer fills and the transport sends. Text is gathered in one buffer; a large piece
// that is shared by many results (a payload's base64) is only referred to, and kept alive by its owner.
class ORange {
 public:
  void Append(std::string_view bytes);
  void Append(char byte) { text_.push_back(byte); }
  void AppendShared(std::string_view bytes, std::shared_ptr<const void> owner);
  void Reserve(std::size_t bytes) { text_.reserve(bytes); }

  std::size_t Size() const { return text_.size() + sharedSize_; }
  // The pieces in order. They are valid until the next append.
  std::vector<std::string_view> Segments() const;
  std::string ToString() const;

 private:
  struct Shared {
    std::size_t textBefore;
    std::string_view bytes;
    std::shared_ptr<const void> owner;
  };

  std::string text_;
  std::vector<Shared> shared_;
  std::size_t sharedSize_ = 0;
};

}  // namespace Mirel
