#include "framework/core/secretString.h"

#include <openssl/crypto.h>

namespace Mirel {

SecretString::~SecretString() {
  OPENSSL_cleanse(text_.data(), text_.size());
}

}  // namespace Mirel
