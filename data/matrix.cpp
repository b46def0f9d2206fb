// Matrices of collected data: axes, cells, and the table by which a cell is found.
#include "data/matrix.h"

#include <array>
#include <utility>

#include "common/memory.h"
#include "common/trace.h"
#include "data/dnode.h"
#include "data/value_texts.h"

namespace ox::data {
namespace {

// Room for one more element, doubled when there is none. 3, with all as it was.
template <class Element>
OX_RESULT reserve(Element*& elements, std::uint32_t count, std::uint32_t& room) noexcept {
  constexpr std::uint32_t first = 8;
  constexpr std::uint32_t most = UINT32_MAX / 2 / sizeof(Element);
  if (count < room) return OX_OK;
  if (room > most / 2) return OX_ENOMEM;
  const std::uint32_t wanted = room != 0 ? room * 2 : first;
  void* const block = oxcMemRealloc(elements, wanted * static_cast<std::uint32_t>(sizeof(Element)), "oxdMatrixAxis");
  if (block == nullptr) return OX_ENOMEM;
  elements = static_cast<Element*>(block);
  room = wanted;
  return OX_OK;
}

OX_RESULT append(oxdMatrixTexts& axis, const char* text) noexcept {
  if (const OX_RESULT result = reserve(axis.texts, axis.count, axis.room)) return result;
  auto copy = copy_text(text, "oxdMatrixText");
  if (!copy) return OX_ENOMEM;
  axis.texts[axis.count++] = copy.release();
  return OX_OK;
}

OX_RESULT append_time(oxdMatrix& matrix, const oxdMatrixItem& item) noexcept {
  if (const OX_RESULT result = reserve(matrix.times, matrix.timeCount, matrix.timeRoom)) return result;
  if (matrix.timeCount == 0) matrix.timeNumber = item.number;
  matrix.times[matrix.timeCount++] = item.timeValue;
  return OX_OK;
}

void release(oxdMatrixTexts& axis) noexcept {
  for (std::uint32_t i = 0; i < axis.count; ++i) (void)oxcMemFree(axis.texts[i]);
  (void)oxcMemFree(axis.texts);
}

// The axis of texts whose entries are of a kind.
constexpr oxdMatrixTexts oxdMatrix::*text_axis(std::uint32_t kind) noexcept {
  if (kind == OXD_MATRIX_COMPONENT) return &oxdMatrix::components;
  if (kind == OXD_MATRIX_AMIB) return &oxdMatrix::amibs;
  return kind == OXD_MATRIX_INDEX ? &oxdMatrix::indexes : nullptr;
}

OX_RESULT append(oxdMatrix& matrix, const oxdMatrixItem& item) noexcept {
  if (const auto axis = text_axis(item.kind)) return append(matrix.*axis, static_cast<const char*>(item.data));
  if (item.kind == OXD_MATRIX_TIME) return append_time(matrix, item);
  oxdMatrixItem* cell = nullptr;
  if (const OX_RESULT result = keep_item(item, cell)) return result;
  (void)oxcQueueAdd(&matrix.cells, cell);
  return OX_OK;
}

OX_RESULT add(oxdMatrix* matrix, const void* data, std::uint32_t length) {
  if (matrix == nullptr || (data == nullptr && length != 0)) return OX_EARG;
  (void)oxdTableFree(matrix);  // the axes may become longer
  for (Reader in(data, length); in.remaining() != 0;) {
    oxdMatrixItem item{};
    if (const OX_RESULT result = take_item(in, item)) return result;
    if (const OX_RESULT result = append(*matrix, item)) return result;
  }
  return OX_OK;
}

// Lengths of the axes, in the order of a place.
std::array<std::uint32_t, 4> lengths(const oxdMatrix& matrix) noexcept {
  return {matrix.components.count, matrix.amibs.count, matrix.indexes.count, matrix.timeCount};
}

// The place of a cell in the table. False outside the axes.
bool place_of(const std::array<std::uint32_t, 4>& axes, const std::array<std::uint32_t, 4>& numbers,
              std::size_t& place) noexcept {
  place = 0;
  for (std::size_t i = 0; i < axes.size(); ++i) {
    if (numbers[i] >= axes[i]) return false;
    place = place * axes[i] + numbers[i];
  }
  return true;
}

// Bytes of the table. False when no block has so many.
bool table_size(const std::array<std::uint32_t, 4>& axes, std::uint32_t& size) noexcept {
  std::uint64_t bytes = sizeof(oxdMatrixItem*);
  for (const std::uint32_t axis : axes) {
    bytes *= axis;
    if (bytes > UINT32_MAX) return false;
  }
  size = static_cast<std::uint32_t>(bytes);
  return true;
}

OX_RESULT set_table(oxdMatrix* matrix, std::uint32_t time_base) {
  if (matrix == nullptr) return OX_EARG;
  const auto axes = lengths(*matrix);
  std::uint32_t size = 0;
  if (!table_size(axes, size)) return OX_ENOMEM;
  auto* const table = static_cast<oxdMatrixItem**>(oxcMemZalloc(size, "oxdTable"));
  if (table == nullptr) return OX_ENOMEM;
  (void)oxcMemFree(std::exchange(matrix->table, table));
  matrix->timeBase = time_base;
  for (oxdMatrixItem* cell = matrix->cells; cell != nullptr; cell = cell->next) {
    std::size_t place = 0;
    if (place_of(axes, {cell->component, cell->amib, cell->index, cell->time - time_base}, place)) table[place] = cell;
  }
  return OX_OK;
}

OX_RESULT get_length(const oxdMatrix* matrix, std::uint32_t kind, std::uint32_t* length) noexcept {
  if (matrix == nullptr || length == nullptr) return OX_EARG;
  const auto axis = text_axis(kind);
  if (axis == nullptr && kind != OXD_MATRIX_TIME) return OX_EARG;
  *length = axis != nullptr ? (matrix->*axis).count : matrix->timeCount;
  return OX_OK;
}

OX_RESULT get_text(const oxdMatrix* matrix, std::uint32_t kind, std::uint32_t place, const char** text) noexcept {
  const auto axis = text_axis(kind);
  if (matrix == nullptr || text == nullptr || axis == nullptr || place >= (matrix->*axis).count) return OX_EARG;
  *text = (matrix->*axis).texts[place];
  return OX_OK;
}

OX_RESULT find(const oxdMatrix* matrix, const std::array<std::uint32_t, 4>& places,
               const oxdMatrixItem*& cell) noexcept {
  std::size_t place = 0;
  if (matrix == nullptr || !place_of(lengths(*matrix), places, place)) return OX_EARG;
  const oxdMatrixItem* const found = matrix->table != nullptr ? matrix->table[place] : nullptr;
  if (found == nullptr) return OX_ENOTFOUND;
  cell = found;
  return OX_OK;
}

// The value as a node of its own has it, for as long as the conversion takes.
OX_RESULT text_of(const oxdMatrixItem& cell, const char*& text) noexcept {
  dnode node{};
  node.present = bit::value;
  node.value = {cell.data, cell.length, cell.type};
  return display_text(node, text);
}

}  // namespace

OX_RESULT copy_axes(const oxdMatrix& from, oxdMatrix& to) noexcept {
  for (const std::uint32_t kind : {OXD_MATRIX_COMPONENT, OXD_MATRIX_AMIB, OXD_MATRIX_INDEX}) {
    const oxdMatrixTexts& axis = from.*text_axis(kind);
    for (std::uint32_t i = 0; i < axis.count; ++i) {
      if (const OX_RESULT result = append(to.*text_axis(kind), axis.texts[i])) return result;
    }
  }
  return OX_OK;
}

}  // namespace ox::data

using namespace ox;
using namespace ox::data;

oxdMatrix* OX_CALL oxdMatrixAlloc(void) {
  OX_ENTRY("oxdMatrixAlloc", "");
  oxdMatrix* const matrix = make_tracked<oxdMatrix>("oxdMatrix").release();
  OX_TRACE(trace::general, "<E:oxdMatrixAlloc:[%x]>\n", trace::word(matrix));
  return matrix;
}

OX_RESULT OX_CALL oxdMatrixFree(oxdMatrix* matrix) {
  OX_ENTRY("oxdMatrixFree", ":%x", trace::word(matrix));
  return traced("oxdMatrixFree", [&]() -> OX_RESULT {
    if (matrix == nullptr) return OX_OK;
    for (oxdMatrixItem* cell = matrix->cells; cell != nullptr;) (void)oxcMemFree(std::exchange(cell, cell->next));
    for (oxdMatrixTexts* const axis : {&matrix->components, &matrix->amibs, &matrix->indexes}) release(*axis);
    (void)oxcMemFree(matrix->times);
    (void)oxcMemFree(matrix->table);
    return oxcMemFree(matrix);
  });
}

OX_RESULT OX_CALL oxdMatrixAdd(oxdMatrix* matrix, const void* data, uint32_t length) {
  OX_ENTRY("oxdMatrixAdd", ":%x:%x:%u", trace::word(matrix), trace::word(data), length);
  return traced("oxdMatrixAdd", [&] { return add(matrix, data, length); });
}

OX_RESULT OX_CALL oxdTableSet(oxdMatrix* matrix, uint32_t timeBase) {
  OX_ENTRY("oxdTableSet", ":%x:%u", trace::word(matrix), timeBase);
  return traced("oxdTableSet", [&] { return set_table(matrix, timeBase); });
}

OX_RESULT OX_CALL oxdTableFree(oxdMatrix* matrix) {
  OX_ENTRY("oxdTableFree", ":%x", trace::word(matrix));
  return traced("oxdTableFree", [&] {
    return matrix != nullptr ? oxcMemFree(std::exchange(matrix->table, nullptr)) : OX_RESULT{OX_EARG};
  });
}

OX_RESULT OX_CALL oxdMatrixGetLength(const oxdMatrix* matrix, uint32_t kind, uint32_t* length) {
  OX_ENTRY("oxdMatrixGetLength", ":%x:%u", trace::word(matrix), kind);
  return traced("oxdMatrixGetLength", [&] { return get_length(matrix, kind, length); });
}

OX_RESULT OX_CALL oxdMatrixGetText(const oxdMatrix* matrix, uint32_t kind, uint32_t place, const char** text) {
  OX_ENTRY("oxdMatrixGetText", ":%x:%u:%u", trace::word(matrix), kind, place);
  return traced("oxdMatrixGetText", [&] { return get_text(matrix, kind, place, text); });
}

OX_RESULT OX_CALL oxdMatrixGetTime(const oxdMatrix* matrix, uint32_t place, uint32_t* seconds) {
  OX_ENTRY("oxdMatrixGetTime", ":%x:%u", trace::word(matrix), place);
  return traced("oxdMatrixGetTime", [&]() -> OX_RESULT {
    if (matrix == nullptr || seconds == nullptr || place >= matrix->timeCount) return OX_EARG;
    *seconds = matrix->times[place];
    return OX_OK;
  });
}

OX_RESULT OX_CALL oxdMatrixGetCell(const oxdMatrix* matrix, uint32_t component, uint32_t amib, uint32_t index,
                                   uint32_t time, const oxdMatrixItem** cell) {
  OX_ENTRY("oxdMatrixGetCell", ":%x:%u:%u:%u:%u", trace::word(matrix), component, amib, index, time);
  return traced("oxdMatrixGetCell", [&]() -> OX_RESULT {
    return cell != nullptr ? find(matrix, {component, amib, index, time}, *cell) : OX_RESULT{OX_EARG};
  });
}

OX_RESULT OX_CALL oxdMatrixGetCellText(const oxdMatrix* matrix, uint32_t component, uint32_t amib, uint32_t index,
                                       uint32_t time, const char** text) {
  OX_ENTRY("oxdMatrixGetCellText", ":%x:%u:%u:%u:%u", trace::word(matrix), component, amib, index, time);
  return traced("oxdMatrixGetCellText", [&]() -> OX_RESULT {
    const oxdMatrixItem* cell = nullptr;
    if (text == nullptr) return OX_EARG;
    const OX_RESULT result = find(matrix, {component, amib, index, time}, cell);
    return result != OX_OK ? result : text_of(*cell, *text);
  });
}
