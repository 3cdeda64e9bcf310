#include "tools/arguments.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "platform/corvane/textEscape.h"

namespace Tools {

Option& Option::Required() {
  option_->required();
  return *this;
}

Option& Option::Needs(const Option& other) {
  option_->needs(other.option_);
  return *this;
}

Option& Option::Excludes(const Option& other) {
  option_->excludes(other.option_);
  return *this;
}

Option& Option::Repeatable() {
  option_->take_all()->allow_extra_args(false);
  return *this;
}

Option& Option::ShowDefault() {
  option_->capture_default_str();
  return *this;
}

template <typename T>
Option& Option::Within(T least, T most) {
  option_->check(CLI::Range(least, most));
  return *this;
}

template Option& Option::Within(int, int);
template Option& Option::Within(unsigned, unsigned);
template Option& Option::Within(std::int64_t, std::int64_t);
template Option& Option::Within(double, double);

Option& Option::OneOf(std::initializer_list<std::string> values) {
  option_->check(CLI::IsMember(std::vector<std::string>(values)));
  return *this;
}

Option& Option::ExistingFile() {
  option_->check(CLI::ExistingFile);
  return *this;
}

Option& Option::ExistingFileOrInput() {
  option_->check(CLI::ExistingFile | CLI::IsMember({"-"}));
  return *this;
}

bool Option::IsGiven() const {
  return !option_->empty();
}

template <typename T>
Option Command::Value(const char* name, T& value, const char* purpose) {
  return Option(app_->add_option(name, value, purpose));
}

template Option Command::Value(const char*, std::string&, const char*);
template Option Command::Value(const char*, std::vector<std::string>&, const char*);
template Option Command::Value(const char*, double&, const char*);
template Option Command::Value(const char*, unsigned&, const char*);
template Option Command::Value(const char*, std::int64_t&, const char*);
template Option Command::Value(const char*, std::uint64_t&, const char*);
template Option Command::Value(const char*, std::optional<std::int64_t>&, const char*);

Option Command::Flag(const char* name, bool& given, const char* purpose) {
  return Option(app_->add_flag(name, given, purpose));
}

Command Command::ExactlyOne(const char* title) {
  auto* group = app_->add_option_group(title);
  group->require_option(1);
  return Command(group);
}

Command Command::Subcommand(const char* name, const char* purpose) {
  app_->require_subcommand(1);
  return Command(app_->add_subcommand(name, purpose));
}

void Command::OnParsed(const std::function<void()>& action) {
  app_->callback(action);
}

bool Command::IsGiven() const {
  return app_->parsed();
}

CommandLine::CommandLine(const char* tool, const char* purpose)
    : tool_(tool), app_(std::make_unique<CLI::App>(purpose, tool)), top_(app_.get()) {}

CommandLine::~CommandLine() = default;

std::optional<int> CommandLine::Parse(int argc, char** argv) {
  std::string fault;
  try {
    app_->parse(argc, argv);
    return std::nullopt;
  } catch (const CLI::Success& help) {
    return app_->exit(help);
  } catch (const CLI::ParseError& error) {
    fault = error.what();
  } catch (const UsageFault& error) {
    fault = error.what();
  }
  std::fprintf(stderr, "%s: %s\n", tool_.c_str(), Corvane::Detail::EscapeLine(fault).c_str());
  return kUsageError;
}

}  // namespace Tools
