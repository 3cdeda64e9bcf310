#pragma once

#include "bindings/sessionTypes.h"
#include "framework/core/nativeToValueAdapter.h"

namespace Mirel::Data {

template <>
struct AdaptMethod<Com::Tessaly::Ombra::SessionSvc::Info> {
  static AdaptFunction<Com::Tessaly::Ombra::SessionSvc::Info> Get();
};

}  // namespace Mirel::Data
