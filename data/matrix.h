// What a matrix of collected data is made of: items in their encoding.
#pragma once

#include <cstdint>
#include <memory>

#include <oxbase/oxd.h>

#include "common/bytes.h"

namespace ox::data {

struct MatrixDelete {
  void operator()(oxdMatrix* matrix) const noexcept { (void)oxdMatrixFree(matrix); }
};
using matrix_ptr = std::unique_ptr<oxdMatrix, MatrixDelete>;

// An item where it lies in received bytes: `data` points into them.
[[nodiscard]] OX_RESULT take_item(Reader& in, oxdMatrixItem& item) noexcept;

// Copies such an item and its bytes into one tracked block. 3.
[[nodiscard]] OX_RESULT keep_item(const oxdMatrixItem& found, oxdMatrixItem*& kept) noexcept;

// Copies of another one's components, attributes and indexes. 3, with the matrix as far as it got.
[[nodiscard]] OX_RESULT copy_axes(const oxdMatrix& from, oxdMatrix& to) noexcept;

}  // namespace ox::data
