#pragma once

#include <boost/container/small_vector.hpp>
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
  // Copies what is small. A null owner says that somebody else keeps the bytes for as long as this lives.
  void AppendShared(std::string_view bytes, std::shared_ptr<const void> owner);
  // Refers to all of another text, whatever its size. The owner keeps it, and all that it refers to.
  void AppendShared(const ORange& text, std::shared_ptr<const void> owner);
  void Reserve(std::size_t bytes) { text_.reserve(bytes); }
  // Forgets what it holds and refers to, but not the room for a small text.
  void Clear();

  std::size_t Size() const { return text_.size() + sharedSize_; }
  // The pieces in order. They are valid until the next append.
  std::vector<std::string_view> Segments() const;
  // Calls take(std::string_view) for each of them.
  template <typename Take>
  void ForEachSegment(Take take) const {
    std::size_t done = 0;
    const std::string_view text = text_;
    for (const auto& piece : shared_) {
      if (piece.textBefore > done) take(text.substr(done, piece.textBefore - done));
      take(piece.bytes);
      done = piece.textBefore;
    }
    if (done < text.size()) take(text.substr(done));
  }
  std::string ToString() const;

 private:
  struct Shared {
    std::size_t textBefore;
    std::string_view bytes;
    std::shared_ptr<const void> owner;
  };

  void Refer(std::string_view bytes, std::shared_ptr<const void> owner);

  std::string text_;
  // A small element of a stream has one.
  boost::container::small_vector<Shared, 1> shared_;
  std::size_t sharedSize_ = 0;
};

}  // namespace Mirel
