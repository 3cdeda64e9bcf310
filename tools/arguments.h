#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace CLI {
class App;
class Option;
}  // namespace CLI

// The command lines of the tools. The library behind them takes long to compile, so that arguments.cpp alone
// includes it.
namespace Tools {

// How a tool ends that was called in a wrong way (EX_USAGE of sysexits.h).
inline constexpr int kUsageError = 64;

// A wrong call that only the tool can see; its text is for the user.
class UsageFault final : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One option of a command. A handle: the command line owns what it leads to.
class Option {
 public:
  explicit Option(CLI::Option* option) : option_(option) {}

  Option& Required();
  // Is only taken together with the other one, or only without it.
  Option& Needs(const Option& other);
  Option& Excludes(const Option& other);
  // May be given several times. Without this, one that is given twice is a fault.
  Option& Repeatable();
  // The help shows the variable's value as the default.
  Option& ShowDefault();

  // What the value has to be. T is the type that the help names.
  template <typename T>
  Option& Within(T least, T most);
  Option& OneOf(std::initializer_list<std::string> values);
  Option& ExistingFile();
  // A file that is there, or "-" for the standard input.
  Option& ExistingFileOrInput();

  bool IsGiven() const;

 private:
  CLI::Option* option_;
};

// A command and its options, which write into the caller's variables when the command line is parsed. A
// handle, as Option is.
class Command {
 public:
  explicit Command(CLI::App* app) : app_(app) {}

  // T: std::string, std::vector<std::string>, double, unsigned, std::int64_t, std::uint64_t, or
  // std::optional<std::int64_t>. A name without dashes is an operand's, which is given by its place among the
  // words that are no options; behind "--" all words are operands.
  template <typename T>
  Option Value(const char* name, T& value, const char* purpose);
  Option Flag(const char* name, bool& given, const char* purpose);
  // Options of which exactly one has to be given.
  Command ExactlyOne(const char* title);
  Command Subcommand(const char* name, const char* purpose);
  // Runs when the command was given and is complete. It may throw a UsageFault.
  void OnParsed(const std::function<void()>& action);

  bool IsGiven() const;

 private:
  CLI::App* app_;
};

// The whole command line. A tool with subcommands needs one of them.
class CommandLine {
 public:
  CommandLine(const char* tool, const char* purpose);
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;
  ~CommandLine();

  Command& Top() { return top_; }
  // Prints the help if it was asked for, or one line that says what is wrong with the call. Gives the status
  // to end with in both cases, and nothing when the tool can do its work.
  std::optional<int> Parse(int argc, char** argv);

 private:
  const std::string tool_;
  const std::unique_ptr<CLI::App> app_;
  Command top_;
};

}  // namespace Tools
