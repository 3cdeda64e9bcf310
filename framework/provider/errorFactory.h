#pragma once

#include <memory>
#include <string>
#include <system_error>

#include <boost/system/error_code.hpp>

#include "framework/core/dataValue.h"
#include "framework/core/nativeToValueAdapter.h"
#include "framework/provider/localization.h"

namespace Mirel {

// An error code as the error "system_error" with one message, the id's template filled with the code's text.
// Null for a code of 0.
Data::ErrorValuePtr MakeSystemErrorValue(const std::error_code& error, const std::string& id);
Data::ErrorValuePtr MakeSystemErrorValue(const boost::system::error_code& error, const std::string& id);

}  // namespace Mirel

namespace Mirel::Data {

struct ErrorFactory {
  // Makes an error value of a native error, with a list value as its "messages". Null when the native error
  // has no value form of type error.
  template <typename T, typename Messages>
  static std::shared_ptr<ErrorValue> GetError(const T& native, const Messages& messages) {
    DataValuePtr value;
    MessageList notes;
    NativeToValueAdapter::Adapt(value, AdaptMethod<T>::Get(), native, L10n::MakeDefaultRequestLocalizer(),
                                notes);
    return WithMessages(value, messages);
  }

 private:
  static std::shared_ptr<ErrorValue> WithMessages(const DataValuePtr& value, DataValuePtr messages);
};

}  // namespace Mirel::Data
