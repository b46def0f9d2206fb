#include "manager/components/growth.h"

namespace ox::manager {
namespace {

using Kind = Change::Kind;

std::optional<std::size_t> after(const Change& change) {
  if (change.kind == Kind::set) return change.value.bytes.size();
  return change.kind == Kind::add ? std::optional(change.component.name.size()) : std::nullopt;
}

}  // namespace

StoreGrowth::Bytes StoreGrowth::before(const Change& change) const {
  if (change.kind == Kind::add) return std::nullopt;
  const auto changed = changed_.find({change.component, change.path});
  if (changed != changed_.end()) return changed->second;
  const Value* const value = store_.value(change.component, change.path);
  return value != nullptr ? Bytes(value->bytes.size()) : std::nullopt;
}

Store::Size StoreGrowth::with(const Change& change) const {
  Store::Size size = size_;
  if (change.kind != Kind::set && change.kind != Kind::unset && change.kind != Kind::add) return size;
  const Bytes had = before(change);
  const Bytes has = after(change);
  size.count += (has ? 1 : 0) - (had ? 1 : 0);
  size.bytes += std::uint64_t{has.value_or(0)} - had.value_or(0);
  return size;
}

void StoreGrowth::add(const Change& change) {
  size_ = with(change);
  if (change.kind == Kind::set || change.kind == Kind::unset) changed_[{change.component, change.path}] = after(change);
}

}  // namespace ox::manager
