#include "guest/agent/metrics/failedUnits.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <utility>

#include "testing/eventually.h"
#include "testing/temporaryFolder.h"

namespace GuestAgent {
namespace {

std::string Word(std::uint32_t value) {
  return {reinterpret_cast<const char*>(&value), sizeof value};
}

// A message in this machine's order (little-endian) with a field for the reply's serial and one for the
// sender.
std::string Message(char type, std::uint32_t replyTo, const std::string& body) {
  const std::string serial = std::string("\5\1u\0", 4) + Word(replyTo);
  const std::string sender = std::string("\7\1s\0", 4) + Word(4) + std::string(":1.2\0", 5);
  const std::string signature = std::string("\0\0\0\10\1g\0\1v\0", 10);
  const std::string fields = serial + sender + signature;
  std::string start{'l', type, 1, 1};
  start += Word(static_cast<std::uint32_t>(body.size())) + Word(99) +
           Word(static_cast<std::uint32_t>(fields.size())) + fields;
  start.resize((start.size() + 7) / 8 * 8);
  return start + body;
}

std::string Variant(std::uint32_t value) {
  return std::string("\1u\0\0", 4) + Word(value);
}

// A bus on which systemd gives what the test says to each question for its failed units.
class BusDouble {
 public:
  using Answer = std::function<std::string(std::uint32_t serial)>;

  BusDouble(const std::string& path, std::string greeting, Answer answer)
      : greeting_(std::move(greeting)), answer_(std::move(answer)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    listener_ = Corvane::FileDescriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_EQ(bind(listener_.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(listener_.Get(), 16), 0);
    thread_ = std::thread([this] { Serve(); });
  }
  ~BusDouble() {
    shutdown(listener_.Get(), SHUT_RDWR);
    thread_.join();
  }

  int Connections() const { return connections_; }
  int Questions() const { return questions_; }

 private:
  void Serve() {
    while (true) {
      const Corvane::FileDescriptor client(accept(listener_.Get(), nullptr, nullptr));
      if (!client.IsOpen()) return;
      ++connections_;
      received_.clear();
      ServeOne(client.Get());
    }
  }

  // Until the client or the test ends it.
  void ServeOne(int client) {
    const std::string hello = "BEGIN\r\n";
    if (!ReceiveUntil(client, "\r\n") || !received_.starts_with(std::string("\0AUTH EXTERNAL 3", 16))) return;
    received_.clear();
    Send(client, greeting_);
    if (!ReceiveUntil(client, hello)) return;
    received_.erase(0, hello.size());
    while (ReceiveUntil(client, std::string("NFailedUnits\0", 13))) AnswerAll(client);
  }

  void AnswerAll(int client) {
    while (received_.size() >= 16) {
      const std::size_t size = (16 + Unsigned(12) + 7) / 8 * 8 + Unsigned(4);
      if (received_.size() < size) return;
      const std::string message = received_.substr(0, size);
      const std::uint32_t serial = Unsigned(8);
      received_.erase(0, size);
      if (message.find("NFailedUnits") == std::string::npos) {
        Send(client, Message(2, serial, Word(5) + std::string(":1.42\0", 6)) + Message(4, 0, "signal"));
      } else {
        ++questions_;
        Send(client, answer_(serial));
      }
    }
  }

  std::uint32_t Unsigned(std::size_t at) const {
    std::uint32_t value = 0;
    std::memcpy(&value, received_.data() + at, sizeof value);
    return value;
  }

  bool ReceiveUntil(int client, const std::string& what) {
    char piece[512];
    while (received_.find(what) == std::string::npos) {
      pollfd entries[] = {{client, POLLIN, 0}, {listener_.Get(), POLLHUP, 0}};
      if (poll(entries, 2, -1) <= 0 || (entries[1].revents & POLLHUP) != 0) return false;
      const auto size = recv(client, piece, sizeof piece, 0);
      if (size <= 0) return false;
      received_.append(piece, static_cast<std::size_t>(size));
    }
    return true;
  }

  static void Send(int client, const std::string& bytes) {
    send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  }

  std::string greeting_;
  Answer answer_;
  Corvane::FileDescriptor listener_;
  std::string received_;
  std::atomic<int> connections_ = 0;
  std::atomic<int> questions_ = 0;
  std::thread thread_;
};

class FailedUnitsTest : public ::testing::Test {
 protected:
  Testing::TemporaryFolder folder_;
  static constexpr const char* kGood = "OK 1234deadbeef\r\n";
};

TEST_F(FailedUnitsTest, TheConnectionStaysAndIsMadeAnewWhenItWasLost) {
  FailedUnits units(folder_ / "bus", Testing::kEventually);
  for (int life = 0; life < 3; ++life) {
    std::filesystem::remove(folder_ / "bus");
    std::uint32_t count = 0;
    BusDouble bus(folder_ / "bus", kGood, [&](std::uint32_t serial) {
      return Message(2, serial + 1000, Variant(77)) + Message(2, serial, Variant(count++));
    });
    // After the end of the last bus there was a fault, and one question is left out.
    for (int left = life > 0 ? 2 : 0; left > 0; --left) EXPECT_EQ(units.Count(), std::nullopt);
    EXPECT_EQ(units.Count(), 0U);
    EXPECT_EQ(units.Count(), 1U);
    EXPECT_EQ(units.Count(), 2U);
    EXPECT_EQ(bus.Connections(), 1);
  }
}

TEST_F(FailedUnitsTest, NoAnswerIsWaitedForATimeAndAskedForLessAndLess) {
  FailedUnits units(folder_ / "bus");
  BusDouble bus(folder_ / "bus", kGood, [](std::uint32_t) { return ""; });
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 100; ++i) EXPECT_EQ(units.Count(), std::nullopt);
  EXPECT_GE(std::chrono::steady_clock::now() - start, 9 * FailedUnits::kPatience);
  // With 1, 2, 4, 8, 16, 20, 20 and 20 left out between them: the questions 1, 3, 6, 11, 20, 37, 58, 79 and
  // 100.
  EXPECT_TRUE(Testing::Eventually([&] { return bus.Connections() == 9; })) << bus.Connections();
}

TEST_F(FailedUnitsTest, WhatIsNoAnswerIsLeftOut) {
  const auto broken = [](std::size_t at, std::uint32_t value) {
    return [at, value](std::uint32_t serial) {
      std::string message = Message(2, serial, Variant(5));
      std::memcpy(message.data() + at, &value, sizeof value);
      return message + std::string(100, 'x');
    };
  };
  const auto with = [](char type, const std::string& body) {
    return [type, body](std::uint32_t serial) { return Message(type, serial, body); };
  };
  const std::pair<const char*, BusDouble::Answer> answers[] = {
      {"error", with(3, Variant(5))},
      {"empty body", with(2, "")},
      {"other type", with(2, std::string("\1s\0\0", 4) + Word(5))},
      {"longer body", with(2, Variant(5) + "x")},
      {"other byte order", broken(0, 'B')},
      {"huge body", broken(4, 0xFFFFFFFF)},
      {"huge fields", broken(12, 0xFFFFFFF0)},
      {"body above the bound", broken(4, 9000)},
      {"fields above their end", broken(28, 0x7FFFFFFF)},
      {"text that wraps", broken(28, 0xFFFFFFFF)},
      {"field of another type", broken(16, 0x00780105)},
      {"signature of many letters", broken(16, 0x0075FF05)},
      {"garbage", [](std::uint32_t) { return std::string(100000, '\xA5'); }},
      {"zeros", [](std::uint32_t) { return std::string(100000, '\0'); }},
      {"too many others",
       [](std::uint32_t serial) {
         std::string flood;
         for (int i = 0; i < 100; ++i) flood += Message(4, 0, Variant(5));
         return flood + Message(2, serial, Variant(5));
       }},
  };
  for (const auto& [name, answer] : answers) {
    std::filesystem::remove(folder_ / "bus");
    BusDouble bus(folder_ / "bus", kGood, answer);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(FailedUnits(folder_ / "bus", Testing::kEventually).Count(), std::nullopt) << name;
    // It is known at once, and nothing more is waited for.
    EXPECT_LT(std::chrono::steady_clock::now() - start, Testing::kEventually) << name;
    EXPECT_EQ(bus.Questions(), 1) << name;
  }
}

TEST_F(FailedUnitsTest, ACallOrAPartIsNoAnswer) {
  for (const bool isPart : {false, true}) {
    std::filesystem::remove(folder_ / "bus");
    BusDouble bus(folder_ / "bus", kGood, [&](std::uint32_t serial) {
      return isPart ? Message(2, serial, Variant(5)).substr(0, 50) : Message(1, serial, Variant(5));
    });
    EXPECT_EQ(FailedUnits(folder_ / "bus").Count(), std::nullopt);
  }
}

TEST_F(FailedUnitsTest, ABusThatRefusesOrTalksForeverIsLeftOut) {
  EXPECT_EQ(FailedUnits(folder_ / "none").Count(), std::nullopt);
  EXPECT_EQ(FailedUnits(std::string(200, 'x')).Count(), std::nullopt);
  const std::pair<std::string, std::chrono::milliseconds> greetings[] = {
      {"REJECTED EXTERNAL\r\n", Testing::kEventually},
      {std::string(100000, 'O'), Testing::kEventually},
      {"OK", FailedUnits::kPatience},
      {"", FailedUnits::kPatience},
  };
  for (const auto& [greeting, patience] : greetings) {
    std::filesystem::remove(folder_ / "bus");
    BusDouble bus(folder_ / "bus", greeting, [](std::uint32_t) { return ""; });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(FailedUnits(folder_ / "bus", patience).Count(), std::nullopt) << greeting.substr(0, 20);
    EXPECT_LT(std::chrono::steady_clock::now() - start, Testing::kEventually) << greeting.substr(0, 20);
    EXPECT_EQ(bus.Questions(), 0);
  }
}

}  // namespace
}  // namespace GuestAgent
