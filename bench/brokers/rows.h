#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Brokers {

// One load that all brokers get.
struct Row {
  std::size_t bytes = 0;
  std::size_t subscribers = 0;
  double perSecond = 0;  // 0: as fast as the slowest subscriber takes it

  std::string Name() const;
};

// Those of the table.
const std::vector<Row>& UsualRows();
// "256x10" names the usual rows of that size and that many subscribers; "256x10@700" and "256x10@max" are
// rows of their own. Throws a Tools::UsageFault.
std::vector<Row> FindRows(const std::string& name);

}  // namespace Brokers
