// What the tools use of the library: its errors as exceptions, its records with owners.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>

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

}  // namespace tool
