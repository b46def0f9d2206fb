#include "access/session.h"

#include <cstdio>
#include <utility>

#include <oxbase/oxb.h>
#include <oxbase/oxc.h>

#include "access/callback.h"
#include "access/reports.h"
#include "access/standing.h"
#include "access/turn.h"
#include "common/context.h"
#include "common/error_codes.h"
#include "common/protocol.h"
#include "common/settings.h"
#include "common/trace.h"
#include "platform/environment.h"
#include "platform/fork.h"

namespace ox {
namespace {

constexpr std::uint32_t application_level = 7;
constexpr std::uint32_t tree_key = 1120;
constexpr std::uint32_t retries_by_default = 60;
constexpr std::uint32_t retry_pause_ms = 1000;

void on_window_message(std::uint32_t message) {
  OX_TRACE(trace::messages, "<S:oxaWinProc()>\n");
  const OX_RESULT result = guarded([&]() -> OX_RESULT {
    if (message == window_fetch_reports) {
      OX_TRACE(trace::messages, "<M:oxaWinProc(OX_REPORT)>\n");
      fetch_reports();
    } else if (message == window_connection_lost) {
      session().disconnect();
    } else if (message == window_notices) {
      session().tell_notices();
    } else if (message == window_go_on) {
      session().goes_on();
      go_on_fetching();
    }
    return OX_OK;
  });
  OX_TRACE(trace::messages, "<E:oxaWinProc[%ld]>\n", trace::number(result));
}

}  // namespace

namespace {

// A number for each thread that has asked for one, never given again: the system's own numbers come back.
std::uint32_t this_thread() noexcept {
  static constinit std::atomic<std::uint32_t> last{0};
  thread_local const std::uint32_t number = ++last;
  return number;
}

// Of a thread that has opened the session: with the thread the session ends.
struct ThreadsEnd {
  ThreadsEnd() = default;
  ThreadsEnd(const ThreadsEnd&) = delete;
  ThreadsEnd& operator=(const ThreadsEnd&) = delete;
  ~ThreadsEnd() { session().abandon(thread); }

  const std::uint32_t thread = this_thread();
};

}  // namespace

namespace {

// A forked child has none: what it can reach of its parent's is closed already, and the rest is left as it was.
constinit std::atomic<Session*> the_session{nullptr};
[[maybe_unused]] const bool follows_forks = platform::in_forked_child([]() noexcept { the_session = nullptr; });

}  // namespace

Session& session() {
  Session* present = the_session.load(std::memory_order_acquire);
  if (present != nullptr) return *present;
  auto made = std::make_unique<Session>();
  return the_session.compare_exchange_strong(present, made.get()) ? *made.release() : *present;
}

platform::Error global_prefix(const char*& prefix) noexcept {
  platform::OsVersion version{};
  if (const platform::Error error = platform::os_version(version)) return error;
  prefix = version.family == 2 && version.major >= 5 ? "Global\\" : "";
  return platform::error_none;
}

OX_RESULT Session::check_thread() const noexcept {
  const std::uint32_t owner = owner_.load(std::memory_order_acquire);
  return owner == 0 || owner == this_thread() ? OX_RESULT{OX_OK} : OX_RESULT{OX_ETHREAD};
}

bool Session::open_here() const noexcept {
  return owner_.load(std::memory_order_acquire) == this_thread() && initialised_;
}

OX_RESULT Session::check() const noexcept {
  if (const OX_RESULT result = check_thread()) return result;
  return owner_.load(std::memory_order_acquire) == this_thread() && connected() ? OX_RESULT{OX_OK}
                                                                                : OX_RESULT{OX_ENOSESSION};
}

OX_RESULT Session::open(oxaDisconnect on_disconnect) {
  if (const OX_RESULT result = take()) return result;
  if (initialised_) return OX_OK;
  const OX_RESULT result = guarded([this]() -> OX_RESULT {
    (void)context<ThreadsEnd>();
    const OX_RESULT prepared = prepare_process();
    return prepared != OX_OK ? prepared : connect();
  });
  if (result == OX_OK) {
    on_disconnect_ = on_disconnect;
    initialised_ = true;
    if (!losses_.empty()) tell_later();  // of an earlier connection, and not inside this call
  } else {
    release();
    if (losses_.empty()) owner_.store(0, std::memory_order_release);
  }
  return result;
}

OX_RESULT Session::take() noexcept {
  std::uint32_t owner = 0;
  if (owner_.compare_exchange_strong(owner, this_thread(), std::memory_order_acquire)) {
    if (initialised_) lose();  // what an ended thread has left
    return OX_OK;
  }
  return owner == this_thread() ? OX_RESULT{OX_OK} : OX_RESULT{OX_ETHREAD};
}

void Session::abandon(std::uint32_t thread) noexcept {
  if (owner_.load(std::memory_order_acquire) != thread) return;
  transport_.hang_up();
  owner_.store(0, std::memory_order_release);
}

void Session::release() noexcept {
  window_ = platform::ReportWindow();
  notifier_.stop();
  transport_.close();
  initialised_ = false;
}

void Session::close() noexcept {
  release();
  forget_reports();
  losses_.clear();
  owner_.store(0, std::memory_order_release);
}

OX_RESULT Session::prepare_process() {
  if (const char* zone = oxcGetTimeZone(); *zone != '\0') (void)platform::set_time_zone(zone);
  if (const OX_RESULT result = oxcCheckUser(application_level)) return result;
  if (oxcInitErrmsg() != OX_OK || oxaWaitForOxbase(0) != OX_OK || oxbInit(tree_key) != OX_OK) return OX_EINIT;
  return OX_OK;
}

OX_RESULT Session::connect() {
  if (const platform::Error error = window_.create(on_window_message)) return code_of_platform_error(error);
  for (std::uint32_t retries = settings::number("InitRetryCnt", retries_by_default);; --retries) {
    const platform::Error error = transport_.open(pipe_name);
    if (error == platform::error_none) break;
    // Who is refused is refused again: only a manager that is not there yet is waited for.
    if (retries == 0 || error == platform::error_access_denied) return OX_ENOPIPE;
    platform::sleep_ms(retry_pause_ms);
    // A manager that was lost may just be on its way out: it is not waited for, since the caller asks again.
    if (connection_ != 0 && oxaWaitForOxbase(0) != OX_OK) return OX_EINIT;
  }
  OX_TRACE(trace::messages, "<M:oxaInit(connected)>\n");
  ++connection_;
  if (const OX_RESULT result = greet_and_start_notifier()) return result;
  losses_.reserve(losses_.size() + 1);  // lose() takes no memory
  return register_standing_again();
}

OX_RESULT Session::greet_and_start_notifier() {
  const char* prefix = "";
  if (const platform::Error error = global_prefix(prefix)) return code_of_platform_error(error);
  char name[64];
  const unsigned long window = window_.handle();
  if (*prefix != '\0') {
    (void)std::snprintf(name, sizeof name, "%s0x%lx0x%lx", prefix, window,
                        static_cast<unsigned long>(platform::process_id()));
  } else {
    (void)std::snprintf(name, sizeof name, "0x%lx", window);
  }
  platform::Notification notification;
  if (const platform::Error error = notification.create(name)) return code_of_platform_error(error);
  if (const OX_RESULT result = transport_.greet(name, notification)) return result;
  transport_.watch();
  notifier_.start(std::move(notification), transport_.pipe(), window_.poster());
  return OX_OK;
}

OX_RESULT Session::exchange(const Frame& request, MessagePtr& reply) {
  if (const OX_RESULT failure = check()) return failure;
  if (request.data_part().size() > transport_.data_limit()) return OX_EENCODEDLONG;
  OX_RESULT result = transport_.send(request);
  if (result == OX_OK) result = transport_.receive(reply);
  if (connected()) {
    transport_.watch();
  } else if (initialised_) {
    lose();
  }
  return result;
}

// The window stays: it has the notices to tell, and an application may be waiting for its descriptor.
void Session::lose() noexcept {
  notifier_.stop();
  transport_.close();
  initialised_ = false;
  lose_standing();
  losses_.push_back(std::exchange(on_disconnect_, nullptr));
  (void)window_.poster().post(window_connection_lost);
}

void Session::disconnect() {
  if (initialised_) lose();
  tell_notices();
}

void Session::tell_notices() {
  std::vector<oxaDisconnect> losses;
  losses.swap(losses_);  // a callback may open the session anew, and lose it again
  finish_reports();
  tell_standing();
  for (const oxaDisconnect told : losses) {
    (void)run_callback("the session", [told]() -> OX_RESULT {
      if (told != nullptr) told(0, OX_ECLOSED, 0);
      return OX_OK;
    });
  }
}

void Session::go_on(bool wanted) noexcept {
  const std::uint32_t window = wanted ? window_.handle() : 0;
  if (window == going_on_) return;
  if (!wanted) window_.withdraw(window_go_on);
  going_on_ = wanted && window_.poster().post(window_go_on) != platform::error_none ? 0 : window;
}

OX_RESULT Session::dispatch(std::uint32_t timeout_ms) {
  if (const OX_RESULT failure = check_thread()) return failure;
  if (open_here()) {
    Turn turn(timeout_ms);
    do {
      window_.dispatch(turn.left());
    } while (turn.in_vain());
  } else if (initialised_ || losses_.empty()) {
    return OX_ENOSESSION;
  } else {
    tell_notices();
  }
  return OX_OK;
}

// While a loss is to be told, too.
std::intptr_t Session::report_descriptor() const noexcept {
  const bool ours = owner_.load(std::memory_order_acquire) == this_thread();
  return ours && (initialised_ || !losses_.empty()) ? window_.descriptor() : -1;
}

}  // namespace ox
