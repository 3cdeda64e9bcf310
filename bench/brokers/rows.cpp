#include "bench/brokers/rows.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "lib/public/api/guestLimits.h"
#include "tools/arguments.h"

namespace Brokers {
namespace {

constexpr std::size_t kShortestText = 256;
// As the daemon's soft limit of descriptors leaves.
constexpr std::size_t kMostSubscribers = 900;

Row Checked(const Row& row, bool paced) {
  const bool isPossible = row.bytes >= kShortestText && row.bytes <= NornHesper::kLargestDatagram &&
                          row.subscribers >= 1 && row.subscribers <= kMostSubscribers &&
                          (!paced || row.perSecond >= 1);
  if (isPossible) return row;
  throw Tools::UsageFault(
      "a row has 256 to 69608 bytes, 1 to 900 subscribers, and a publication a second or more");
}

}  // namespace

std::string Row::Name() const {
  const auto name = std::to_string(bytes) + "x" + std::to_string(subscribers) + "@";
  return name + (perSecond == 0 ? "max" : std::to_string(static_cast<unsigned>(perSecond)));
}

const std::vector<Row>& UsualRows() {
  static const std::vector<Row> rows = {
      {256, 1, 5500},   {256, 10, 3000},  {256, 100, 500},  {256, 100, 0},
      {4096, 10, 2500}, {65536, 1, 2000}, {65536, 10, 500}, {65536, 100, 80},
  };
  return rows;
}

std::vector<Row> FindRows(const std::string& name) {
  Row wanted;
  int length = 0;
  const int read = std::sscanf(name.c_str(), "%zux%zu%n@%lf%n", &wanted.bytes, &wanted.subscribers, &length,
                               &wanted.perSecond, &length);
  const auto rest = name.substr(std::min(name.size(), static_cast<std::size_t>(length)));
  if (read == 3 && rest.empty()) return {Checked(wanted, true)};
  if (read == 2 && rest == "@max") return {Checked(wanted, false)};
  std::vector<Row> rows;
  if (read == 2 && rest.empty()) {
    std::copy_if(UsualRows().begin(), UsualRows().end(), std::back_inserter(rows), [&](const Row& row) {
      return row.bytes == wanted.bytes && row.subscribers == wanted.subscribers;
    });
  }
  if (rows.empty()) throw Tools::UsageFault("there is no row " + name);
  return rows;
}

}  // namespace Brokers
