#pragma once

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Testing {

// A page of metrics with VMs, as somebody reads it who trusts nothing: throws std::runtime_error at the first
// line that OpenMetrics 1.0 (without "# EOF") or Prometheus' old form doesn't have in this place, at a name
// or series that is there twice, and at a sample whose first label isn't vm. More strict than either form: no
// time stamps, one blank, HELP before TYPE, and names in their order.
class MetricPage {
 public:
  enum class Form { OpenMetrics, Prometheus };

  MetricPage(std::string_view page, Form form) : form_(form) {
    while (!page.empty()) {
      const auto end = page.find('\n');
      Require(end != std::string_view::npos, page);
      TakeLine(page.substr(0, end));
      page.remove_prefix(end + 1);
    }
    CheckNames();
  }

  // Lines without their ends.
  const std::set<std::string>& SamplesOf(const std::string& vm) const {
    static const std::set<std::string> kNone;
    const auto samples = samples_.find(vm);
    return samples == samples_.end() ? kNone : samples->second;
  }
  std::string TypeOf(const std::string& family) const {
    const auto type = types_.find(family);
    return type == types_.end() ? "" : type->second;
  }
  // Of the sample's family, by the name in its line.
  std::string TypeOfSample(std::string_view line) const {
    return TypeOf(familyOfSample_.at(std::string(line.substr(0, line.find('{')))));
  }
  const std::map<std::string, std::set<std::string>>& Samples() const { return samples_; }

 private:
  using Suffixes = std::vector<std::string>;

  static void Require(bool isSo, std::string_view line) {
    if (!isSo) throw std::runtime_error("not on a page: " + std::string(line));
  }

  const Suffixes& SuffixesOf(const std::string& type) const {
    const bool isNew = form_ == Form::OpenMetrics;
    static const std::map<std::string, Suffixes> kNew = {
        {"counter", {"_total", "_created"}},
        {"gauge", {""}},
        {"unknown", {""}},
        {"stateset", {""}},
        {"info", {"_info"}},
        {"summary", {"", "_count", "_sum", "_created"}},
        {"histogram", {"_bucket", "_count", "_sum", "_created"}},
        {"gaugehistogram", {"_bucket", "_gcount", "_gsum"}},
    };
    static const std::map<std::string, Suffixes> kOld = {{"counter", {""}},
                                                         {"gauge", {""}},
                                                         {"untyped", {""}},
                                                         {"summary", {"", "_count", "_sum"}},
                                                         {"histogram", {"_bucket", "_count", "_sum"}}};
    const auto& types = isNew ? kNew : kOld;
    const auto found = types.find(type);
    Require(found != types.end(), type);
    return found->second;
  }

  void TakeLine(std::string_view line) {
    if (line.starts_with("# HELP ")) return TakeHelp(line.substr(7));
    if (line.starts_with("# TYPE ")) return TakeType(line.substr(7));
    TakeSample(line);
  }

  void TakeHelp(std::string_view line) {
    Require(line.find_first_of("\\\r\t") == std::string_view::npos, line);
    help_ = line.substr(0, line.find(' '));
  }

  void TakeType(std::string_view line) {
    const std::string name(line.substr(0, line.find(' ')));
    Require(IsName(name) && name == help_ && types_.find(name) == types_.end(), line);
    Require(types_.empty() || family_ < name || family_.starts_with("hesper_vm_"), line);
    Require(line.size() > name.size() + 1, line);
    family_ = name;
    types_[name] = line.substr(name.size() + 1);
    suffixes_ = SuffixesOf(types_[name]);
  }

  void TakeSample(std::string_view line) {
    auto rest = line;
    const std::string name(rest.substr(0, rest.find('{')));
    Require(IsName(name) && name.starts_with(family_) && help_ == family_, line);
    const auto suffix = name.substr(family_.size());
    Require(std::find(suffixes_.begin(), suffixes_.end(), suffix) != suffixes_.end(), line);
    rest.remove_prefix(name.size());
    const auto vm = TakeLabels(rest, line);
    CheckValue(rest, line);
    familyOfSample_[name] = family_;
    const bool isNewLine = samples_[vm].emplace(line).second;
    const bool isNewSeries = series_.emplace(line.substr(0, line.size() - rest.size())).second;
    Require(isNewLine && isNewSeries, line);
  }

  // Gives the VM.
  static std::string TakeLabels(std::string_view& rest, std::string_view line) {
    std::string vm;
    std::set<std::string> names;
    for (char before = '{'; rest.starts_with(before); before = ',') {
      rest.remove_prefix(1);
      const std::string name(rest.substr(0, rest.find('=')));
      Require(IsName(name) && names.insert(name).second && rest.size() > name.size(), line);
      rest.remove_prefix(name.size() + 1);
      const auto value = TakeQuoted(rest, line);
      Require((name == "vm") == (names.size() == 1), line);
      if (name == "vm") vm = value;
    }
    Require(rest.starts_with("} ") && !names.empty(), line);
    rest.remove_prefix(2);
    return vm;
  }

  static std::string TakeQuoted(std::string_view& rest, std::string_view line) {
    std::string value;
    Require(rest.starts_with('"'), line);
    for (rest.remove_prefix(1); !rest.starts_with('"'); rest.remove_prefix(1)) {
      Require(!rest.empty(), line);
      if (rest.front() == '\\') {
        rest.remove_prefix(1);
        Require(rest.starts_with('\\') || rest.starts_with('"') || rest.starts_with('n'), line);
      }
      value.push_back(rest.front());
    }
    rest.remove_prefix(1);
    return value;
  }

  static void CheckValue(std::string_view text, std::string_view line) {
    if (text == "NaN" || text == "+Inf" || text == "-Inf") return;
    Require(text.find_first_not_of("0123456789.e+-") == std::string_view::npos, line);
    const std::string number(text);
    char* end = nullptr;
    const double value = std::strtod(number.c_str(), &end);
    Require(!number.empty() && *end == '\0' && std::isfinite(value), line);
  }

  // Whatever samples the families may get, no two of them have a name in common.
  void CheckNames() const {
    std::set<std::string> names;
    for (const auto& [family, type] : types_) {
      std::set<std::string> own = {family};
      for (const auto& suffix : SuffixesOf(type)) own.insert(family + suffix);
      for (const auto& name : own) Require(names.insert(name).second, name);
    }
  }

  static bool IsName(std::string_view name) {
    constexpr std::string_view kAll = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_";
    return !name.empty() && kAll.find(name.front()) >= 10 &&
           name.find_first_not_of(kAll) == std::string_view::npos;
  }

  Form form_;
  std::string help_;
  std::string family_;
  Suffixes suffixes_;
  std::map<std::string, std::string> types_;              // by family
  std::map<std::string, std::string> familyOfSample_;     // by name of the sample
  std::map<std::string, std::set<std::string>> samples_;  // by VM
  std::set<std::string, std::less<>> series_;
};

}  // namespace Testing
