#pragma once

#include <chrono>
#include <cstdint>
#include <fstream>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "guest/agent/keeping/store.h"
#include "testing/clockDouble.h"
#include "testing/temporaryFolder.h"

namespace Testing {

using std::chrono::milliseconds;

inline GuestAgent::Item MakeItem(const std::string& topic, std::size_t bytes = 2, bool isLatest = false) {
  return {{"2026-11-25T19:00:00Z", topic, "", "data", std::string(bytes, 'x')}, isLatest, 1000};
}

// An agent's store, which can be closed and opened again, in a folder of its own.
class Keeper {
 public:
  explicit Keeper(GuestAgent::Store::Bounds chosen = {}) : bounds(chosen) { Open(); }

  void Open() {
    Close();
    store_ = std::make_unique<GuestAgent::Store>(path, bounds, clock,
                                                 [this](const std::string& line) { told.push_back(line); });
  }
  void Close() { store_.reset(); }
  GuestAgent::Store* operator->() const { return store_.get(); }

  std::optional<std::uint64_t> Keep(const GuestAgent::Item& item) {
    return store_->Keep(std::span(&item, 1));
  }
  std::optional<std::uint64_t> Keep(const std::string& topic, std::size_t bytes = 2) {
    return Keep(MakeItem(topic, bytes));
  }
  std::uint64_t KeepSent(const std::string& topic, std::size_t bytes = 2) {
    const auto number = Keep(topic, bytes).value();
    store_->MarkSent(number);
    return number;
  }

  std::vector<std::uint64_t> Waiting() const {
    std::vector<std::uint64_t> numbers;
    store_->ForEachWaiting([&](const GuestAgent::Store::Waiting& one) { numbers.push_back(one.sequence); });
    return numbers;
  }
  // The topics of it.
  std::vector<std::string> Past(std::uint64_t after = 0, milliseconds since = {},
                                std::size_t most = 1000) const {
    std::vector<std::string> topics;
    for (const auto& one : store_->ReadPast(after, since, most)) topics.push_back(one.topic);
    return topics;
  }

  TemporaryFolder folder;
  std::string path = folder / "guest/store.db";
  GuestAgent::Store::Bounds bounds;
  ClockDouble clock;
  std::vector<std::string> told;

 private:
  std::unique_ptr<GuestAgent::Store> store_;
};

}  // namespace Testing
