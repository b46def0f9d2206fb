// The trace of the library's own calls. A line whose mask bit is clear costs one load and one branch.
#pragma once

#include <atomic>
#include <cstdint>
#include <new>

#include <oxbase/oxtypes.h>

namespace ox::trace {

// Mask bits.
inline constexpr std::uint32_t platform = 0x1;     // a few platform services
inline constexpr std::uint32_t log_entries = 0x4;  // log collection and command entries
inline constexpr std::uint32_t rules = 0x8;
inline constexpr std::uint32_t memory = 0x20;     // every allocation, reallocation and release
inline constexpr std::uint32_t general = 0x40;    // entry and exit of nearly every exported function
inline constexpr std::uint32_t amib = 0x80;       // tree and definition files
inline constexpr std::uint32_t messages = 0x200;  // manager messages and events
inline constexpr std::uint32_t dump = 0x400;      // hex dumps
inline constexpr std::uint32_t snmp_dump = 0x10000;
inline constexpr std::uint32_t trap_dump = 0x20000;
inline constexpr std::uint32_t icmp_dump = 0x40000;
inline constexpr std::uint32_t remote_dump = 0x80000;

// The mask word: in the process's shared control block, where another process may change it at any time, or a zero
// word of our own while there is none. Never null. In a forked child it is a word of ones until the first line that
// would be written, for which the child makes a block of its own.
extern std::atomic<std::atomic<std::uint32_t>*> mask_word;

[[nodiscard]] bool confirm(std::uint32_t bit) noexcept;

[[nodiscard]] inline bool on(std::uint32_t bit) noexcept {
  const bool set = (mask_word.load(std::memory_order_acquire)->load(std::memory_order_relaxed) & bit) != 0;
  return set && confirm(bit);
}

// Formats and writes one line, whatever the mask. See oxcDebugOut.
OX_RESULT write(const char* format, ...) noexcept OX_PRINTF(1, 2);

// Arguments for the formats of the trace's vocabulary, which are those of a 32-bit system: %x shows the low word of a
// pointer, %ld a result code.
template <class T>
[[nodiscard]] inline std::uint32_t word(T* pointer) noexcept {
  return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(pointer));
}
[[nodiscard]] inline long number(std::uint32_t value) noexcept { return static_cast<long>(value); }
[[nodiscard]] inline const char* text(const char* value) noexcept { return value != nullptr ? value : "(null)"; }

}  // namespace ox::trace

// Writes a trace line when the mask bit is set. The arguments are not evaluated otherwise.
#define OX_TRACE(bit, ...)                   \
  do {                                       \
    if (::ox::trace::on(bit)) [[unlikely]]   \
      (void)::ox::trace::write(__VA_ARGS__); \
  } while (false)

namespace ox {

namespace trace {
// Writes an exit line: a printf format with one conversion of the result ("%d", "%ld", "%lu", "%x").
void write_exit(const char* format, OX_RESULT result) noexcept;
// Writes "<E:name:[result]>\n", the exit line of functions without a form of their own.
void write_plain_exit(const char* name, OX_RESULT result) noexcept;
}  // namespace trace

// Runs the body of an exported function and turns what it throws into a result code: no exception leaves the library.
template <class Body>
[[nodiscard]] OX_RESULT guarded(Body&& body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return OX_ENOMEM;
  } catch (...) {
    return OX_EPLATFORM;
  }
}

// A traced call: the body of an exported function, and its exit line "<E:name:[result]>\n". The entry line stands
// before it, since its arguments differ from function to function:
//   OX_RESULT OX_CALL oxdSetReqTime(dnode* node, uint32_t seconds) {
//     OX_ENTRY("oxdSetReqTime", ":%x:%u", trace::word(node), seconds);
//     return traced("oxdSetReqTime", [&] { return set_time(node, ...); });
//   }
template <class Body>
[[nodiscard]] OX_RESULT traced(const char* name, Body&& body) noexcept {
  const OX_RESULT result = guarded(body);
  if (trace::on(trace::general)) [[unlikely]]
    trace::write_plain_exit(name, result);
  return result;
}

// The same for a function with an exit text or a mask bit of its own: traced_as(trace::messages, "<E:oxaGet[%ld]>\n",
// ...). The entry line is an OX_TRACE then.
template <class Body>
[[nodiscard]] OX_RESULT traced_as(std::uint32_t bit, const char* exit_format, Body&& body) noexcept {
  const OX_RESULT result = guarded(body);
  if (trace::on(bit)) [[unlikely]]
    trace::write_exit(exit_format, result);
  return result;
}

}  // namespace ox

// The entry line "<S:name:arguments>\n" under the general bit.
#define OX_ENTRY(name, arguments_format, ...) \
  OX_TRACE(::ox::trace::general, "<S:" name arguments_format ">\n" __VA_OPT__(, ) __VA_ARGS__)
