// What the tools share: command line, exit codes, errors.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <oxbase/oxbase.h>

namespace tool {

inline constexpr int exit_ok = 0;
inline constexpr int exit_failed = 1;  // the request failed; its error text is on stderr
inline constexpr int exit_usage = 2;

// A result code on its way to the user, who sees "subject: error 84: text".
class Failure : public std::runtime_error {
 public:
  Failure(const std::string& subject, OX_RESULT code)
      : std::runtime_error(subject + ": error " + std::to_string(code)), code_(code) {}
  [[nodiscard]] OX_RESULT code() const noexcept { return code_; }

 private:
  OX_RESULT code_;
};

// A command line that parses and still makes no sense; the exit code is 2.
class Usage : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

inline void require(OX_RESULT code, const std::string& subject) {
  if (code != OX_OK) throw Failure(subject, code);
}

// The text of a result code on one line.
std::string error_text(OX_RESULT code);

// Owns what that function of the library releases.
template <auto release>
struct Release {
  void operator()(auto* record) const noexcept { (void)release(record); }
};
template <class Record, auto release>
using Owner = std::unique_ptr<Record, Release<release>>;
using NodesPtr = Owner<dnode, oxdFree>;

// Text on one line of a terminal, whatever it holds: agents and senders of traps choose what is shown.
std::string on_one_line(std::string text);

// Parses the command line and runs the body, whose result is the exit code. Prints what either throws.
int run(CLI::App& app, std::vector<std::string> arguments, const std::function<int()>& body);

// The arguments after the program's name, in the installation's code page.
std::vector<std::string> arguments(int argc, char** argv);

// Takes "--", at which the parser would end a subcommand, and the words behind it, which may begin with a dash.
std::vector<std::string> take_behind_dashes(std::vector<std::string>& arguments);

// As run, for a command line whose words behind "--" join `words`.
int run_with_words(CLI::App& app, std::vector<std::string> arguments, std::vector<std::string>& words,
                   const std::function<int()>& body);

// Opens the session with the manager, and waits for one that is just starting. Throws what keeps the user from it, with
// the next step.
void open_session(oxaDisconnect on_disconnect = nullptr);

// Attaches the manager's attribute tree; without a manager, loads the installation's definition files into a tree of
// this process's own, as far as they are sound: the others are named on the standard error stream.
void attach_tree();

// Loads definition files into a tree of this process's own, in any order. Calls `fault` for every fault of every file.
using Fault = std::function<void(const std::string& file, uint32_t line, OX_RESULT code, const std::string& subject)>;
void load_tree(const std::vector<std::string>& files, Fault fault);
// The same for a file of enumerations or descriptions; null: all of the installation.
void check_texts(const char* file, Fault fault);
// "file:line: error 61: AMIB: text"
std::string fault_line(const std::string& file, uint32_t line, OX_RESULT code, const std::string& subject);

// The installation's attribute definition files, in reading order.
std::vector<std::string> definition_files();

}  // namespace tool
