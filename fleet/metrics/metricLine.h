#pragma once

#include <string_view>
#include <vector>

namespace Fleet {

struct MetricLabel {
  std::string_view name;
  // As it stands between the quotation marks. Both forms escape the same three characters in the same way,
  // and let no text be written in two ways.
  std::string_view value;
};

// One line of a text in either form; views are into the line.
struct MetricLine {
  enum class Kind {
    Nothing,  // empty, or a comment: HELP and UNIT are as good as one here
    Type,
    Sample,
    End,
  };

  Kind kind = Kind::Nothing;
  std::string_view name;            // of the sample, or as the type's line has it
  std::string_view type;            // the word
  std::vector<MetricLabel> labels;  // by name; those without a value are left out, as they mean nothing
  double value = 0;
};

// Reads a line without its end into `line`, whose memory is used again. A time stamp and an exemplar have to
// be well-formed, and are left out: guests' clocks are no better than guests. Throws TextRefused.
void ReadMetricLine(std::string_view text, MetricLine& line);

}  // namespace Fleet
