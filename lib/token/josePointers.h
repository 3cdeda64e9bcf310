#pragma once

#include <cjose/cjose.h>
#include <jansson.h>

#include <cstdlib>
#include <memory>

namespace NornToken {

template <auto Release>
struct Releaser {
  template <typename T>
  void operator()(T* object) const {
    Release(object);
  }
};

// A text that the libraries give away.
using TextPtr = std::unique_ptr<char, Releaser<std::free>>;
using JsonPtr = std::unique_ptr<json_t, Releaser<json_decref>>;
using JwkPtr = std::unique_ptr<cjose_jwk_t, Releaser<cjose_jwk_release>>;
using JwsPtr = std::unique_ptr<cjose_jws_t, Releaser<cjose_jws_release>>;
using JoseHeaderPtr = std::unique_ptr<cjose_header_t, Releaser<cjose_header_release>>;

}  // namespace NornToken
