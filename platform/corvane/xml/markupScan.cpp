#include "platform/corvane/xml/markupScan.h"

#include <algorithm>
#include <array>
#include <utility>

namespace Corvane::Xml {
namespace {

constexpr auto kNowhere = std::string_view::npos;

// Where a value or the tag itself ends or begins. std::string_view::find_first_of would call a function for
// each byte.
std::size_t FindQuoteOrEnd(std::string_view text, std::size_t from) {
  for (std::size_t at = from; at < text.size(); ++at) {
    if (text[at] == '>' || text[at] == '"' || text[at] == '\'') return at;
  }
  return kNowhere;
}

std::size_t CountReferences(std::string_view text) {
  // Finding the first one is much faster than counting, and most texts have none.
  const std::size_t first = std::min(text.find('&'), text.size());
  return static_cast<std::size_t>(std::count(text.begin() + first, text.end(), '&'));
}

enum class TagKind { Open, Close, Empty, Other };

// What is between angle brackets: a tag, or a comment and its like.
struct Tag {
  TagKind kind = TagKind::Other;
  std::size_t begin = 0;
  std::size_t end = 0;  // the text's, when nothing closes it
  std::size_t attributes = 0;
};

class TagReader {
 public:
  explicit TagReader(std::string_view text) : text_(text) {}

  std::optional<Tag> Next() {
    const std::size_t begin = text_.find('<', at_);
    if (begin == kNowhere) return std::nullopt;
    Tag tag{TagKind::Other, begin, 0, 0};
    if (!ReadOther(tag)) ReadTag(tag);
    at_ = tag.end;
    return tag;
  }

 private:
  bool ReadOther(Tag& tag) const {
    constexpr std::array<std::pair<std::string_view, std::string_view>, 3> kOthers = {
        {{"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}}};
    const std::string_view rest = text_.substr(tag.begin);
    if (rest.size() < 2 || (rest[1] != '!' && rest[1] != '?')) return false;
    for (const auto& [opening, closing] : kOthers) {
      if (rest.substr(0, opening.size()) == opening) {
        tag.end = EndOf(text_.find(closing, tag.begin + opening.size()), closing.size());
        return true;
      }
    }
    return false;
  }

  // Each attribute has one value in quotes.
  void ReadTag(Tag& tag) const {
    std::size_t at = FindQuoteOrEnd(text_, tag.begin);
    while (at != kNowhere && text_[at] != '>') {
      ++tag.attributes;
      const std::size_t end = text_.find(text_[at], at + 1);
      at = end != kNowhere ? FindQuoteOrEnd(text_, end + 1) : end;
    }
    tag.end = EndOf(at, 1);
    const std::string_view whole = text_.substr(tag.begin, tag.end - tag.begin);
    if (whole.substr(0, 2) == "</") {
      tag.kind = TagKind::Close;
    } else if (whole.substr(0, 2) != "<!") {
      tag.kind = whole.size() > 2 && whole[whole.size() - 2] == '/' ? TagKind::Empty : TagKind::Open;
    }
  }

  std::size_t EndOf(std::size_t closing, std::size_t length) const {
    return closing != kNowhere ? closing + length : text_.size();
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

}  // namespace

std::optional<MarkupFault> FindMarkupFlood(std::string_view text) {
  std::size_t pieces = CountReferences(text);
  TagReader tags(text);
  Tag last;
  for (auto tag = tags.Next(); tag && pieces <= kMostMarkup; tag = tags.Next()) {
    if (tag->attributes > kMostAttributesOfElement) {
      return MarkupFault{tag->begin, "too many attributes in an element"};
    }
    pieces += 1 + tag->attributes;
    last = *tag;
  }
  return pieces > kMostMarkup ? std::optional(MarkupFault{last.begin, "too much markup"}) : std::nullopt;
}

std::string_view FindRootElement(std::string_view text) {
  TagReader tags(text);
  std::size_t begin = 0;
  int depth = 0;
  while (const auto tag = tags.Next()) {
    if (tag->kind == TagKind::Other) continue;
    if (depth == 0) begin = tag->begin;
    if (tag->kind != TagKind::Empty) depth += tag->kind == TagKind::Open ? 1 : -1;
    if (depth == 0) return text.substr(begin, tag->end - begin);
  }
  return {};
}

}  // namespace Corvane::Xml
