// Exported functions that return a text of the calling thread.
#pragma once

#include <cstddef>
#include <cstdio>

#include "common/context.h"
#include "common/trace.h"

namespace ox {

// One buffer per conversion and thread: Kind is a type that names the conversion.
template <class Kind, std::size_t size>
struct TextBuffer {
  char text[size];
};
template <class Kind, std::size_t size>
[[nodiscard]] TextBuffer<Kind, size>& text_buffer() {
  return context<TextBuffer<Kind, size>>();
}

// Runs the body of an exported function that returns a text, and writes its exit line. Null for what it throws.
template <class Body>
[[nodiscard]] const char* traced_text(const char* name, Body&& body) noexcept {
  const char* result = nullptr;
  try {
    result = body();
  } catch (...) {
    result = nullptr;
  }
  OX_TRACE(trace::general, "<E:%s:[%s]>\n", name, trace::text(result));
  return result;
}

}  // namespace ox
