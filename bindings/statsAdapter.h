#pragma once

#include "bindings/statsTypes.h"
#include "framework/core/nativeToValueAdapter.h"

namespace Mirel::Data {

template <>
struct AdaptMethod<Com::Tessaly::Norn::Hesper::Stats> {
  static AdaptFunction<Com::Tessaly::Norn::Hesper::Stats> Get();
};

}  // namespace Mirel::Data
