#include "bench/picture.h"

#include <sstream>
#include <stdexcept>

namespace Bench {
namespace {

const char* AnchorName(Picture::Anchor anchor) {
  if (anchor == Picture::Anchor::Middle) return "middle";
  return anchor == Picture::Anchor::End ? "end" : "start";
}

}  // namespace

void Picture::Bar(Point corner, double width, double height, std::string_view colour) {
  std::ostringstream svg;
  svg << "<rect x=\"" << corner.x << "\" y=\"" << corner.y << "\" width=\"" << width << "\" height=\""
      << height << "\" rx=\"1.5\" fill=\"" << colour << "\"/>\n";
  body_ += svg.str();
}

void Picture::Line(const std::vector<Point>& points, std::string_view colour, double width) {
  std::ostringstream svg;
  svg << "<polyline fill=\"none\" stroke=\"" << colour << "\" stroke-width=\"" << width << "\" points=\"";
  for (const auto& point : points) svg << point.x << ',' << point.y << ' ';
  svg << "\"/>\n";
  body_ += svg.str();
}

void Picture::Dot(Point center, std::string_view colour) {
  std::ostringstream svg;
  svg << "<circle cx=\"" << center.x << "\" cy=\"" << center.y << "\" r=\"3\" fill=\"" << colour << "\"/>\n";
  body_ += svg.str();
}

void Picture::Text(Point at, std::string_view text, Anchor anchor, bool bold) {
  std::ostringstream svg;
  svg << "<text x=\"" << at.x << "\" y=\"" << at.y << "\" text-anchor=\"" << AnchorName(anchor) << '"'
      << (bold ? " font-weight=\"bold\"" : "") << '>' << text << "</text>\n";
  body_ += svg.str();
}

std::string Picture::Svg(double width, double height) const {
  std::ostringstream svg;
  svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " << width << ' ' << height << "\" width=\""
      << width << "\" height=\"" << height
      << "\" font-family=\"system-ui, sans-serif\" font-size=\"12\" fill=\"#7d8590\">\n"
      << body_ << "</svg>\n";
  return svg.str();
}

std::ofstream OpenPicture(const std::string& path) {
  std::ofstream file;
  if (path.empty()) return file;
  file.open(path);
  if (!file) throw std::runtime_error("can't write to " + path);
  return file;
}

}  // namespace Bench
