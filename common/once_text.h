// A text that the process reads once from the machine and hands out from then on.
#pragma once

#include <atomic>
#include <cstring>
#include <mutex>
#include <string>

#include "platform/fork.h"

namespace ox {

class OnceText {
 public:
  static constexpr std::size_t longest = 260;
  using Read = std::string (*)();

  // `read` gives the text; an empty one, one over `longest` bytes and an exception count as absent.
  constexpr explicit OnceText(Read read) noexcept : read_(read) {}

  // The text, empty while it is absent; then the next call reads again. The pointer stays valid.
  [[nodiscard]] const char* get() noexcept {
    if (filled_.load(std::memory_order_acquire)) return text_;
    return fill() ? text_ : "";
  }

 private:
  bool fill() noexcept {
    try {
      const std::scoped_lock hold(one_filler());
      if (filled_.load(std::memory_order_relaxed)) return true;
      const std::string text = read_();
      if (text.empty() || text.size() > longest) return false;
      std::memcpy(text_, text.c_str(), text.size() + 1);
      filled_.store(true, std::memory_order_release);
      return true;
    } catch (...) {
      return false;
    }
  }

  // For all texts; not a member, since not every platform's mutex can stand in constant-initialised memory.
  static std::mutex& one_filler() noexcept {
    static Filler filler;
    return filler.lock;
  }

  struct Filler {
    std::mutex lock;
    const bool free_in_child = platform::free_in_forked_child(lock);
  };

  Read read_;
  std::atomic<bool> filled_{false};
  char text_[longest + 1] = {};
};

}  // namespace ox
