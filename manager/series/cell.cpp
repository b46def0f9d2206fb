#include "manager/series/cell.h"

namespace ox::manager {
namespace {

enum : std::uint8_t { form_bits = 3, has_status = 4, has_type = 8, has_reading = 16, has_step = 32 };

std::uint64_t from_network(std::span<const std::byte> bytes) {
  std::uint64_t number = 0;
  for (const std::byte byte : bytes) number = number << 8 | std::to_integer<std::uint64_t>(byte);
  return number;
}

}  // namespace

Cell Cell::of(std::uint32_t type, std::span<const std::byte> value) {
  Cell cell;
  cell.type = type;
  cell.form = value.size() == 4 ? four_bytes : value.size() == 8 ? eight_bytes : other_bytes;
  if (cell.form == other_bytes) {
    cell.bytes = value;
  } else {
    cell.number = from_network(value);
  }
  return cell;
}

std::uint32_t Cell::length() const {
  constexpr std::uint32_t lengths[]{0, 4, 8};
  return form == other_bytes ? static_cast<std::uint32_t>(bytes.size()) : lengths[form];
}

void Cell::append_value(Bytes& out) const {
  if (form == other_bytes) return void(out.insert(out.end(), bytes.begin(), bytes.end()));
  for (std::uint32_t left = length(); left-- > 0;) out.push_back(static_cast<std::byte>(number >> (left * 8)));
}

// In one piece: that is what most of the time of collecting goes into.
void put_cell(Bytes& out, CellState& state, const Cell& cell) {
  const bool gap = cell.form == Cell::gap;
  const bool status = cell.status != 0;
  const bool type = !gap && cell.type != state.type;
  const bool reading = !gap && cell.reading != state.reading;
  const bool step = cell.place - state.place != 1;
  std::byte bytes[1 + 5 * most_of_varint];
  std::byte* at = bytes;
  *at++ = static_cast<std::byte>(cell_mark | cell.form | (status ? has_status : 0) | (type ? has_type : 0) |
                                 (reading ? has_reading : 0) | (step ? has_step : 0));
  if (step) at = write_varint(at, fold_sign(std::uint64_t{cell.place} - state.place));
  if (status) at = write_varint(at, cell.status);
  state.place = cell.place;
  if (type) at = write_varint(at, state.type = cell.type);
  if (reading) at = write_varint(at, state.reading = cell.reading);
  if (cell.form == Cell::other_bytes) {
    at = write_varint(at, cell.bytes.size());
  } else if (!gap) {
    at = write_varint(at, fold_sign(cell.number - state.number));
    state.number = cell.number;
  }
  out.insert(out.end(), bytes, at);
  if (cell.form == Cell::other_bytes) out.insert(out.end(), cell.bytes.begin(), cell.bytes.end());
}

Cell take_cell(std::uint8_t first, ByteCursor& in, CellState& state) {
  Cell cell;
  cell.form = static_cast<Cell::Form>(first & form_bits);
  state.place += (first & has_step) != 0 ? static_cast<std::uint32_t>(in.signed_number()) : 1;
  cell.place = state.place;
  if ((first & has_status) != 0) cell.status = in.word();
  if (cell.form != Cell::gap && (first & has_type) != 0) state.type = in.word();
  if (cell.form != Cell::gap && (first & has_reading) != 0) state.reading = in.word();
  cell.reading = state.reading;
  if (cell.form == Cell::gap) return cell;
  cell.type = state.type;
  if (cell.form == Cell::other_bytes) {
    cell.bytes = in.bytes(in.varint());
  } else {
    cell.number = state.number += in.signed_number();
  }
  return cell;
}

bool read_cells(std::span<const std::byte> bytes, std::vector<Cell>& cells) {
  ByteCursor in(bytes);
  CellState state;
  while (in.left() != 0) cells.push_back(take_cell(in.byte(), in, state));
  return !in.failed();
}

}  // namespace ox::manager
