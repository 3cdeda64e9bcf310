#pragma once

#include <rapidjson/document.h>

#include <string>
#include <string_view>

#include "fleet/stream/call.h"

namespace Fleet {

// The bodies of the two calls, as JSON-RPC requests.
std::string SubscriptionRequest(const Wanted& wanted);
std::string StatsRequest();

// One answer of the daemon: its "result". Throws a CallFault with the daemon's own words if it is an error,
// or if it is no answer.
class DaemonAnswer final {
 public:
  explicit DaemonAnswer(std::string_view json);

  const rapidjson::Value& Result() const { return *result_; }

 private:
  rapidjson::Document document_;
  const rapidjson::Value* result_ = nullptr;
};

}  // namespace Fleet
