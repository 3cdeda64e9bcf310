#include "bench/brokers/report.h"

#include <algorithm>
#include <cstdio>

#include "bench/picture.h"

namespace Brokers {
namespace {

using Bench::Picture;

constexpr double kPictureWidth = 720;
constexpr double kColumnWidth = kPictureWidth / 2;
constexpr double kTitleHeight = 34;
constexpr double kBarHeight = 11;
constexpr double kBarStep = 15;
constexpr double kNameWidth = 96;
constexpr double kLongestBar = 200;

std::string Short(double value) {
  char text[32];
  std::snprintf(text, sizeof text, value < 10 ? "%.2f" : value < 100 ? "%.1f" : "%.0f", value);
  return text;
}

std::string Load(const Row& row) {
  return std::to_string(row.bytes) + " x " + std::to_string(row.subscribers) + " @ " +
         (row.perSecond == 0 ? "as taken" : std::to_string(static_cast<unsigned>(row.perSecond)));
}

void PrintHead(const char* first, const std::vector<std::string>& columns) {
  std::printf("\n| %s |", first);
  for (const auto& column : columns) std::printf(" %s |", column.c_str());
  std::printf("\n| --- |");
  for (std::size_t i = 0; i < columns.size(); ++i) std::printf(" --- |");
  std::printf("\n");
}

// The rate as well, where it isn't what was asked for.
std::string CpuCell(const Row& row, const Figures& figures) {
  constexpr double kNearly = 0.98;
  const auto cell = Short(figures.cpuMicros);
  if (row.perSecond != 0 && figures.perSecond >= kNearly * row.perSecond) return cell;
  return cell + " (" + Short(figures.perSecond) + "/s)";
}

std::string LatencyCell(const Row&, const Figures& figures) {
  return Short(figures.p99Micros);
}

void PrintTable(const char* title, const std::vector<RowResult>& results,
                const std::vector<std::string>& brokers, std::string (*cell)(const Row&, const Figures&)) {
  std::printf("\n%s\n", title);
  PrintHead("bytes x subscribers @ publications/s", brokers);
  for (const auto& result : results) {
    std::printf("| %s |", Load(result.row).c_str());
    for (const auto& broker : brokers) {
      const auto found = result.figures.find(broker);
      std::printf(" %s |", found == result.figures.end() ? "" : cell(result.row, found->second).c_str());
    }
    std::printf("\n");
  }
}

void PrintAll(const std::vector<RowResult>& results, const std::vector<std::string>& brokers) {
  std::printf("\nAll figures (medians; the lost ones are of all repetitions):\n");
  PrintHead("bytes x subscribers @ publications/s",
            {"broker", "publications/s", "CPU us a delivery", "p50 us", "p99 us", "lost", "client's load"});
  for (const auto& result : results) {
    for (const auto& broker : brokers) {
      const auto found = result.figures.find(broker);
      if (found == result.figures.end()) continue;
      const auto& figures = found->second;
      std::printf("| %s | %s | %.0f | %s | %s | %s | %.0f | %.2f |\n", Load(result.row).c_str(),
                  broker.c_str(), figures.perSecond, Short(figures.cpuMicros).c_str(),
                  Short(figures.p50Micros).c_str(), Short(figures.p99Micros).c_str(), figures.lost,
                  figures.readerLoad);
    }
  }
}

double Largest(const RowResult& result) {
  double largest = 0;
  for (const auto& [broker, figures] : result.figures) largest = std::max(largest, figures.cpuMicros);
  return largest;
}

void DrawRow(Picture& picture, const RowResult& result, const std::vector<std::string>& brokers,
             Bench::Point corner) {
  picture.Text({corner.x + kNameWidth, corner.y}, Load(result.row), Picture::Anchor::Start, true);
  auto y = corner.y + 8;
  for (const auto& broker : brokers) {
    const auto found = result.figures.find(broker);
    if (found == result.figures.end()) continue;
    const bool ours = broker == brokers.front();
    const auto* colour = ours ? Picture::kStrong : broker == "relay" ? Picture::kFaint : Picture::kWeak;
    const auto length = found->second.cpuMicros / Largest(result) * kLongestBar;
    picture.Text({corner.x + kNameWidth - 6, y + kBarHeight - 1}, broker, Picture::Anchor::End, ours);
    picture.Bar({corner.x + kNameWidth, y}, length, kBarHeight, colour);
    picture.Text({corner.x + kNameWidth + length + 5, y + kBarHeight - 1}, Short(found->second.cpuMicros),
                 Picture::Anchor::Start, ours);
    y += kBarStep;
  }
}

}  // namespace

void PrintTables(const std::vector<RowResult>& results, const std::vector<std::string>& brokers) {
  PrintTable("CPU time of the server, microseconds a delivery:", results, brokers, CpuCell);
  PrintTable("From sending to reading, p99, microseconds:", results, brokers, LatencyCell);
  PrintAll(results, brokers);
}

void PrintHostLoad(const HostLoad& load) {
  std::printf("\nA full host, one subscriber of all of it; in cores:\n");
  PrintHead("publications/s", {"lost", "daemon", "of that the kernel, by samples"});
  std::printf("| %.0f | %.0f | %.3f | %.3f |\n", load.perSecond, load.lost, load.cores, load.system);
}

void PrintDifferences() {
  std::puts(R"(
What the servers do for a publication, besides passing it on:

| | nornhesperd | mosquitto | nats | redis | nchan | relay |
| --- | --- | --- | --- | --- | --- | --- |
| acknowledges it to its sender | yes | no (QoS 0) | no | counts receivers | HTTP answer | no |
| knows the sender | the VM, by the kernel | connection | connection | connection | connection | no |
| checks the text | JSON and schema | no | no | no | no | no |
| limits each sender's rate | yes | no | no | no | no | no |
| checks the subscriber's right | token, once | no (anonymous) | no | no | no | no |
| filters for each subscriber | VM and topic | topic | subject | channel | channel | no |
| makes what's delivered | JSON-RPC in HTTP chunks | frame | frame | frame | raw | raw |
| keeps for a slow subscriber | 16, then drops them | 1000, then drops newer ones | 64 MiB, then disconnects | 32 MiB, then disconnects | 128 MiB for all | nothing: all wait |
| publications come | as vsock datagrams of 3000 VMs | on one connection | on one connection | on one connection | on one connection | on one connection |)");
}

std::string DrawBars(const std::vector<RowResult>& results, const std::vector<std::string>& brokers) {
  Picture picture;
  picture.Text({kPictureWidth / 2, 16},
               "CPU of the server, µs a delivery (bytes x subscribers @ publications/s)",
               Picture::Anchor::Middle);
  const auto rowHeight = static_cast<double>(brokers.size()) * kBarStep + kTitleHeight;
  const auto half = (results.size() + 1) / 2;
  for (std::size_t i = 0; i < results.size(); ++i) {
    DrawRow(picture, results[i], brokers,
            {static_cast<double>(i / half) * kColumnWidth,
             kTitleHeight + 14 + static_cast<double>(i % half) * rowHeight});
  }
  return picture.Svg(kPictureWidth, kTitleHeight + static_cast<double>(half) * rowHeight);
}

}  // namespace Brokers
