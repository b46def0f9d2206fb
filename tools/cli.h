// The tools' command lines. Their parser's header takes seconds to compile: only cli.cpp includes it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/library.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tool {

using Choices = std::map<std::string, std::uint32_t>;

// An option of a command, or a word that needs no option before it.
class Option {
 public:
  explicit Option(CLI::Option* option) : option_(option) {}
  Option required() const;
  Option any_number() const;  // of words, also none
  Option needs(Option other) const;
  Option excludes(Option other) const;
  Option one_of(const std::vector<std::string>& texts) const;
  Option between(int least, int most) const;
  // A number, or the text that stands for it.
  Option choice_of(const Choices& choices) const;
  Option choice_of_any_case(const Choices& choices) const;

 private:
  CLI::Option* option_;
};

// A program, or a subcommand of one. Copies are the same command.
class Command {
 public:
  Command(const char* help, const char* name);  // a program

  // The value is a text, a number, or a vector of either.
  template <class Value>
  Option add_option(const char* names, Value& value, const char* help);
  // Hands over a text, or a number.
  template <class Value>
  Option add_option_function(const char* names, const std::function<void(const Value&)>& take, const char* help);
  Option add_flag(const char* names, bool& flag, const char* help);
  void footer(const char* text);

  Command add_subcommand(const char* name, const char* help);
  void require_subcommand();  // one
  void fallthrough();         // subcommands that are added later take the command's options, too

  // Exit code of a command line that asks for help, or has a fault; what is to be said of it has been printed.
  [[nodiscard]] std::optional<int> parse(std::vector<std::string> arguments);
  [[nodiscard]] bool parsed() const;
  [[nodiscard]] bool got_subcommand(const char* name) const;
  [[nodiscard]] bool got_option(const char* name) const;
  [[nodiscard]] const std::string& name() const;

 private:
  explicit Command(std::shared_ptr<CLI::App> app) : app_(std::move(app)) {}
  std::shared_ptr<CLI::App> app_;
};

// Parses the command line and runs the body, whose result is the exit code. Prints what either throws.
int run(Command& program, std::vector<std::string> arguments, const std::function<int()>& body);

// The arguments after the program's name, in the installation's code page.
std::vector<std::string> arguments(int argc, char** argv);

// Takes "--", at which the parser would end a subcommand, and the words behind it, which may begin with a dash.
std::vector<std::string> take_behind_dashes(std::vector<std::string>& arguments);

// As run, for a command line whose words behind "--" join `words`.
int run_with_words(Command& program, std::vector<std::string> arguments, std::vector<std::string>& words,
                   const std::function<int()>& body);

}  // namespace tool
