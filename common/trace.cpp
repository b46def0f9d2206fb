#include "common/trace.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <string_view>

#include <oxbase/oxc.h>

#include "common/error_codes.h"
#include "common/line_format.h"
#include "common/memory.h"
#include "common/settings.h"
#include "common/trace_control.h"
#include "common/trace_file.h"
#include "platform/console.h"
#include "platform/environment.h"
#include "platform/fork.h"
#include "platform/registry.h"
#include "platform/shared_block.h"

namespace ox::trace {

namespace {
constinit std::atomic<std::uint32_t> no_mask{0};
constinit std::atomic<std::uint32_t> forked_mask{UINT32_MAX};  // of a child that has not called the library yet
}  // namespace
constinit std::atomic<std::atomic<std::uint32_t>*> mask_word{&no_mask};

namespace {

[[maybe_unused]] const bool follows_forks = platform::in_forked_child([]() noexcept { mask_word = &forked_mask; });

constexpr std::size_t longest_line = 4096;  // with its terminator
constexpr std::size_t longest_name = 256;
constexpr std::uint32_t longest_option = 1024;

struct State {
  platform::SharedBlock block;
  Control* control = nullptr;  // in the block
  std::mutex lock;             // serialises output; guards all of this
  const bool free_in_child = platform::free_in_forked_child(lock);
  TraceFile file;
  bool console_held = false;
};

// Never destroyed: other threads may still write lines while the process ends.
State& state() noexcept {
  alignas(State) static unsigned char storage[sizeof(State)];
  static State* const made = new (storage) State;
  return *made;
}

// Ctrl+C switches the trace file: closes an open one, reopens and truncates a closed one. No event ends the process.
bool on_console_event(platform::ConsoleEvent event) {
  if (event != platform::ConsoleEvent::interrupt) return true;
  State& trace = state();
  const std::scoped_lock hold(trace.lock);
  if (trace.file.is_open()) {
    trace.file.close();
  } else {
    (void)guarded([&] { return trace.file.reopen(); });
  }
  return true;
}

OX_RESULT to_console(State& trace, std::string_view text) {
  if (!trace.console_held) {
    if (const auto error = platform::console_allocate()) return untraced_code_of_platform_error(error);
    if (const auto error = platform::console_set_handler(on_console_event)) {
      platform::console_release();
      return untraced_code_of_platform_error(error);
    }
    trace.console_held = true;
  }
  const auto error = platform::console_write(text);
  return error != platform::error_none ? untraced_code_of_platform_error(error) : OX_RESULT{OX_OK};
}

// Expects the lock.
void make_block(State& trace) {
  if (trace.block.create(control_name(platform::process_id()).c_str(), sizeof(Control), platform::Access::machine) !=
      platform::error_none) {
    return;  // the process stays untraced
  }
  trace.control = new (trace.block.data()) Control;
  trace.control->console.store(1, std::memory_order_relaxed);
  mask_word.store(&trace.control->mask, std::memory_order_release);
}

void release_console(State& trace) noexcept {
  if (!trace.console_held) return;
  platform::console_release();
  trace.console_held = false;
}

// Expects the lock.
void give_up(State& trace) noexcept {
  mask_word.store(&no_mask, std::memory_order_release);
  release_console(trace);
  trace.file.close();
  trace.control = nullptr;
  trace.block = platform::SharedBlock();
}

// A forked child starts like any other process: its parent's block, console and file are not its own.
void renew() noexcept {
  if (mask_word.load(std::memory_order_acquire) != &forked_mask) [[likely]]
    return;
  (void)guarded([]() -> OX_RESULT {
    State& trace = state();
    const std::scoped_lock hold(trace.lock);
    if (mask_word.load(std::memory_order_relaxed) != &forked_mask) return OX_OK;
    give_up(trace);
    trace.file = TraceFile();
    make_block(trace);
    return OX_OK;
  });
}

std::uint32_t mask() noexcept {
  renew();
  return mask_word.load(std::memory_order_acquire)->load(std::memory_order_relaxed);
}

OX_RESULT to_file(State& trace, std::string_view text) {
  if (const OX_RESULT result = trace.file.rotate()) return result;
  if (trace.control->file.load(std::memory_order_relaxed) == 0) {
    trace.file.close();
    return OX_OK;
  }
  if (!trace.file.is_open()) {
    if (!trace.file.has_pattern()) trace.file.set_pattern(default_pattern());
    if (const OX_RESULT result = trace.file.start()) return result;
  }
  trace.file.write(text);
  return OX_OK;
}

OX_RESULT output(std::string_view text) {
  State& trace = state();
  const std::scoped_lock hold(trace.lock);
  if (trace.control == nullptr) return OX_OK;
  if (trace.control->console.load(std::memory_order_relaxed) == 0) {
    release_console(trace);
  } else if (const OX_RESULT result = to_console(trace, text)) {
    return result;  // a console that cannot be had leaves this line out of the file too
  }
  return to_file(trace, text);
}

OX_PRINTF(1, 0) OX_RESULT write_formatted(const char* format, std::va_list arguments) noexcept {
  char line[longest_line];
  const int length = format_line(line, sizeof line, format, arguments);
  if (length < 0) return OX_EFORMAT;
  auto size = static_cast<std::size_t>(length);
  if (size >= sizeof line) {
    size = sizeof line - 1;
    line[size - 1] = '\n';
  }
  return guarded([&] { return output({line, size}); });
}

}  // namespace

void attach() noexcept {
  (void)guarded([]() -> OX_RESULT {
    State& trace = state();
    const std::scoped_lock hold(trace.lock);
    make_block(trace);
    return OX_OK;
  });
}

void detach() noexcept {
  State& trace = state();
  const std::scoped_lock hold(trace.lock);
  give_up(trace);
}

bool confirm(std::uint32_t bit) noexcept { return (mask() & bit) != 0; }

OX_RESULT write(const char* format, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, format);
  const OX_RESULT result = write_formatted(format, arguments);
  va_end(arguments);
  return result;
}

void write_exit(const char* format, OX_RESULT result) noexcept {
  // The formats are fixed texts with one conversion, which may be incomplete ("%l]") and is then shown as it stands.
  const std::string_view text(format);
  const std::size_t percent = text.find('%');
  std::size_t letter = text.find_first_not_of("#l", percent == std::string_view::npos ? percent : percent + 1);
  const char conversion = letter == std::string_view::npos ? '\0' : text[letter];
  const int before = static_cast<int>(percent);
  switch (conversion) {
    case 'd':
      (void)write("%.*s%d%s", before, format, static_cast<std::int32_t>(result), format + letter + 1);
      return;
    case 'u':
      (void)write("%.*s%u%s", before, format, result, format + letter + 1);
      return;
    case 'x':
      (void)write("%.*s%x%s", before, format, result, format + letter + 1);
      return;
    default:
      (void)write("%s", format);
  }
}

void write_plain_exit(const char* name, OX_RESULT result) noexcept {
  (void)write("<E:%s:[%d]>\n", name, static_cast<std::int32_t>(result));
}

namespace {

OX_RESULT redirect(bool console, const char* name) {
  renew();
  State& trace = state();
  const std::scoped_lock hold(trace.lock);
  if (trace.control == nullptr) return OX_OK;
  trace.control->console.store(console ? 1 : 0, std::memory_order_relaxed);
  trace.file.close();
  trace.file.read_rotation_settings();
  trace.file.set_pattern(name != nullptr ? name_pattern(name) : default_pattern());
  if (name == nullptr) return OX_OK;  // the next line opens the default name when the file flag is set
  const OX_RESULT result = trace.file.start();
  if (result == OX_OK) trace.control->file.store(1, std::memory_order_relaxed);
  return result;
}

}  // namespace
}  // namespace ox::trace

namespace trace = ox::trace;

uint32_t OX_CALL oxcGetDebugMask(void) { return trace::mask(); }

OX_RESULT OX_CALL oxcSetDebugMask(uint32_t mask) {
  (void)trace::mask();
  std::atomic<std::uint32_t>* const word = trace::mask_word.load(std::memory_order_acquire);
  if (word != &trace::no_mask) word->store(mask, std::memory_order_relaxed);
  return OX_OK;
}

OX_RESULT OX_CALL oxcDebugOut(const char* format, ...) {
  if (format == nullptr) return OX_EARG;
  if (!trace::on(UINT32_MAX)) return OX_OK;
  std::va_list arguments;
  va_start(arguments, format);
  const OX_RESULT result = trace::write_formatted(format, arguments);
  va_end(arguments);
  return result;
}

OX_RESULT OX_CALL oxcDebugOutput(uint32_t console, const char* fileName) {
  OX_ENTRY("oxcDebugOutput", ":%x:%s", console, trace::text(fileName));
  return ox::traced("oxcDebugOutput", [&]() -> OX_RESULT {
    if (fileName != nullptr && std::strlen(fileName) > trace::longest_name) return OX_ENAMELONG;
    return trace::redirect(console != 0, fileName);
  });
}

char* OX_CALL oxcGetDebugOpt(void) {
  OX_ENTRY("oxcGetDebugOpt", "");
  char* option = nullptr;
  (void)ox::traced("oxcGetDebugOpt", [&]() -> OX_RESULT {
    const std::string text = ox::settings::text("oxdebugopt", trace::longest_option);
    if (text.empty()) return OX_ENOTINTABLE;
    option = ox::copy_text(text.c_str(), "oxdebugopt").release();
    return option != nullptr ? OX_OK : OX_ENOMEM;
  });
  return option;
}
