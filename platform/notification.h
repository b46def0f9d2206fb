// What wakes a session's notifier: the manager's announcement that it has something to be fetched, and the end of the
// connection to it. The announcing side is in platform/server/pipe_server.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "platform/error.h"
#include "platform/pipe.h"

namespace ox::platform {

// A named event on Windows. On Linux a socket that the manager makes for the client, where a hostile one cannot hurt
// it: it comes with the first bytes of the manager's answer to the greeting, and the name is a word of the greeting.
class Notification {
 public:
  Notification();
  Notification(Notification&&) noexcept;
  Notification& operator=(Notification&&) noexcept;
  ~Notification();

  // Makes what the greeting names. *this is replaced only on success.
  [[nodiscard]] Error create(const char* name);

  // Pipe::read_some for the first bytes after the greeting. Where nothing comes with them, nothing will be announced.
  [[nodiscard]] Error read_first(Pipe& pipe, std::span<std::byte> into, std::size_t& got) noexcept;

  enum class Sign { announced, closed, woken };
  // Waits for one of them; `pipe` leads to the announcing manager. An announcement is told once; what came together may
  // be told as one. One thread; the others may use the pipe meanwhile, but not open or close it.
  [[nodiscard]] Sign wait(const Pipe& pipe) noexcept;

  // Ends waits and pauses, those to come too. Any thread.
  void wake() noexcept;
  // Rests; false when woken.
  [[nodiscard]] bool pause(std::uint32_t milliseconds) noexcept;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace ox::platform
