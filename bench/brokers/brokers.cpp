// The daemon beside other servers that pass publications on: the same texts, the same subscribers, the same
// client. `brokers --help` tells the options.

#include <algorithm>
#include <cstdio>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/brokers/broker.h"
#include "bench/brokers/figures.h"
#include "bench/brokers/report.h"
#include "bench/brokers/rows.h"
#include "bench/picture.h"
#include "bench/tcp.h"
#include "tools/arguments.h"

namespace {

using namespace Brokers;

// The name of the row that is the daemon's alone.
constexpr const char kHost[] = "host";

struct Wanted {
  std::string daemon;
  std::string only;
  std::string rows;
  unsigned repetitions = 5;
  double seconds = 3;
  bool host = false;
  std::string svg;
};

std::vector<std::string> Words(const std::string& list) {
  std::istringstream stream(list);
  std::vector<std::string> words;
  for (std::string word; std::getline(stream, word, ',');) words.push_back(word);
  return words;
}

std::vector<Entry> ChooseEntries(const std::string& only) {
  auto left = Words(only);
  std::vector<Entry> chosen;
  for (const auto& entry : Catalogue()) {
    if (!only.empty() && std::erase(left, entry.name) == 0) continue;
    if (IsInstalled(entry)) {
      chosen.push_back(entry);
    } else {
      std::printf("%s isn't installed, and is left out.\n", entry.name);
    }
  }
  if (!left.empty()) throw Tools::UsageFault("there is no broker " + left.front());
  return chosen;
}

std::vector<Row> ChooseRows(const std::vector<std::string>& names) {
  std::vector<Row> rows;
  for (const auto& name : names) {
    const auto found = FindRows(name);
    rows.insert(rows.end(), found.begin(), found.end());
  }
  return rows;
}

// Each in turn, so that what changes on the machine meanwhile is the same for all.
RowResult RunRow(const Row& row, const std::vector<Entry>& entries, const Wanted& wanted,
                 Bench::Guests& guests) {
  std::map<std::string, std::vector<Figures>> runs;
  for (unsigned i = 0; i < wanted.repetitions; ++i) {
    for (const auto& entry : entries) {
      const auto broker = entry.start({wanted.daemon, guests, row.subscribers});
      const auto figures = Measure(*broker, row, wanted.seconds);
      std::fprintf(stderr, "%s %s: %.2f us, %.0f/s, p99 %.0f us, %.0f lost\n", row.Name().c_str(), entry.name,
                   figures.cpuMicros, figures.perSecond, figures.p99Micros, figures.lost);
      runs[entry.name].push_back(figures);
    }
  }
  RowResult result{row, {}};
  for (const auto& [name, figures] : runs) result.figures[name] = Medians(figures);
  return result;
}

void Compare(const Wanted& wanted, const std::vector<Entry>& entries, const std::vector<Row>& rows) {
  Bench::RaiseDescriptorLimit();
  auto picture = Bench::OpenPicture(wanted.svg);
  Bench::Guests guests;
  std::vector<std::string> names;
  for (const auto& entry : entries) names.emplace_back(entry.name);
  std::vector<RowResult> results;
  for (const auto& row : rows) results.push_back(RunRow(row, entries, wanted, guests));
  if (!results.empty()) {
    PrintTables(results, names);
    PrintDifferences();
    picture << DrawBars(results, names);
  }
  if (wanted.host) PrintHostLoad(MeasureHostLoad({wanted.daemon, guests, 1}, wanted.seconds));
}

}  // namespace

int main(int argc, char** argv) try {
  Wanted wanted;
  std::vector<Entry> entries;
  std::vector<Row> rows;
  Tools::CommandLine line("brokers", "Measures the daemon beside other brokers.");
  auto& top = line.Top();
  top.Value("daemon", wanted.daemon, "The daemon's program").Required().ExistingFile();
  top.Value("--only", wanted.only, "Brokers, with commas between them");
  top.Value("--rows", wanted.rows, "Loads, with commas between them: 256x10, 256x10@700, 256x10@max, host");
  top.Value("--repetitions", wanted.repetitions, "Runs of each").Within(1U, 1000U).ShowDefault();
  top.Value("--seconds", wanted.seconds, "Length of a run").Within(0.1, 3600.0).ShowDefault();
  top.Value("--svg", wanted.svg, "File for a picture");
  line.Top().OnParsed([&] {
    auto names = Words(wanted.rows);
    wanted.host = names.empty() || std::erase(names, kHost) != 0;
    rows = wanted.rows.empty() ? UsualRows() : ChooseRows(names);
    entries = ChooseEntries(wanted.only);
  });
  if (const auto status = line.Parse(argc, argv)) return *status;
  Compare(wanted, entries, rows);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "brokers: %s\n", error.what());
  return 1;
}
