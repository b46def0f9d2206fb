#include "deffile/name_index.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <utility>

#include "common/memory.h"

namespace ox {
namespace {

constexpr std::string_view separators = " \r\n";

std::string_view take_token(std::string_view& rest) noexcept {
  rest.remove_prefix(std::min(rest.find_first_not_of(separators), rest.size()));
  const std::string_view token = rest.substr(0, rest.find_first_of(separators));
  rest.remove_prefix(token.size());
  return token;
}

tracked_ptr<char[]> copy_of(std::string_view name) {
  auto copy = copy_text(std::string(name).c_str(), "str_set");
  if (!copy) out_of_memory();
  return copy;
}

}  // namespace

std::string name_record(std::string_view name, std::uint32_t number) {
  char text[24];
  (void)std::snprintf(text, sizeof text, " 0x%07" PRIx32 " \n", number);
  return std::string(name) + text;
}

NameIndex::~NameIndex() {
  while (head_ != nullptr) {
    NameEntry* const entry = std::exchange(head_, head_->next);
    (void)oxcMemFree(entry->name);
    (void)oxcMemFree(entry);
  }
}

void NameIndex::swap(NameIndex& other) noexcept {
  std::swap(head_, other.head_);
  std::swap(highest_, other.highest_);
  names_.swap(other.names_);
  numbers_.swap(other.numbers_);
}

OX_RESULT NameIndex::read(std::string_view records) {
  for (;;) {
    const std::string_view name = take_token(records);
    if (name.empty()) return OX_OK;
    const std::string number(take_token(records));
    if (number.empty()) return OX_EINDEXFILE;
    std::uint32_t value = 0;
    if (const OX_RESULT result = oxcStrToUlong(number.c_str(), 0, &value)) return result;
    (void)add(name, value, "NameEntry_000");
    raise_highest(value);
  }
}

std::string NameIndex::records() const {
  std::string all;
  for (const NameEntry* entry = head_; entry != nullptr; entry = entry->next)
    all += name_record(entry->name, entry->number);
  return all;
}

NameEntry* NameIndex::add(std::string_view name, std::uint32_t number, const char* tag) {
  auto text = copy_of(name);
  auto entry = make_tracked<NameEntry>(tag);
  if (!entry) out_of_memory();
  const auto [named, first_of_name] = names_.try_emplace(text.get(), entry.get());
  try {
    numbers_.try_emplace(number, entry.get());
  } catch (...) {
    if (first_of_name) names_.erase(named);
    throw;
  }
  entry->name = text.release();
  entry->number = number;
  (void)oxcQueueAdd(&head_, entry.get());
  return entry.release();
}

void NameIndex::remove_last() noexcept {
  NameEntry* const entry = head_->prev;
  if (by_name(entry->name) == entry) names_.erase(entry->name);
  if (by_number(entry->number) == entry) numbers_.erase(entry->number);
  (void)oxcQueueDel(&head_, entry);
  (void)oxcMemFree(entry->name);
  (void)oxcMemFree(entry);
}

void NameIndex::copy(const NameIndex& from, const NameEntry* changed, const char* name) {
  for (const NameEntry* entry = from.head_; entry != nullptr; entry = entry->next) {
    const char* const own = entry == changed ? name : entry->name;
    if (own != nullptr) (void)add(own, entry->number, "NameEntry_001");
  }
  raise_highest(from.highest_);
}

NameEntry* NameIndex::by_name(std::string_view name) const noexcept {
  const auto found = names_.find(name);
  return found != names_.end() ? found->second : nullptr;
}

NameEntry* NameIndex::by_number(std::uint32_t number) const noexcept {
  const auto found = numbers_.find(number);
  return found != numbers_.end() ? found->second : nullptr;
}

void NameIndex::raise_highest(std::uint32_t number) noexcept { highest_ = std::max(highest_, number); }

std::uint32_t NameIndex::take_number() noexcept {
  if (highest_ < last_number) return ++highest_;
  std::uint32_t number = 1;
  while (number <= last_number && by_number(number) != nullptr) ++number;
  return number <= last_number ? number : 0;
}

}  // namespace ox
