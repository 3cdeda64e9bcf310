#include "apps/nornhesperd/historyRequestor.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/system/system_error.hpp>

#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/logMessage.h"
#include "apps/nornhesperd/vsock.h"

namespace NornHesper {

std::string HistoryRequestText(std::uint64_t id, std::uint64_t pastSeconds,
                               const OptionalStringVector& topicPrefixes) {
  std::string text = "{ \"pastSeconds\": " + std::to_string(pastSeconds) + ", \"id\": " + std::to_string(id);
  if (topicPrefixes && !topicPrefixes->empty()) {
    const char* separator = ", \"topicPrefixes\": [ \"";
    for (const auto& prefix : *topicPrefixes) {
      text += separator + prefix + "\"";
      separator = ", \"";
    }
    text += " ]";
  }
  return text + " }";
}

void HistoryRequestorNotifyGuests(std::uint64_t id, std::uint64_t pastSeconds,
                                  const std::vector<unsigned int>& cids,
                                  const OptionalStringVector& topicPrefixes) {
  auto& counters = GlobalContext::Get()->GetCounters().api;
  // A context of its own: the sends block, and must not be mixed with the daemon's asynchronous work.
  boost::asio::io_context context;
  vsock::packet_proto::socket socket(context);
  try {
    socket.open(vsock::packet_proto());
    socket.bind(vsock::packet_proto::endpoint());
  } catch (const boost::system::system_error&) {
    counters.historyFailed.Add(cids.size());
    throw;
  }
  const auto port = static_cast<std::uint32_t>(GlobalContext::Get()->GetConfigInfo().GetHistoryPort());
  const auto text = HistoryRequestText(id, pastSeconds, topicPrefixes);
  for (const auto cid : cids) {
    boost::system::error_code error;
    // asio adds MSG_NOSIGNAL, and waits for room when the socket is full.
    socket.send_to(boost::asio::buffer(text), vsock::packet_proto::endpoint(cid, port), 0, error);
    (error ? counters.historyFailed : counters.historySent).Add();
    if (error) HESPER_LOG(6, "failed to request history data, cid(%1): %2", cid, error.message());
  }
}

}  // namespace NornHesper
