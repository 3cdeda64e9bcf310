#include "framework/transport/connection/acceptOutcome.h"

#include <cerrno>

#include "framework/core/text.h"

namespace Mirel::Asio {

AcceptOutcome AcceptOutcome::Of(const boost::system::error_code& error) {
  AcceptOutcome outcome;
  outcome.error = error;
  if (error == boost::system::error_code(EMFILE, boost::system::system_category())) {
    outcome.flags = kDelayAcceptError;
  } else if (error) {
    outcome.flags = kTerminalAcceptError;
  }
  return outcome;
}

std::ostream& operator<<(std::ostream& out, const AcceptOutcome& outcome) {
  if (!outcome.Failed()) return out << "NoError";
  out << StringOfError(outcome.error);
  if ((outcome.flags & AcceptOutcome::kTerminalAcceptError) != 0) out << ";TerminalAcceptError";
  if ((outcome.flags & AcceptOutcome::kDelayAcceptError) != 0) out << ";DelayAcceptError";
  if (!outcome.text.empty()) out << ";" << outcome.text;
  return out;
}

std::string LocalEndpointText(const TcpListener& listener) {
  boost::system::error_code error;
  const auto endpoint = listener.local_endpoint(error);
  return "LocalEndpoint:" + (error ? StringOfError(error) : Transport::EndpointToString(endpoint));
}

}  // namespace Mirel::Asio

namespace Mirel::Transport {

std::string EndpointToString(const boost::asio::ip::tcp::endpoint& endpoint) {
  const auto address = endpoint.address().to_string();
  return (endpoint.address().is_v6() ? "[" + address + "]" : address) + ":" + std::to_string(endpoint.port());
}

}  // namespace Mirel::Transport
