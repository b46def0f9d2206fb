#include "deffile/trap_list.h"

#include <utility>

#include "common/trace.h"

namespace {

using namespace ox;

constexpr std::size_t marks_of(const oxcTrTag& tag) noexcept {
  return (tag.anyGeneric != 0 ? 1u : 0u) | (tag.anySpecific != 0 ? 2u : 0u);
}

constexpr std::size_t marks_set(std::size_t marks) noexcept { return (marks & 1) + (marks >> 1); }

// A number that any other matches does not count.
constexpr std::uint64_t key_of(std::size_t marks, std::uint32_t generic, std::uint32_t specific) noexcept {
  const std::uint64_t high = (marks & 1) != 0 ? 0 : generic;
  return high << 32 | ((marks & 2) != 0 ? 0 : specific);
}

std::string_view enterprise_of(const oxcTrTag& tag) noexcept {
  return tag.enterprise != nullptr ? tag.enterprise : std::string_view();
}

}  // namespace

oxcTrConf::~oxcTrConf() {
  while (head_ != nullptr) TagDelete{}(std::exchange(head_, head_->next));
}

void oxcTrConf::insert_after(oxcTrTag* before, oxcTrTag* tag) noexcept {
  if (before == nullptr) {
    OX_TRACE(trace::platform, "<X:oxcTrAddTagList put[%s] at the head>\n", trace::text(tag->enterprise));
    tag->next = head_;
    tag->prev = head_ != nullptr ? std::exchange(head_->prev, tag) : tag;
    head_ = tag;
    return;
  }
  OX_TRACE(trace::platform, "<X:oxcTrAddTagList put[%s] after[%s]>\n", trace::text(tag->enterprise),
           trace::text(before->enterprise));
  tag->next = before->next;
  tag->prev = before;
  before->next = tag;
  (tag->next != nullptr ? tag->next : head_)->prev = tag;
}

void oxcTrConf::link(Enterprise& enterprise, std::size_t rank, oxcTrTag* tag) noexcept {
  std::size_t at = rank + 1;
  while (at != 0 && enterprise.last[at - 1] == nullptr) --at;
  if (at != 0) {
    insert_after(enterprise.last[at - 1], tag);
  } else if (enterprise.first != nullptr) {
    insert_after(enterprise.first != head_ ? enterprise.first->prev : nullptr, tag);
  } else {
    insert_after(head_ != nullptr ? head_->prev : nullptr, tag);
  }
  if (at == 0) enterprise.first = tag;
  enterprise.last[rank] = tag;
}

void oxcTrConf::note(Enterprise& enterprise, const oxcTrTag& tag, std::uint64_t order) {
  const std::size_t own_marks = marks_of(tag);
  const Place place{&tag, order};
  const auto [found, made] =
      enterprise.numbers[own_marks].try_emplace(key_of(own_marks, tag.genericCode, tag.specificCode), place);
  if (!made && order < found->second.order) found->second = place;
}

void oxcTrConf::add(tag_ptr& tag) {
  OX_TRACE(trace::platform, "<X:oxcTrAddTagList (%x) >\n", trace::word(tag.get()));
  OX_TRACE(trace::platform, "<X:oxcTrAddTagList add[%s]>\n", trace::text(tag->enterprise));
  const std::uint64_t others = tag->userDefined != 0 ? 0 : 1;
  const auto [entry, made] = enterprises_.try_emplace(enterprise_of(*tag));
  try {
    note(entry->second, *tag, others << 32 | added_);
  } catch (...) {
    if (made) enterprises_.erase(entry);  // its key is a text of the record, which is not ours now
    throw;
  }
  ++added_;
  const std::size_t rank =
      std::size_t{2} * static_cast<std::size_t>(marks_set(marks_of(*tag))) + static_cast<std::size_t>(others);
  link(entry->second, rank, tag.release());
}

const oxcTrTag* oxcTrConf::find(std::string_view enterprise, std::uint32_t generic,
                                std::uint32_t specific) const noexcept {
  const auto known = enterprises_.find(enterprise);
  if (enterprise.empty() || known == enterprises_.end()) return nullptr;
  std::array<const Place*, marks> found{};
  for (std::size_t i = 0; i < marks; ++i) {
    const Numbers& numbers = known->second.numbers[i];
    if (numbers.empty()) continue;
    const auto place = numbers.find(key_of(i, generic, specific));
    if (place != numbers.end()) found[i] = &place->second;
    if (i == 0 && found[0] != nullptr) return found[0]->tag;
  }
  const Place* one = found[1];
  if (one == nullptr || (found[2] != nullptr && found[2]->order < one->order)) one = found[2];
  if (one == nullptr) one = found[3];
  return one != nullptr ? one->tag : nullptr;
}
