#include "manager/series/block.h"

#include <algorithm>

#include "manager/series/column.h"

namespace ox::manager {
namespace {

// What a block says once for all of its cells.
enum Flags : std::uint8_t {
  consecutive = 1,  // their places follow one another
  one_reading = 2,  // they came with the answer of the same number
  one_kind = 4,     // they have the same form and type
  no_status = 8,    // they have the status 0
  all_flags = 15,
};

std::uint64_t kind_of(const Cell& cell) { return std::uint64_t{cell.type} << 2 | cell.form; }

template <class Of>
bool all_same(const std::vector<Cell>& cells, const Of& of) {
  return std::all_of(cells.begin(), cells.end(), [&](const Cell& cell) { return of(cell) == of(cells.front()); });
}

std::uint8_t flags_of(const std::vector<Cell>& cells) {
  const bool follow = cells.back().place - cells.front().place + 1 == cells.size();
  const bool reading = all_same(cells, [](const Cell& cell) { return cell.reading; });
  const bool kind = all_same(cells, &kind_of);
  const bool status = std::any_of(cells.begin(), cells.end(), [](const Cell& cell) { return cell.status != 0; });
  return static_cast<std::uint8_t>((follow ? consecutive : 0) | (reading ? one_reading : 0) | (kind ? one_kind : 0) |
                                   (status ? 0 : no_status));
}

template <class Of>
void put_column_of(Bytes& out, const std::vector<Cell>& cells, std::vector<std::uint64_t>& column, const Of& of) {
  column.clear();
  for (const Cell& cell : cells) column.push_back(of(cell));
  put_column(out, column);
}

bool same_bytes(const Cell& a, const Cell& b) { return std::ranges::equal(a.bytes, b.bytes); }

// Their length, one more than that; 0 for the same as the ones before.
void put_bytes(const std::vector<Cell>& cells, Bytes& out) {
  const Cell* before = nullptr;
  for (const Cell& cell : cells) {
    if (cell.form != Cell::other_bytes) continue;
    if (before != nullptr && same_bytes(*before, cell)) {
      put_varint(out, 0);
    } else {
      put_varint(out, cell.bytes.size() + 1);
      out.insert(out.end(), cell.bytes.begin(), cell.bytes.end());
    }
    before = &cell;
  }
}

}  // namespace

void BlockWriter::put_numbers(const std::vector<Cell>& cells, Bytes& out) {
  column_.clear();
  for (const Cell& cell : cells) {
    if (cell.is_number()) column_.push_back(cell.number);
  }
  if (!column_.empty()) put_column(out, column_);
}

void BlockWriter::write(const std::vector<Cell>& cells, Bytes& out) {
  const std::uint8_t flags = flags_of(cells);
  out.push_back(static_cast<std::byte>(flags));
  put_varint(out, cells.size());
  put_varint(out, cells.front().place);
  if ((flags & consecutive) == 0) put_column_of(out, cells, column_, [](const Cell& cell) { return cell.place; });
  if ((flags & one_reading) != 0) {
    put_varint(out, cells.front().reading);
  } else {
    put_column_of(out, cells, column_, [](const Cell& cell) { return cell.reading; });
  }
  if ((flags & one_kind) != 0) {
    put_varint(out, kind_of(cells.front()));
  } else {
    put_column_of(out, cells, column_, &kind_of);
  }
  if ((flags & no_status) == 0) put_column_of(out, cells, column_, [](const Cell& cell) { return cell.status; });
  put_numbers(cells, out);
  put_bytes(cells, out);
}

void BlockReader::take_places(ByteCursor& in, std::uint8_t flags, std::uint64_t first, std::vector<Cell>& cells) {
  if ((flags & consecutive) == 0) take_column(in, cells.size(), column_);
  if (in.failed()) return;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    cells[i].place = static_cast<std::uint32_t>((flags & consecutive) != 0 ? first + i : column_[i]);
  }
}

void BlockReader::take_kinds(ByteCursor& in, std::uint8_t flags, std::vector<Cell>& cells) {
  const auto take = [&](bool one, const auto& set) {
    const std::uint64_t same = one ? in.varint() : 0;
    if (!one) take_column(in, cells.size(), column_);
    for (std::size_t i = 0; i < cells.size() && !in.failed(); ++i) set(cells[i], one ? same : column_[i]);
  };
  take((flags & one_reading) != 0,
       [](Cell& cell, std::uint64_t number) { cell.reading = static_cast<std::uint32_t>(number); });
  take((flags & one_kind) != 0, [](Cell& cell, std::uint64_t number) {
    cell.form = static_cast<Cell::Form>(number & 3);
    cell.type = static_cast<std::uint32_t>(number >> 2);
  });
  if ((flags & no_status) == 0) {
    take(false, [](Cell& cell, std::uint64_t number) { cell.status = static_cast<std::uint32_t>(number); });
  }
}

void BlockReader::take_values(ByteCursor& in, std::vector<Cell>& cells) {
  const auto numbers = static_cast<std::size_t>(
      std::count_if(cells.begin(), cells.end(), [](const Cell& cell) { return cell.is_number(); }));
  if (numbers != 0) take_column(in, numbers, column_);
  if (in.failed()) return;
  std::size_t next = 0;
  std::span<const std::byte> before;
  for (Cell& cell : cells) {
    if (cell.is_number()) cell.number = column_[next++];
    if (cell.form != Cell::other_bytes) continue;
    const std::uint64_t length = in.varint();
    if (length != 0) before = in.bytes(length - 1);
    cell.bytes = before;
  }
}

bool BlockReader::read(std::span<const std::byte> block, std::uint32_t places, std::vector<Cell>& cells) {
  ByteCursor in(block);
  const std::uint8_t flags = in.byte();
  const std::uint64_t count = in.varint();
  const std::uint64_t first = in.varint();
  if (in.failed() || (flags & ~all_flags) != 0 || count == 0 || count > places || first >= places) return false;
  cells.assign(static_cast<std::size_t>(count), Cell{});
  take_places(in, flags, first, cells);
  take_kinds(in, flags, cells);
  take_values(in, cells);
  if (in.failed() || in.left() != 0) return false;
  const auto behind = [](const Cell& a, const Cell& b) { return a.place >= b.place; };
  return std::adjacent_find(cells.begin(), cells.end(), behind) == cells.end() && cells.back().place < places;
}

}  // namespace ox::manager
