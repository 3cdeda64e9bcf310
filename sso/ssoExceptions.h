#pragma once

#include "platform/corvane/exception.h"

namespace SsoClient {

// A token, or a part of an answer, is malformed or not valid.
class ParseException final : public Corvane::Exception {
 public:
  using Exception::Exception;
};

// A token's signature is wrong, or can't be checked.
class InvalidSignatureException final : public Corvane::Exception {
 public:
  using Exception::Exception;
};

// A request to the token service failed. The subclasses are the reasons that a caller can do something about.
class SsoException : public Corvane::Exception {
 public:
  using Exception::Exception;
};

class InvalidCredentialsException final : public SsoException {
 public:
  using SsoException::SsoException;
};

class CommunicationException final : public SsoException {
 public:
  using SsoException::SsoException;
};

class InvalidTokenException final : public SsoException {
 public:
  using SsoException::SsoException;
};

}  // namespace SsoClient
