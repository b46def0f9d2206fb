#include "entries/text_list.h"

#include <algorithm>

namespace ox::entries {
namespace {

OX_RESULT reserve(TextList& list, field::Number count, const char* tag) noexcept {
  if (count <= list.room) return OX_OK;
  const field::Number room = std::max(count, std::min(list.room * 2, longest_text_list));
  void* const block = oxcMemRealloc(list.texts, room * static_cast<field::Number>(sizeof(field::Text)), tag);
  if (block == nullptr) return OX_ENOMEM;
  list.texts = static_cast<field::Text*>(block);
  std::fill(list.texts + list.room, list.texts + room, field::Text{});
  list.room = room;
  return OX_OK;
}

}  // namespace

OX_RESULT put_text(TextList& list, field::Number number, const char* text, const char* tag) noexcept {
  if (number < 1 || number > longest_text_list) return OX_EARG;
  if (const OX_RESULT result = reserve(list, number, tag)) return result;
  if (const OX_RESULT result = field::assign(list.texts[number - 1], text, tag)) return result;
  list.count = std::max(list.count, number);
  return OX_OK;
}

void clear(TextList& list) noexcept {
  for (field::Number i = 0; i < list.count; ++i) field::clear(list.texts[i]);
  (void)oxcMemFree(list.texts);
  list = {};
}

}  // namespace ox::entries
