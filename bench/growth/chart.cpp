#include "bench/growth/chart.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "bench/picture.h"

namespace Growth {
namespace {

using Bench::Picture;
using Bench::Point;

constexpr double kDecade = 90;  // pixels, on both axes
constexpr double kLeft = 60;
constexpr double kTop = 40;
constexpr double kLegendWidth = 300;
constexpr double kLegendStep = 20;
constexpr int kDecadesAcross = 4;
constexpr const char* kColours[] = {"#2f81f7", "#e5534b", "#d29922", "#3fb950", "#a371f7", "#db61a2"};

std::string PowerOfTen(int exponent) {
  char text[16];
  std::snprintf(text, sizeof text, "%.0f", std::pow(10, exponent));
  return text;
}

// Decades of the costs.
struct Range {
  int lowest = 9;
  int highest = 0;
};

Range FindRange(const std::vector<Series>& series) {
  Range range;
  for (const auto& one : series) {
    for (const auto& sample : one.samples) {
      const auto decade = std::log10(sample.cpuMicros);
      range.lowest = std::min(range.lowest, static_cast<int>(std::floor(decade)));
      range.highest = std::max(range.highest, static_cast<int>(std::ceil(decade)));
    }
  }
  return range;
}

Point Place(double count, double micros, const Range& range) {
  return {kLeft + std::log10(count) * kDecade, kTop + (range.highest - std::log10(micros)) * kDecade};
}

void DrawGrid(Picture& picture, const Range& range) {
  const auto bottom = kTop + (range.highest - range.lowest) * kDecade;
  for (int i = 0; i <= kDecadesAcross; ++i) {
    const auto x = kLeft + i * kDecade;
    picture.Line({{x, kTop}, {x, bottom}}, Picture::kFaint, 0.5);
    picture.Text({x, bottom + 16}, PowerOfTen(i), Picture::Anchor::Middle);
  }
  for (int i = range.lowest; i <= range.highest; ++i) {
    const auto y = kTop + (range.highest - i) * kDecade;
    picture.Line({{kLeft, y}, {kLeft + kDecadesAcross * kDecade, y}}, Picture::kFaint, 0.5);
    picture.Text({kLeft - 6, y + 4}, PowerOfTen(i), Picture::Anchor::End);
  }
}

void DrawSeries(Picture& picture, const Series& series, const Range& range, const char* colour) {
  std::vector<Point> points;
  for (const auto& sample : series.samples) {
    points.push_back(Place(static_cast<double>(sample.count), sample.cpuMicros, range));
  }
  picture.Line(points, colour, 2);
  for (const auto& point : points) picture.Dot(point, colour);
}

}  // namespace

std::string Draw(const std::vector<Series>& series) {
  const auto range = FindRange(series);
  Picture picture;
  picture.Text({kLeft, 20}, "CPU of the daemon, µs a publication of 256 bytes");
  DrawGrid(picture, range);
  const auto legend = kLeft + kDecadesAcross * kDecade + 24;
  auto y = kTop + 8;
  for (std::size_t i = 0; i < series.size(); ++i, y += kLegendStep) {
    const auto* colour = kColours[i % std::size(kColours)];
    DrawSeries(picture, series[i], range, colour);
    picture.Line({{legend, y - 4}, {legend + 16, y - 4}}, colour, 2);
    picture.Text({legend + 22, y}, series[i].name);
  }
  return picture.Svg(legend + kLegendWidth, kTop + (range.highest - range.lowest) * kDecade + 28);
}

}  // namespace Growth
