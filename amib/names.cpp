// The exported operations on paths. Each has a result buffer of its own for the calling thread.
#include <cstring>

#include <oxbase/oxb.h>

#include "amib/path.h"
#include "amib/tree.h"
#include "common/context.h"
#include "common/trace.h"

namespace ox::amib {
namespace {

struct ResultTexts {
  PathText node_names;
  PathText node_numbers;
  PathText names;
  PathText numbers;
  PathText split;
  PathText basename;
};

// A path may be the result of the same operation, so the text is made apart and then put where it stays.
const char* keep(const PathText& made, std::size_t size, PathText& text) noexcept {
  std::memcpy(text.data(), made.data(), size);
  return text.data();
}

OX_RESULT give_node_path(Ref node, Form form, PathText ResultTexts::*text, const char** path) {
  if (path == nullptr) return OX_EARG;
  if (!is_attached()) return OX_ENOSESSION;
  PathText& result_text = context<ResultTexts>().*text;
  const OX_RESULT result = node_path(node, form, result_text);
  if (result == OX_OK) *path = result_text.data();
  return result;
}

OX_RESULT give_path(const char* path, Form form, PathText ResultTexts::*text, const char** name) {
  if (name == nullptr) return OX_EARG;
  if (!is_attached()) return OX_ENOSESSION;
  PathText made;
  if (const OX_RESULT result = convert_path(path, form, made); result != OX_OK) return result;
  *name = keep(made, std::strlen(made.data()) + 1, context<ResultTexts>().*text);
  return OX_OK;
}

OX_RESULT split(const char* path, const char** object, const char** instance) {
  if (!is_attached()) return OX_ENOSESSION;
  PathText made;
  PathParts parts;
  if (const OX_RESULT result = split_path(path, made, parts); result != OX_OK) return result;
  const auto at = static_cast<std::size_t>(parts.instance - made.data());
  const char* text = keep(made, at + std::strlen(parts.instance) + 1, context<ResultTexts>().split);
  if (object != nullptr) *object = text;
  if (instance != nullptr) *instance = text + at;
  return OX_OK;
}

// Behind the last "." that no digit follows.
const char* last_label(const char* path) noexcept {
  const char* label = path;
  for (const char* p = path; *p != '\0'; ++p) {
    if (*p == '.' && (p[1] < '0' || p[1] > '9')) label = p + 1;
  }
  return label;
}

OX_RESULT base_name(const char* path, const char** name) {
  if (name == nullptr) return OX_EARG;
  if (!is_attached()) return OX_ENOSESSION;
  PathText made;
  if (const OX_RESULT result = convert_path(path, Form::names, made); result != OX_OK) return result;
  const char* label = last_label(made.data());
  PathText& text = context<ResultTexts>().basename;
  std::memcpy(text.data(), label, std::strlen(label) + 1);
  *name = text.data();
  return OX_OK;
}

OX_RESULT match(const char* a, const char* b, std::uint32_t mode) noexcept {
  if (a == nullptr || b == nullptr) return mode == 0 && a == b ? 1 : 0;
  const bool matches = mode == 0 ? std::strcmp(a, b) == 0 : is_path_prefix(a, b);
  return matches ? 1 : 0;
}

}  // namespace
}  // namespace ox::amib

using namespace ox;
using namespace ox::amib;

extern "C" {

OX_RESULT OX_CALL oxbEntry(const char* path, uint32_t* node) {
  OX_ENTRY("oxbEntry", ":%s:%x", trace::text(path), trace::word(node));
  return traced("oxbEntry", [&]() -> OX_RESULT {
    if (node == nullptr) return OX_EARG;
    if (!is_attached()) return OX_ENOSESSION;
    Ref found = 0;
    const OX_RESULT result = find_node(path, found);
    OX_TRACE(trace::general, "<X:oxbEntry(%s->%x)>\n", trace::text(path), found);
    if (result == OX_OK) *node = found;
    return result;
  });
}

OX_RESULT OX_CALL oxbApToStr(uint32_t node, const char** path) {
  OX_ENTRY("oxbApToStr", ":%x:%x", node, trace::word(path));
  return traced("oxbApToStr", [&] { return give_node_path(node, Form::names, &ResultTexts::node_names, path); });
}

OX_RESULT OX_CALL oxbApToNum(uint32_t node, const char** path) {
  OX_ENTRY("oxbApToNum", ":%x:%x", node, trace::word(path));
  return traced("oxbApToNum", [&] { return give_node_path(node, Form::numbers, &ResultTexts::node_numbers, path); });
}

OX_RESULT OX_CALL oxbStrName(const char* path, const char** name) {
  OX_ENTRY("oxbStrName", ":%s:%x", trace::text(path), trace::word(name));
  return traced("oxbStrName", [&] { return give_path(path, Form::names, &ResultTexts::names, name); });
}

OX_RESULT OX_CALL oxbNumName(const char* path, const char** name) {
  OX_ENTRY("oxbNumName", ":%s:%x", trace::text(path), trace::word(name));
  return traced("oxbNumName", [&] { return give_path(path, Form::numbers, &ResultTexts::numbers, name); });
}

OX_RESULT OX_CALL oxbSplit(const char* path, const char** object, const char** instance) {
  OX_ENTRY("oxbSplit", ":%s:%x:%x", trace::text(path), trace::word(object), trace::word(instance));
  return traced("oxbSplit", [&] { return split(path, object, instance); });
}

OX_RESULT OX_CALL oxbBasename(const char* path, const char** name) {
  OX_ENTRY("oxbBasename", ":%s:%x", trace::text(path), trace::word(name));
  return traced("oxbBasename", [&] { return base_name(path, name); });
}

uint32_t OX_CALL oxbMatch(const char* a, const char* b, uint32_t mode) {
  OX_ENTRY("oxbMatch", ":%s:%s:%x", trace::text(a), trace::text(b), mode);
  return traced("oxbMatch", [&] { return match(a, b, mode); });
}

}  // extern "C"
