#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Testing {

// A plain TCP connection to a daemon's API on 127.0.0.1, for exact bytes. Reads give up after 20 seconds.
class Connection {
 public:
  explicit Connection(std::uint16_t port, int receiveBuffer = 0);
  ~Connection();
  Connection(Connection&& other) noexcept;
  Connection& operator=(Connection&&) = delete;

  void Send(std::string_view bytes);
  // The next bytes; empty at the end of the connection.
  std::string Receive();
  // Everything up to the end of the connection.
  std::string ReceiveAll();
  // Up to and with the mark; throws at the end of the connection.
  std::string ReceiveThrough(std::string_view mark);
  std::string ReceiveExactly(std::size_t size);
  // Closes with a reset instead of an orderly end.
  void Reset();

 private:
  int fd_;
  std::string pending_;
};

// The header line of a caller with a token that this host's daemon accepts. The subject holds no single
// quote.
std::string TokenFor(const std::string& subject, const std::string& entitlement);
// That of a caller who may do everything.
const std::string& Authorized();

// The method of a subscription.
inline constexpr const char kSubscribe[] = "com.tessaly.norn.hesper.guest_data.subscribe";

// A POST request with a JSON-RPC call in its body.
std::string CallRequest(std::string_view method, std::string_view input, std::string_view accept,
                        std::string_view moreHeaders = "", std::string_view authorization = Authorized());

// A subscription that reads its stream frame by frame.
class Subscriber {
 public:
  // What is wanted is the JSON of the operation's argument.
  Subscriber(std::uint16_t port, std::string_view wanted, int receiveBuffer = 0);

  // Reads the response's head; called by the first Next.
  std::string ReadHead();
  // The JSON text of the next element; throws when the stream ends.
  std::string Next();
  Connection& connection() { return connection_; }

 private:
  std::string NextChunk();

  Connection connection_;
  bool headRead_ = false;
  std::string frames_;
};

// What subscribers ask for most: all topics of all VMs.
inline constexpr const char kEverything[] = R"({"vm_id_type":"MGR_VM_ID"})";

}  // namespace Testing
