// Collected data: the items byte for byte, and the matrix that they make.
#include "tests/data/data_fixture.h"
#include "tests/support/blocks.h"
#include "tests/support/byte_text.h"
#include "tests/support/fault_heap.h"

namespace ox::test {
namespace {

const char* const items[] = {
    "0001 00000000 0003 'ab' 00",
    "0002 FFFFFFFF 0001 00",
    "0004 00000007 0002 '1' 00",
    "0003 00000005 80000001",
    "0005 00000001 00000002 00000003 00000004 00000009 00000006 00000002 0002 'x' 00",
    "0005 00000000 00000000 00000000 00000000 00000001 00000000 00000000 0000",
};

OX_RESULT decode(std::string_view wire, oxdMatrixItem** item, std::uint32_t* used) {
  return give_block(wire,
                    [&](const void* data, std::uint32_t size) { return oxdMatrixDecode(data, size, item, used); });
}

TEST(MatrixItems, BytesAreFixedAndEveryCutIsRefused) {
  const SameBlocks same_blocks;
  for (const char* const text : items) {
    SCOPED_TRACE(text);
    const std::string wire = bytes(text);
    oxdMatrixItem* item = nullptr;
    std::uint32_t used = 0;
    ASSERT_EQ(0u, decode(wire + "more", &item, &used));
    EXPECT_EQ(wire.size(), used);
    std::string encoded;
    EXPECT_EQ(0u, take_block([&](auto... block) { return oxdMatrixEncode(item, block...); }, &encoded));
    EXPECT_EQ(wire, encoded);
    oxdMatrixItemFree(std::exchange(item, nullptr));
    for (std::size_t cut = 0; cut < wire.size(); ++cut) {
      EXPECT_EQ(1u, decode(std::string_view(wire).substr(0, cut), &item, &used)) << "cut at " << cut;
    }
    EXPECT_EQ(nullptr, item);
  }
  for (const char* const bad :
       {"0006 00000000 00000000", "0000 00000000 00000000", "0001 00000000 0002 'ab'", "0001 00000000 0003 'a' 00 00",
        "0001 00000000 0000", "0005 00000001 00000002 00000003 00000004 00000009 00000006 00010002 0002 'x' 00"}) {
    oxdMatrixItem* item = nullptr;
    std::uint32_t used = 0;
    EXPECT_EQ(1u, decode(bytes(bad), &item, &used)) << bad;
  }
}

TEST(MatrixItems, WhatHasNoEncodingIsRefused) {
  const std::string most(65535, 'x');
  char text[65536];
  most.copy(text, most.size());
  text[65535] = '\0';
  const auto result = [&](std::uint32_t kind, std::uint32_t length, void* data) {
    oxdMatrixItem item{};
    item.kind = kind;
    item.length = length;
    item.data = data;
    void* block = nullptr;
    std::uint32_t size = 0;
    const OX_RESULT code = oxdMatrixEncode(&item, &block, &size);
    EXPECT_EQ(code == 0, block != nullptr);
    oxcMemFree(block);
    return code;
  };
  EXPECT_EQ(0u, result(OXD_MATRIX_CELL, 65535, text));
  EXPECT_EQ(1u, result(OXD_MATRIX_CELL, 65536, text));
  EXPECT_EQ(1u, result(OXD_MATRIX_CELL, 1, nullptr));
  EXPECT_EQ(1u, result(OXD_MATRIX_AMIB, 0, text));
  EXPECT_EQ(195u, result(6, 0, text));
}

// Two components, two attributes, one index, two times from number 5 on.
const std::string axes = bytes(
    "0001 00000000 0002 'a' 00 0001 00000001 0002 'b' 00 0002 00000000 0002 '1' 00 0002 00000001 0002 '2' 00"
    "0004 00000000 0002 '0' 00 0003 00000005 00000064 0003 00000006 000000C8");
std::string cell(const char* places, const char* value) {
  return bytes(std::string("0005 ") + places + " 00000001 00000000 00000004 0004 " + value);
}

TEST(Matrices, CellsAreFoundByTheirPlaces) {
  oxdMatrix* const matrix = oxdMatrixAlloc();
  const std::string cells = axes + cell("00000001 00000001 00000000 00000006", "00000007") +
                            cell("00000000 00000001 00000000 00000005", "00000008") +
                            cell("00000000 00000001 00000000 00000005", "00000009") +  // the same place again
                            cell("00000002 00000000 00000000 00000005", "00000001") +  // these have none
                            cell("00000000 00000000 00000000 00000004", "00000001") +
                            cell("00000000 00000000 00000000 00000007", "00000001");
  EXPECT_EQ(0u, oxdMatrixAdd(matrix, cells.data(), static_cast<std::uint32_t>(cells.size())));
  const oxdMatrixItem* found = nullptr;
  EXPECT_EQ(122u, oxdMatrixGetCell(matrix, 0, 1, 0, 0, &found)) << "no table yet";
  EXPECT_EQ(0u, oxdTableSet(matrix, matrix->timeNumber));
  std::string all;
  for (std::uint32_t c = 0; c < 3; ++c) {
    for (std::uint32_t a = 0; a < 3; ++a) {
      for (std::uint32_t t = 0; t < 3; ++t) {
        const char* text = "";
        const OX_RESULT result = oxdMatrixGetCellText(matrix, c, a, 0, t, &text);
        all += result == 0 ? text : result == 122 ? "-" : "!";
      }
    }
  }
  EXPECT_EQ("--!9-!!!!--!-7!!!!!!!!!!!!!", all);
  EXPECT_EQ(0u, oxdMatrixAdd(matrix, axes.data(), 10)) << "a longer axis";
  EXPECT_EQ(122u, oxdMatrixGetCell(matrix, 2, 1, 0, 1, &found)) << "the table has gone";
  EXPECT_EQ(1u, oxdMatrixAdd(matrix, axes.data(), 9));

  std::string shown;
  for (const std::uint32_t kind : {1u, 2u, 4u}) {
    const char* text = "";
    std::uint32_t length = 0;
    EXPECT_EQ(0u, oxdMatrixGetLength(matrix, kind, &length));
    EXPECT_EQ(1u, oxdMatrixGetText(matrix, kind, length, &text));
    EXPECT_EQ(0u, oxdMatrixGetText(matrix, kind, length - 1, &text));
    shown += std::to_string(length) + text + ' ';
  }
  std::uint32_t number = 0;
  EXPECT_EQ(0u, oxdMatrixGetTime(matrix, 1, &number));
  EXPECT_EQ("3a 22 10 200", shown + std::to_string(number));
  EXPECT_EQ(1u, oxdMatrixGetTime(matrix, 2, &number));
  EXPECT_EQ(1u, oxdMatrixGetLength(matrix, 5, &number));
  EXPECT_EQ(0u, oxdMatrixFree(matrix));
}

TEST(Matrices, AllocationsMayFailAndTablesMayBeTooLarge) {
  const std::string wire = axes + axes + axes + axes + axes + cell("00000001 00000001 00000000 00000006", "00000007");
  every_allocation_may_fail([&] {
    oxdMatrix* const matrix = oxdMatrixAlloc();
    if (matrix == nullptr) return OX_RESULT{OX_ENOMEM};
    OX_RESULT result = oxdMatrixAdd(matrix, wire.data(), static_cast<std::uint32_t>(wire.size()));
    if (result == 0) result = oxdTableSet(matrix, 5);
    oxdMatrixFree(matrix);
    return result;
  });
  std::string long_axes;
  for (int i = 0; i < 300; ++i) {
    for (const char* const kind : {"0001", "0002", "0004"}) long_axes += bytes(kind + std::string(" 00000000 0001 00"));
    long_axes += bytes("0003 00000000 00000000");
  }
  oxdMatrix* const matrix = oxdMatrixAlloc();
  EXPECT_EQ(0u, oxdMatrixAdd(matrix, long_axes.data(), static_cast<std::uint32_t>(long_axes.size())));
  EXPECT_EQ(3u, oxdTableSet(matrix, 0));
  oxdMatrixFree(matrix);
}

}  // namespace
}  // namespace ox::test
