#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "bench/brokers/broker.h"
#include "bench/brokers/daemonBroker.h"
#include "bench/brokers/tcpBroker.h"
#include "testing/daemon.h"
#include "testing/processFolder.h"

namespace Brokers {
namespace {

using std::string_literals::operator""s;

// Where Debian's packages have them.
constexpr const char kMosquitto[] = "/usr/sbin/mosquitto";
constexpr const char kNats[] = "/usr/sbin/nats-server";
constexpr const char kRedis[] = "/usr/bin/redis-server";
constexpr const char kNginx[] = "/usr/sbin/nginx";
constexpr const char kNchan[] = "/usr/lib/nginx/modules/ngx_nchan_module.so";

std::string WriteConfiguration(const std::string& name, const std::string& text) {
  auto file = Testing::ProcessFolder() + "/" + name;
  std::ofstream(file) << text;
  return file;
}

std::unique_ptr<Broker> StartDaemon(const Stage& stage) {
  return std::make_unique<DaemonBroker>(stage);
}

// MQTT 3.1.1's remaining length: seven bits a byte, the lowest first.
std::string MqttLength(std::size_t length) {
  std::string bytes;
  for (; length >= 128; length >>= 7) bytes.push_back(static_cast<char>(length | 128));
  bytes.push_back(static_cast<char>(length));
  return bytes;
}

std::unique_ptr<Broker> StartMosquitto(const Stage&) {
  const auto port = Testing::FreePort();
  // It stays root's where it is root's, as another user's process would outlive this one.
  const auto file = WriteConfiguration("mosquitto.conf", "listener " + std::to_string(port) +
                                                             " 127.0.0.1\nallow_anonymous true\nuser root\n"
                                                             "set_tcp_nodelay true\nlog_type error\n");
  // A clean session without a name, and without a time to keep it alive.
  const auto connect = "\x10\x0c\0\4MQTT\4\2\0\0\0\0"s;
  const auto subscribe = "\x82\6\0\1\0\1t\0"s;
  const auto publish = [](std::size_t size) { return "\x30" + MqttLength(size + 3) + "\0\1t"s; };
  return std::make_unique<TcpBroker>(std::vector<std::string>{kMosquitto, "-c", file}, port,
                                     Protocol{connect + subscribe, connect, publish, ""});
}

std::unique_ptr<Broker> StartNats(const Stage&) {
  const auto port = Testing::FreePort();
  const auto connect = "CONNECT {\"verbose\":false,\"pedantic\":false}\r\n"s;
  const auto publish = [](std::size_t size) { return "PUB t " + std::to_string(size) + "\r\n"; };
  return std::make_unique<TcpBroker>(
      std::vector<std::string>{kNats, "-a", "127.0.0.1", "-p", std::to_string(port)}, port,
      Protocol{connect + "SUB t 1\r\n", connect, publish, "\r\n"});
}

std::unique_ptr<Broker> StartRedis(const Stage&) {
  const auto port = std::to_string(Testing::FreePort());
  const auto file = WriteConfiguration(
      "redis.conf", "bind 127.0.0.1\nport " + port + "\nsave \"\"\nappendonly no\ndir " +
                        Testing::ProcessFolder() + "\nlogfile " + Testing::ProcessFolder() + "/redis.log\n");
  const auto publish = [](std::size_t size) {
    return "*3\r\n$7\r\nPUBLISH\r\n$1\r\nt\r\n$" + std::to_string(size) + "\r\n";
  };
  return std::make_unique<TcpBroker>(std::vector<std::string>{kRedis, file},
                                     static_cast<std::uint16_t>(std::stoul(port)),
                                     Protocol{"*2\r\n$9\r\nSUBSCRIBE\r\n$1\r\nt\r\n", "", publish, "\r\n"});
}

// One process that does it all, so that none can be left behind. Bodies stay in memory. Without a buffer of
// messages it takes several times as long for large ones, and loses some.
std::string NchanConfiguration(std::uint16_t port) {
  const auto folder = Testing::ProcessFolder();
  std::string text = "daemon off; master_process off; error_log stderr; pid " + folder +
                     "/nginx.pid; load_module " + kNchan +
                     ";\nevents { worker_connections 4096; }\nhttp {\n" +
                     "access_log off; client_body_buffer_size 256k; keepalive_requests 1000000000;\n";
  for (const char* use : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
    text += use + "_temp_path "s + folder + "/nginx;\n";
  }
  return text + "server { listen 127.0.0.1:" + std::to_string(port) +
         ";\n"
         "location = /publish { nchan_publisher; nchan_channel_id t; nchan_message_buffer_length 64; }\n"
         "location = /stream { nchan_subscriber http-raw-stream; nchan_channel_id t;"
         " nchan_subscriber_first_message newest; }\n}\n}\n";
}

std::unique_ptr<Broker> StartNchan(const Stage&) {
  const auto port = Testing::FreePort();
  const auto publish = [](std::size_t size) {
    return "POST /publish HTTP/1.1\r\nHost: localhost\r\nContent-Length: " + std::to_string(size) +
           "\r\n\r\n";
  };
  return std::make_unique<TcpBroker>(
      std::vector<std::string>{kNginx, "-c", WriteConfiguration("nginx.conf", NchanConfiguration(port))},
      port, Protocol{"GET /stream HTTP/1.1\r\nHost: localhost\r\n\r\n", "", publish, ""});
}

std::unique_ptr<Broker> StartRelay(const Stage& stage) {
  const auto port = Testing::FreePort();
  const auto length = [](std::size_t size) {
    const auto number = static_cast<std::uint32_t>(size);
    return std::string(reinterpret_cast<const char*>(&number), sizeof number);
  };
  return std::make_unique<TcpBroker>(
      std::vector<std::string>{RELAY_PROGRAM, std::to_string(port), std::to_string(stage.subscribers)}, port,
      Protocol{"", "", length, ""});
}

}  // namespace

const std::vector<Entry>& Catalogue() {
  static const std::vector<Entry> entries = {
      {"nornhesperd", {}, StartDaemon},
      {"mosquitto", {kMosquitto}, StartMosquitto},
      {"nats", {kNats}, StartNats},
      {"redis", {kRedis}, StartRedis},
      {"nchan", {kNginx, kNchan}, StartNchan},
      {"relay", {}, StartRelay},
  };
  return entries;
}

bool IsInstalled(const Entry& entry) {
  return std::all_of(entry.files.begin(), entry.files.end(),
                     [](const std::string& file) { return access(file.c_str(), R_OK) == 0; });
}

}  // namespace Brokers
