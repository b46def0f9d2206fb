// The serving end of the manager's local byte channel, on Asio's event loop. For the manager only: the library itself
// does not use it.
#pragma once

#include <asio/io_context.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "platform/error.h"
#include "platform/server/peer.h"

namespace ox::platform {

// Tells a client that it has something to fetch. Neither blocks nor fails, whatever the client does.
class Announcer {
 public:
  virtual ~Announcer() = default;
  virtual void announce() noexcept = 0;
};

// One connected client. Destroying it closes the connection and drops pending handlers uncalled.
class PipeConnection {
 public:
  virtual ~PipeConnection() = default;
  // Handlers run from the event loop, never inside the call. A closed peer is error_broken_pipe.
  using Handler = std::function<void(Error error, std::size_t bytes)>;
  // Reads at least one byte. One read and one write may be pending at a time.
  virtual void read_some(std::span<std::byte> into, Handler handler) = 0;
  virtual void write_all(std::span<const std::byte> from, Handler handler) = 0;
  // Makes the announcer of the client whose greeting names that event (platform/notification.h). Called before the
  // answer to the greeting is written, which may carry the client's end of it.
  [[nodiscard]] virtual Error make_announcer(const char* event, std::unique_ptr<Announcer>& announcer) = 0;
  // It was taken with what is kept in reserve for this: the system gives no more of what a client needs (descriptors,
  // instances). It is to be told so, and let go: until then, no further one is taken.
  [[nodiscard]] virtual bool from_reserve() const = 0;
  // Who the client is. His account may be known only once something of him has been read. Throws std::bad_alloc.
  [[nodiscard]] virtual Peer peer() const = 0;
};

class PipeServer {
 public:
  using Accepted = std::function<void(std::unique_ptr<PipeConnection>)>;
  virtual ~PipeServer() = default;  // stops serving and removes the name
  // Serves the name ("\\\\.\\PIPE\\ox_stdpipe") until destroyed. A leftover of a dead server is taken over.
  // error_already_exists when another process serves it.
  [[nodiscard]] virtual Error serve(const char* name, Accepted accepted) = 0;
};

[[nodiscard]] std::unique_ptr<PipeServer> make_pipe_server(asio::io_context& loop);

}  // namespace ox::platform
