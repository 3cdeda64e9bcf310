#pragma once

#include <boost/asio/io_context.hpp>
#include <cstddef>
#include <list>
#include <memory>

namespace Bridge {

class Connection;

// How many frames may be under way at a time, and the connections that wait for others to end before one more
// of theirs may begin.
class FrameBudget final : public std::enable_shared_from_this<FrameBudget> {
 public:
  // Requires: the context outlives it.
  FrameBudget(boost::asio::io_context& io, std::size_t most) : io_(io), most_(most) {}

  bool HasRoom() const { return underWay_ < most_; }
  bool IsUnused() const { return underWay_ == 0; }
  void Begin() { ++underWay_; }
  void End();
  // The connection is resumed when there may be room. Requires: there is none.
  void Await(const std::shared_ptr<Connection>& connection) { line_.push_back(connection); }

 private:
  void ServeLine();

  boost::asio::io_context& io_;
  const std::size_t most_;
  std::size_t underWay_ = 0;
  std::list<std::weak_ptr<Connection>> line_;
  bool isServiceDue_ = false;
};

}  // namespace Bridge
