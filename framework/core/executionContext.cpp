#include "framework/core/executionContext.h"

#include <openssl/crypto.h>

namespace Mirel::Core {

SecurityContextWrappedEntry::~SecurityContextWrappedEntry() {
  OPENSSL_cleanse(text_.data(), text_.size());
}

}  // namespace Mirel::Core
