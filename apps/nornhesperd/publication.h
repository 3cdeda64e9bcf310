#pragma once

#include <rapidjson/document.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "apps/nornhesperd/cidInfo.h"
#include "apps/nornhesperd/publicationElements.h"
#include "apps/nornhesperd/publicationFault.h"
#include "apps/nornhesperd/result.h"
#include "framework/core/dateTime.h"

namespace NornHesper {

// One item of guest data: the text of a datagram, and what it says. Parse is run once, before the publication
// is shared; from then on nothing changes any more and any thread may read. The elements appear as they are
// asked for.
class Publication {
 public:
  // Copies the text, which need not end in a NUL.
  Publication(const char* text, std::size_t length, const CidInfoPtr& cidInfo);
  Publication(const Publication&) = delete;
  Publication& operator=(const Publication&) = delete;

  // Gives at most one record, about the first fault found; a guest sees it in its acknowledgement. The cost
  // is linear in the length of the text, whatever the text is, and so is the memory; the stack is not used
  // for nesting.
  Result Parse();

  // Views into the parsed text, which live as long as the publication. Empty before Parse.
  std::string_view Topic() const { return topic_; }
  std::string_view Token() const { return token_; }
  // The payload in base64: the one text that RFC 4648 section 4 has for its bytes.
  std::string_view PayloadBase64() const { return payloadBase64_; }

  const std::string text;  // the datagram's bytes
  const CidInfoPtr cidInfo;

 private:
  // Memory of the document: its strings are views of a copy of the text that the parser changes in place,
  // and the values of a usual publication fit in the array. Of a document that doesn't fit, only the strings
  // below and the members that hold them are there after Parse.
  std::unique_ptr<char[]> parseText_;
  alignas(std::max_align_t) std::array<char, 512> parseNodes_;
  rapidjson::MemoryPoolAllocator<> parsePool_;

 public:
  rapidjson::Document document;
  bool hasSequence = false;  // also true for a text with a fault after its sequence
  std::uint64_t sequence = 0;
  std::vector<std::uint64_t> subscribers;  // ids of subscriptions; empty for a live publication
  bool parsed = false;                     // Parse found no fault
  PublicationFault fault = PublicationFault::None;
  Mirel::DateTime createTime;
  std::vector<unsigned char> payload;  // decoded
  PublicationElements elements;

 private:
  // Each gives the text of the fault that it found, or nothing, and sets `fault` to what it looks for.
  std::string ReadText();
  std::string ReadHeader();
  std::string ReadSubscribers(const rapidjson::Value& header);
  std::string CheckSchema();
  std::string ReadFields();

  bool DecodePayload(std::string_view base64);
  void NormalizeLastGroup(std::string_view base64, const std::vector<unsigned char>& bytes);
  void KeepWhatIsReadLater();

  std::string_view topic_;
  std::string_view token_;
  std::string_view payloadBase64_;
};

using PublicationPtr = std::shared_ptr<Publication>;

}  // namespace NornHesper
