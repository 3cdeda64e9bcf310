#pragma once

#include <map>
#include <string>
#include <vector>

#include "bench/brokers/figures.h"

namespace Brokers {

// The medians of a row, by broker. One that isn't installed has none.
struct RowResult {
  Row row;
  std::map<std::string, Figures> figures;
};

// Tables in Markdown, on the standard output.
void PrintTables(const std::vector<RowResult>& results, const std::vector<std::string>& brokers);
void PrintHostLoad(const HostLoad& load);
// What one should know of the brokers to read the tables.
void PrintDifferences();
// Bars of CPU time a delivery; each row has a scale of its own.
std::string DrawBars(const std::vector<RowResult>& results, const std::vector<std::string>& brokers);

}  // namespace Brokers
