// Why the manager cannot be reached, as far as a process without a session can tell, and what to type next.
#pragma once

#include <string>

#include "tools/library.h"

namespace tool {

// What keeps the user out, and the next step. Both are empty when nothing is wrong.
struct Diagnosis {
  std::string what;
  std::string next;
  bool passes = false;  // by itself, soon
};

// Of the installation that this process uses: whether there is one, and where it says that its files are.
Diagnosis examine_installation();

// Whether this user may reach the manager at all, which oxaInit would find out after all its attempts.
Diagnosis examine_rights();

// After oxaInit has failed with `code`, on the same thread and before any other call. Takes a second at most.
Diagnosis examine_session(OX_RESULT code);

// A failure with its own explanation, which is told in place of the code's text.
class Explained : public Failure {
 public:
  Explained(const std::string& subject, OX_RESULT code, const Diagnosis& diagnosis)
      : Failure(subject, code), text_(diagnosis.what + "\n  next: " + diagnosis.next) {}
  [[nodiscard]] const std::string& text() const noexcept { return text_; }

 private:
  std::string text_;
};

// Opens the session with the manager, and waits for one that is just starting. Throws what keeps the user from it, with
// the next step.
void open_session(oxaDisconnect on_disconnect = nullptr);

}  // namespace tool
