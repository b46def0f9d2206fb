// Messages over the manager's pipe: whole messages out, whole messages in.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "access/message.h"
#include "access/wire.h"
#include "platform/error.h"
#include "platform/notification.h"
#include "platform/pipe.h"

namespace ox {

// The result code of a failed read or write on the pipe: 17 when the other end is gone.
[[nodiscard]] OX_RESULT code_of_pipe_error(platform::Error error) noexcept;

// Where received bytes come from.
class ByteSource {
 public:
  // At least one byte, or an error; see platform::Pipe::read_some.
  [[nodiscard]] virtual platform::Error read_some(std::span<std::byte> into, std::size_t& got) noexcept = 0;

 protected:
  ~ByteSource() = default;
};

// Reads messages out of a stream, with as few reads as there are pieces: it reads ahead into a buffer and keeps what
// belongs to the next message.
class MessageReader {
 public:
  explicit MessageReader(ByteSource& source) noexcept : source_(&source) {}

  // One message. 0; 17; 71 for a message that contradicts itself; 3. *message is set only on success.
  // After a failure in_step() tells whether the next message can still be read.
  [[nodiscard]] OX_RESULT receive(MessagePtr& message);
  [[nodiscard]] bool in_step() const noexcept { return in_step_; }

  // Plain bytes, for what comes before the first message.
  [[nodiscard]] OX_RESULT take(std::span<unsigned char> into) noexcept;
  [[nodiscard]] OX_RESULT skip(std::size_t size) noexcept;

  void reset() noexcept;  // for a new stream

 private:
  [[nodiscard]] OX_RESULT read(std::span<unsigned char> into, std::size_t& got) noexcept;
  [[nodiscard]] OX_RESULT fill(std::size_t size) noexcept;
  [[nodiscard]] std::size_t buffered() const noexcept { return end_ - begin_; }
  [[nodiscard]] OX_RESULT receive_parts(MessagePtr& message);
  [[nodiscard]] OX_RESULT receive_body(std::span<const unsigned char> bytes, MessagePtr& message);
  [[nodiscard]] OX_RESULT take_data(std::uint32_t size, tracked_ptr<unsigned char[]>& data);

  ByteSource* source_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  bool in_step_ = true;
  std::array<unsigned char, 4096> buffer_;
};

// The session's connection. Its owner calls it from one thread. A failure that leaves the two ends out of step, the
// loss of the connection among them, ends it; who waits for the pipe's end can still do so until close().
class Transport {
 public:
  Transport() = default;
  Transport(const Transport&) = delete;
  Transport& operator=(const Transport&) = delete;

  [[nodiscard]] bool connected() const noexcept { return source_.pipe && !broken_; }
  [[nodiscard]] const platform::Pipe& pipe() const noexcept { return source_.pipe; }
  [[nodiscard]] platform::Error open(const char* name);
  void close() noexcept;
  // Ends the connection, and leaves to close() what a Notification may be watching.
  void hang_up() noexcept;
  // While no exchange runs: lets a Notification see the connection's end.
  void watch() noexcept { source_.pipe.watch(); }

  // 0; 17; the mapped platform error.
  [[nodiscard]] OX_RESULT send(const Frame& frame) noexcept;
  [[nodiscard]] OX_RESULT receive(MessagePtr& message);

  // The longest data part that the manager takes, as it has answered the greeting; no limit where it has not told one.
  [[nodiscard]] std::uint32_t data_limit() const noexcept { return data_limit_; }

  // Tells the manager the name of the notification by which it announces reports. 0; the manager's refusal; 17; 71.
  [[nodiscard]] OX_RESULT greet(const char* name, platform::Notification& notification);

 private:
  struct PipeSource final : ByteSource {
    [[nodiscard]] platform::Error read_some(std::span<std::byte> into, std::size_t& got) noexcept override {
      platform::Notification* const comes = std::exchange(expected, nullptr);
      return comes != nullptr ? comes->read_first(pipe, into, got) : pipe.read_some(into, got);
    }
    platform::Pipe pipe;
    platform::Notification* expected = nullptr;  // with the next bytes
  };

  [[nodiscard]] OX_RESULT write(std::span<const unsigned char> bytes) noexcept;
  [[nodiscard]] OX_RESULT read_answer() noexcept;
  [[nodiscard]] OX_RESULT read_limit(std::size_t size) noexcept;

  PipeSource source_;
  bool broken_ = false;
  std::uint32_t data_limit_ = UINT32_MAX;
  MessageReader reader_{source_};
};

}  // namespace ox
