// The process's one session with the manager daemon. Everything here belongs to the thread that opens the session; what
// others may ask is whether it is theirs.
#pragma once

#include <atomic>
#include <vector>

#include <oxbase/oxa.h>

#include "access/notifier.h"
#include "access/transport.h"
#include "platform/report_window.h"

namespace ox {

class Session {
 public:
  // 0 when it is open already; 5001 when it belongs to another thread; see oxaInit. A failure leaves it closed. After a
  // loss, what stands at the manager is registered again.
  [[nodiscard]] OX_RESULT open(oxaDisconnect on_disconnect);
  // Ends the connection, the window and the notifier, so that open() starts anew, on any thread, with nobody told.
  void close() noexcept;
  // The thread of that number ends: where the session is its, the connection ends, too, and the next open(), on any
  // thread, ends the rest.
  void abandon(std::uint32_t thread) noexcept;

  // False before open() and once the connection is lost.
  [[nodiscard]] bool connected() const noexcept { return transport_.connected(); }
  // Numbers the connections: what belongs to an earlier one means nothing to the manager of this one.
  [[nodiscard]] std::uint32_t connection() const noexcept { return connection_; }

  // Whether the calling thread may use the session: 0; 5001 while it belongs to another one.
  [[nodiscard]] OX_RESULT check_thread() const noexcept;
  // Whether it can send a request now: 0; 5001; 14 without a connection.
  [[nodiscard]] OX_RESULT check() const noexcept;

  // The longest payload that the manager takes; no limit where it has not told one.
  [[nodiscard]] std::uint32_t payload_limit() const noexcept { return payload_of(transport_.data_limit()); }

  // Sends a request and waits for its reply. 5001, 14; 266 for data that the manager would not take. A loss of the
  // connection is told by the next dispatch().
  [[nodiscard]] OX_RESULT exchange(const Frame& request, MessagePtr& reply);

  // Ends the connection, if there is one, and tells its loss: what stands at the manager, then the disconnect callback.
  void disconnect();

  // Has the next dispatch tell the notices; see access/standing.h.
  void tell_later() const noexcept { (void)window_.poster().post(window_notices); }
  // Tells them, and the losses that are not told yet.
  void tell_notices();
  // Keeps the number window_go_on posted, once, or not. And: the window runs it.
  void go_on(bool wanted) noexcept;
  void goes_on() noexcept { going_on_ = 0; }

  [[nodiscard]] OX_RESULT dispatch(std::uint32_t timeout_ms);
  [[nodiscard]] std::intptr_t report_descriptor() const noexcept;

  void set_service() noexcept { service_ = true; }

 private:
  [[nodiscard]] bool open_here() const noexcept;
  [[nodiscard]] OX_RESULT take() noexcept;  // for the calling thread; 5001 when it is another one's
  void release() noexcept;
  [[nodiscard]] OX_RESULT prepare_process();
  [[nodiscard]] OX_RESULT connect();
  [[nodiscard]] OX_RESULT greet_and_start_notifier();
  void lose() noexcept;

  std::atomic<std::uint32_t> owner_{0};  // the number of the thread that it belongs to; 0: nobody's
  Transport transport_;
  platform::ReportWindow window_;
  Notifier notifier_;
  oxaDisconnect on_disconnect_ = nullptr;
  std::vector<oxaDisconnect> losses_;  // those of connections whose loss is to be told; null ones, too
  std::uint32_t connection_ = 0;
  std::uint32_t going_on_ = 0;  // the window that has the number window_go_on
  bool initialised_ = false;    // from the end of open() until the connection is lost
  bool service_ = false;        // kept for other parts of the system
};

// Never destroyed: the notifier may still use what hangs on it while the process ends. Throws std::bad_alloc on first
// use only.
[[nodiscard]] Session& session();

// "Global\" before names that all sessions of the machine share, on systems that know it. A platform error number.
[[nodiscard]] platform::Error global_prefix(const char*& prefix) noexcept;

}  // namespace ox
