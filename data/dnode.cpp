#include "data/dnode.h"

#include <cstring>
#include <utility>

#include "common/pointer_result.h"
#include "common/trace.h"
#include "data/dnode_fields.h"

namespace ox::data {
namespace {

void free_node(dnode* node) noexcept {
  every_field([&](const auto& field) {
    clear(*node, field);
    return true;
  });
  (void)oxcMemFree(node);
}

// Copies of one field. False when memory runs out.
bool copy(const Field<Text>& field, const Text& source, dnode& target) noexcept {
  char* const room = text_room(target, field, source.size, field.tags.copy);
  if (room == nullptr) return false;
  std::memcpy(room, source.text, source.size);
  target.*field.member = {room, source.size};
  return true;
}

bool copy(const Field<Value>& field, const Value& source, dnode& target) noexcept {
  unsigned char* const room = new_value(target, source.type, source.size, field.tags.copy);
  if (room == nullptr) return false;
  if (source.size != 0) std::memcpy(room, source.bytes, source.size);
  return true;
}

template <class Number>
bool copy(const Field<Number>& field, const Number& source, dnode& target) noexcept {
  target.*field.member = source;
  return true;
}

dnode_ptr make_list(std::uint32_t count) noexcept {
  dnode* head = nullptr;
  for (std::uint32_t made = 0; made < count; ++made) {
    dnode_ptr node = make_dnode();
    if (!node) {
      (void)oxdFree(head);
      return nullptr;
    }
    (void)oxcQueueAdd(&head, node.release());
  }
  return dnode_ptr(head);
}

dnode_ptr copy_node(const dnode& source) noexcept {
  dnode_ptr target = make_dnode();
  if (!target) return nullptr;
  const bool whole = every_field([&](const auto& field) {
    if (!source.has(field.bit)) return true;
    if (!copy(field, source.*field.member, *target)) return false;
    target->present |= field.bit;
    return true;
  });
  if (!whole) return nullptr;
  target->amib_entry = source.amib_entry;
  target->present |= source.present & bit::amib_entry;
  target->prev = target.get();  // a list of one
  return target;
}

OX_RESULT set_all(dnode& node, const char* type, const char* name, const char* amib, std::uint32_t req_time,
                  std::uint32_t rsp_time, std::uint32_t err_code) noexcept {
  OX_RESULT result = OX_OK;
  if (type != nullptr) result = oxdSetCompType(&node, type);
  if (result == OX_OK && name != nullptr) result = oxdSetCompName(&node, name);
  if (result == OX_OK && amib != nullptr) result = oxdSetAmibName(&node, amib);
  if (result == OX_OK && req_time > 0) result = oxdSetReqTime(&node, req_time);
  if (result == OX_OK && rsp_time > 0) result = oxdSetRspTime(&node, rsp_time);
  if (result == OX_OK) result = oxdSetErrCode(&node, err_code);
  return result;
}

}  // namespace

dnode_ptr make_dnode() noexcept {
  auto* const node = static_cast<dnode*>(oxcMemAlloc(sizeof(dnode), "dnode_000"));
  if (node != nullptr) std::memset(static_cast<void*>(node), 0, offsetof(dnode, value_room));
  return dnode_ptr(node);
}

OX_RESULT assign(dnode& node, const Field<Text>& field, std::string_view text, const char* tag) noexcept {
  if (text.size() >= UINT32_MAX) return OX_ENOMEM;
  const auto size = static_cast<std::uint32_t>(text.size() + 1);
  char* const room = text_room(node, field, size, tag);
  if (room == nullptr) return OX_ENOMEM;
  std::memmove(room, text.data(), text.size());  // it may be the field's own
  room[text.size()] = '\0';
  clear(node, field);
  node.*field.member = {room, size};
  node.present |= field.bit;
  return OX_OK;
}

}  // namespace ox::data

using namespace ox;
using namespace ox::data;

dnode* OX_CALL oxdAlloc(uint32_t count) {
  OX_ENTRY("oxdAlloc", ":%u", count);
  return traced_pointer("oxdAlloc", [&] { return make_list(count).release(); });
}

OX_RESULT OX_CALL oxdFree(dnode* list) {
  OX_ENTRY("oxdFree", ":%x", trace::word(list));
  return traced("oxdFree", [&] {
    if (list == nullptr) return OX_RESULT{OX_OK};
    // From the middle of a list: the nodes before stay a list of their own.
    dnode* before = list->prev;
    if (before != nullptr && before->next == list) {
      dnode* head = before;
      while (head->prev != nullptr && head->prev->next == head) head = head->prev;
      (void)oxcQueueSplit(&head, list);
    }
    while (list != nullptr) free_node(std::exchange(list, list->next));
    return OX_RESULT{OX_OK};
  });
}

dnode* OX_CALL oxdCopy(const dnode* node) {
  OX_ENTRY("oxdCopy", ":%x", trace::word(node));
  return traced_pointer("oxdCopy", [&] { return node != nullptr ? copy_node(*node).release() : nullptr; });
}

dnode* OX_CALL oxdNext(const dnode* node) {
  return traced_read("oxdNext", node, [](const dnode& it) { return it.next; });
}
dnode* OX_CALL oxdPrev(const dnode* node) {
  return traced_read("oxdPrev", node, [](const dnode& it) { return it.prev; });
}

OX_RESULT OX_CALL oxdSetAllData(dnode** list, const char* compType, const char* compName, const char* amibName,
                                uint32_t reqTime, uint32_t rspTime, uint32_t errCode, uint32_t valueType,
                                uintptr_t value, uint32_t size) {
  OX_ENTRY("oxdSetAllData", ":%x:%s:%s:%s:%u:%u:%u:%u:%x:%u", trace::word(list), trace::text(compType),
           trace::text(compName), trace::text(amibName), reqTime, rspTime, errCode, valueType,
           static_cast<std::uint32_t>(value), size);
  return traced("oxdSetAllData", [&] {
    if (list == nullptr) return OX_RESULT{OX_EARG};
    dnode_ptr node = make_dnode();
    if (!node) return OX_RESULT{OX_ENOMEM};
    OX_RESULT result = set_all(*node, compType, compName, amibName, reqTime, rspTime, errCode);
    const bool has_value = valueType >= 1 && valueType <= OX_CODESTRING;
    if (result == OX_OK && has_value) result = set_value(*node, valueType, value, size);
    if (result == OX_OK) (void)oxcQueueAdd(list, node.release());
    return result;
  });
}
