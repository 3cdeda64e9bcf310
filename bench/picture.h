#pragma once

#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace Bench {

struct Point {
  double x;
  double y;
};

// An SVG picture, drawn piece by piece. Its colours can be read on white and on black; lengths are in pixels,
// and y grows downwards.
class Picture {
 public:
  enum class Anchor { Start, Middle, End };

  static constexpr const char* kStrong = "#2f81f7";
  static constexpr const char* kWeak = "#8b949e";
  static constexpr const char* kFaint = "#8b949e66";

  void Bar(Point corner, double width, double height, std::string_view colour);
  void Line(const std::vector<Point>& points, std::string_view colour, double width = 1);
  void Dot(Point center, std::string_view colour);
  // Requires: no markup in the text.
  void Text(Point at, std::string_view text, Anchor anchor = Anchor::Start, bool bold = false);

  std::string Svg(double width, double height) const;

 private:
  std::string body_;
};

// The file of a picture that takes long to measure, opened before that; without a path one that takes
// nothing. Throws std::runtime_error for a path that can't be written.
std::ofstream OpenPicture(const std::string& path);

}  // namespace Bench
