// Any bytes as items of collected data: each decoded, encoded to the same bytes, and all of them laid out as a matrix.
#include <cstring>
#include <string_view>

#include <oxbase/oxc.h>
#include <oxbase/oxd.h>

#include "fuzz/target.h"

namespace {

using ox::fuzz::expect;

// The bytes of the first item. 0 when there is none.
uint32_t take(std::string_view input) {
  oxdMatrixItem* item = nullptr;
  uint32_t used = 0;
  if (oxdMatrixDecode(input.data(), static_cast<uint32_t>(input.size()), &item, &used) != OX_OK) return 0;
  void* block = nullptr;
  uint32_t size = 0;
  // A text with a zero byte inside is encoded up to there.
  expect(oxdMatrixEncode(item, &block, &size) == OX_OK && size <= used);
  if (size == used) expect(std::memcmp(block, input.data(), size) == 0);
  (void)oxcMemFree(block);
  (void)oxdMatrixItemFree(item);
  return used;
}

void look(const oxdMatrix* matrix) {
  uint32_t lengths[4] = {};
  const uint32_t kinds[4] = {OXD_MATRIX_COMPONENT, OXD_MATRIX_AMIB, OXD_MATRIX_INDEX, OXD_MATRIX_TIME};
  for (int i = 0; i < 4; ++i) expect(oxdMatrixGetLength(matrix, kinds[i], &lengths[i]) == OX_OK);
  const char* text = nullptr;
  for (uint32_t i = 0; i < lengths[0] + 1; ++i) {
    (void)oxdMatrixGetText(matrix, OXD_MATRIX_COMPONENT, i, &text);
    (void)oxdMatrixGetCellText(matrix, i, lengths[1] - 1, lengths[2] - 1, lengths[3] - 1, &text);
  }
}

}  // namespace

void ox::fuzz::run(std::string_view input) {
  for (std::string_view rest = input; !rest.empty();) {
    const uint32_t used = take(rest);
    if (used == 0) break;
    rest.remove_prefix(used);
  }
  oxdMatrix* const matrix = oxdMatrixAlloc();
  (void)oxdMatrixAdd(matrix, input.data(), static_cast<uint32_t>(input.size()));
  if (oxdTableSet(matrix, matrix->timeNumber) == OX_OK) look(matrix);
  (void)oxdMatrixFree(matrix);
}
