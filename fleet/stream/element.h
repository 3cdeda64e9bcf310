#pragma once

#include <string>

namespace Fleet {

// One publication as the daemon gives it to a subscriber. All of it but `vm` and `history` is a stranger's
// words: it goes to terminals escaped only.
struct Element {
  std::string json;  // as the daemon wrote it: one JSON object without a line end
  std::string vm;    // of the subscription's kind of identifier
  std::string topic;
  std::string createTime;  // RFC 3339
  std::string token;
  std::string payload;  // bytes, out of their base64
  bool history = false;
};

// Throws std::runtime_error if the text isn't an element.
Element ReadElement(std::string json);

// The same for every copy of one publication, live or as history, and for no two others but by a collision:
// the first 32 hexadecimal digits of the SHA-256 of VM, topic, create time, token and payload.
std::string IdentityOf(const Element& element);

}  // namespace Fleet
