// Brace expansion: "sys.{a,b}.x{1,2}" into every combination, the rightmost group varying fastest.
//
// The pattern is parsed into alternatives of items, an item being a text or a group of alternatives in its turn. How
// many results there will be and how long the longest is, is known before any is made. Nothing recurses, so nesting
// costs no stack.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#include <oxbase/oxb.h>

#include "amib/path.h"
#include "common/memory.h"
#include "common/trace.h"

namespace ox::amib {
namespace {

constexpr std::uint64_t too_many = UINT64_C(1) << 32;  // counts and lengths stay here once they are there

std::uint64_t plus(std::uint64_t a, std::uint64_t b) noexcept { return std::min(a + b, too_many); }
std::uint64_t times(std::uint64_t a, std::uint64_t b) noexcept { return a > too_many / b ? too_many : a * b; }

struct Item;

// One of the texts that a group stands for: a sequence of items.
struct Alternative {
  Alternative* next;
  Item* group;  // that it belongs to
  Item* items;
  Item* last;
  std::uint64_t count;   // of its combinations, at least 1
  std::uint64_t length;  // of the longest one
  std::uint64_t index;   // of the combination that is being written
};

struct Item {
  Item* next;
  Alternative* owner;
  std::string_view text;
  Alternative* alternatives;  // null: the item is a text
  Alternative* last;
  std::uint64_t count;
  std::uint64_t length;
  std::uint64_t stride;  // combinations of the items to the right: this one changes after so many
  // The alternative in turn and the combinations of those before it. Results are made in order, so the look-up of an
  // alternative goes on from there.
  Alternative* turn;
  std::uint64_t before_turn;
};

class Pattern {
 public:
  // 128 for unbalanced braces, 3.
  OX_RESULT parse(std::string_view pattern);

  [[nodiscard]] std::uint64_t count() const noexcept { return whole_.count; }
  [[nodiscard]] std::uint64_t longest() const noexcept { return whole_.length; }
  // Writes one result, terminated.
  void write(std::uint64_t index, char* out) noexcept;

 private:
  bool reserve(std::string_view pattern) noexcept;
  Item& add_item(Alternative& owner) noexcept;
  Alternative& add_alternative(Item& group) noexcept;
  static void close(Alternative& alternative) noexcept;
  static void select(Item& group, std::uint64_t index) noexcept;

  Item whole_{};  // the group of the patterns that stand side by side
  tracked_ptr<Item[]> items_;
  tracked_ptr<Alternative[]> alternatives_;
  std::uint32_t items_used_ = 0;
  std::uint32_t alternatives_used_ = 0;
};

bool Pattern::reserve(std::string_view pattern) noexcept {
  const auto marks =
      std::count_if(pattern.begin(), pattern.end(), [](char c) { return c == '{' || c == '}' || c == ','; });
  if (pattern.size() >= UINT32_MAX / 4) return false;
  const auto room = static_cast<std::uint32_t>(marks);
  items_ = make_tracked_array<Item>(room * 2 + 1, "data_004");
  alternatives_ = make_tracked_array<Alternative>(room + 1, "data_004");
  return items_ != nullptr && alternatives_ != nullptr;
}

Item& Pattern::add_item(Alternative& owner) noexcept {
  Item& item = items_[items_used_++] = {};
  item.owner = &owner;
  (owner.last != nullptr ? owner.last->next : owner.items) = &item;
  owner.last = &item;
  return item;
}

Alternative& Pattern::add_alternative(Item& group) noexcept {
  Alternative& alternative = alternatives_[alternatives_used_++] = {};
  alternative.group = &group;
  alternative.count = 1;
  if (group.alternatives == nullptr) group.alternatives = group.turn = &alternative;
  if (group.last != nullptr) group.last->next = &alternative;
  group.last = &alternative;
  return alternative;
}

void Pattern::close(Alternative& alternative) noexcept {
  for (const Item* item = alternative.items; item != nullptr; item = item->next) {
    alternative.count = times(alternative.count, item->count);
    alternative.length = plus(alternative.length, item->length);
  }
  std::uint64_t rest = alternative.count;
  for (Item* item = alternative.items; item != nullptr; item = item->next) item->stride = rest /= item->count;
  Item& group = *alternative.group;
  group.count = plus(group.count, alternative.count);
  group.length = std::max(group.length, alternative.length);
}

OX_RESULT Pattern::parse(std::string_view pattern) {
  if (!reserve(pattern)) return OX_ENOMEM;
  Alternative* alternative = &add_alternative(whole_);
  while (!pattern.empty()) {
    const std::string_view text = pattern.substr(0, pattern.find_first_of("{},"));
    if (!text.empty()) {
      Item& item = add_item(*alternative);
      item.text = text;
      item.count = 1;
      item.length = text.size();
    }
    pattern.remove_prefix(text.size());
    if (pattern.empty()) break;
    const char mark = pattern.front();
    pattern.remove_prefix(1);
    if (mark == '{') {
      alternative = &add_alternative(add_item(*alternative));
      continue;
    }
    close(*alternative);
    Item& group = *alternative->group;
    if (mark == '}' && &group == &whole_) return OX_EBRACES;
    alternative = mark == ',' ? &add_alternative(group) : group.owner;
  }
  if (alternative->group != &whole_) return OX_EBRACES;
  close(*alternative);
  return OX_OK;
}

void Pattern::select(Item& group, std::uint64_t index) noexcept {
  if (index < group.before_turn) {
    group.turn = group.alternatives;
    group.before_turn = 0;
  }
  while (index - group.before_turn >= group.turn->count) {
    group.before_turn += group.turn->count;
    group.turn = group.turn->next;
  }
  group.turn->index = index - group.before_turn;
}

void Pattern::write(std::uint64_t index, char* out) noexcept {
  select(whole_, index);
  const Alternative* alternative = whole_.turn;
  Item* item = alternative->items;
  for (;;) {
    if (item == nullptr) {
      const Item* group = alternative->group;
      if (group == &whole_) break;
      alternative = group->owner;
      item = group->next;
    } else if (item->alternatives == nullptr) {
      out = std::copy(item->text.begin(), item->text.end(), out);
      item = item->next;
    } else {
      select(*item, alternative->index / item->stride % item->count);
      alternative = item->turn;
      item = alternative->items;
    }
  }
  *out = '\0';
}

OX_RESULT deploy(const char* text, std::uint32_t* count, char** results, std::uint32_t capacity) {
  if (count == nullptr) return OX_EARG;
  *count = 0;
  if (text == nullptr || results == nullptr) return OX_EARG;
  Pattern pattern;
  if (const OX_RESULT result = pattern.parse(text); result != OX_OK) return result;
  if (pattern.longest() >= path_limit) return OX_EPATHLONG;
  if (pattern.count() > capacity) return OX_ETOOMANY;
  const auto total = static_cast<std::uint32_t>(pattern.count());
  for (std::uint32_t made = 0; made < total; ++made) {
    results[made] = static_cast<char*>(oxcMemAlloc(path_limit, "bbuf"));
    if (results[made] == nullptr) {
      while (made != 0) (void)oxcMemFree(results[--made]);
      return OX_ENOMEM;
    }
    pattern.write(made, results[made]);
  }
  *count = total;
  return OX_OK;
}

}  // namespace
}  // namespace ox::amib

extern "C" OX_RESULT OX_CALL oxbDeploy(const char* pattern, uint32_t* count, char** results, uint32_t capacity) {
  using ox::trace::text;
  using ox::trace::word;
  OX_ENTRY("oxbDeploy", ":%s:%x:%x:%u", text(pattern), word(count), word(results), capacity);
  return ox::traced("oxbDeploy", [&] { return ox::amib::deploy(pattern, count, results, capacity); });
}
