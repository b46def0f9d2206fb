// The two wire forms: what is laid out for the manager, and what is made of what the manager sends.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include <oxbase/oxc.h>

#include "access/transport.h"
#include "tests/support/byte_text.h"
#include "tests/support/fault_heap.h"

namespace ox::test {
namespace {

std::string text_of(std::span<const unsigned char> bytes) { return {bytes.begin(), bytes.end()}; }

TEST(Frame, HeaderBytesAndNames) {
  const struct {
    const char* what;
    RequestHeader header;
    const char* wire;
  } cases[] = {
      {"no name, no data",
       {.command = 1},
       "00000031 000B 'pipeHeader' 00 00000000 0002 0001 0001 0000 0000 0000 00000000 00000000 0000 0000 00000000"},
      {"a name of three characters gives 53 bytes",
       {.type = 4, .command = 14, .manager = "abc", .destination_id = 0x01020304},
       "00000035 000B 'pipeHeader' 00 00000000 0002 0004 000E 0000 0000 0000 00000000 01020304 0000 0004 'abc' 00 "
       "00000000"},
      {"an empty name is not no name",
       {.command = 7, .manager = "", .error = 0xFFFF, .source_id = 0xFFFFFFFE},
       "00000032 000B 'pipeHeader' 00 00000000 0002 0001 0007 FFFF 0000 0000 FFFFFFFE 00000000 0000 0001 00 00000000"},
      {"the fetch of a report",
       {.type = 5, .reference = 0xFFFFFFFF},
       "00000031 000B 'pipeHeader' 00 00000000 0002 0005 0000 0000 0000 0000 00000000 00000000 0000 0000 FFFFFFFF"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Frame frame;
    ASSERT_EQ(0u, frame.lay_out(c.header, {}));
    EXPECT_EQ(bytes(c.wire), text_of(frame.all()));
    EXPECT_TRUE(frame.data_part().empty());
  }
}

TEST(Frame, LengthsAreKeptOrRefused) {
  const std::string longest(65534, 'm');
  const std::string too_long(65535, 'm');
  const auto live = oxcGetMemValue(1);
  {
    Frame frame;
    ASSERT_EQ(0u, frame.lay_out({.manager = longest.c_str()},
                                {PayloadPart::text(longest.c_str()), PayloadPart::text(nullptr)}));
    EXPECT_EQ(bytes("00010030"), text_of(frame.header().first(4)));  // the terminator counts
    EXPECT_EQ(bytes("0001000C"), text_of(frame.header().subspan(17, 4)));
    EXPECT_EQ(bytes("'pipeData' 00 FFFF 'mm'"), text_of(frame.data_part().first(13)));
    EXPECT_EQ(bytes("'m' 00 0000"), text_of(frame.data_part().last(4)));
    EXPECT_EQ(266u, frame.lay_out({.manager = too_long.c_str()}, {}));
    EXPECT_EQ(266u, frame.lay_out({}, {PayloadPart::text(too_long.c_str())}));
    EXPECT_EQ(266u, frame.lay_out({}, {PayloadPart::bytes_after_half(too_long.c_str(), 65536)}));
  }
  EXPECT_EQ(live, oxcGetMemValue(1));
}

// A stream of given bytes, handed out at most `step` bytes a read, that ends after them.
class Stream final : public ByteSource {
 public:
  explicit Stream(std::string content, std::size_t step = SIZE_MAX) : content_(std::move(content)), step_(step) {}
  platform::Error read_some(std::span<std::byte> into, std::size_t& got) noexcept override {
    ++reads;
    EXPECT_LE(into.size(), 4096u);
    got = std::min({into.size(), step_, content_.size() - at_});
    std::memcpy(into.data(), content_.data() + at_, got);
    at_ += got;
    return got != 0 ? platform::error_none : platform::error_broken_pipe;
  }
  int reads = 0;

 private:
  std::string content_;
  std::size_t step_;
  std::size_t at_ = 0;
};

const std::string both_names =
    bytes("0000002B 00000003 0002 0001 0004 0079 0005 0006 01020304 A0B0C0D0 0004 'src' 00 0003 'mgr' 00000007 'xyz'");
const std::string plain = bytes("00000024 00000000 0002 0006 0000 0000 0000 0000 00000000 00000000 0000 0000 FFFFFFFF");

void expect_both_names(const Message& m) {
  EXPECT_EQ(43u, m.header_length);
  EXPECT_EQ(2u, m.version);
  EXPECT_EQ(1u, m.type);
  EXPECT_EQ(4u, m.command);
  EXPECT_EQ(121u, m.error);
  EXPECT_EQ(5u, m.reserved1);
  EXPECT_EQ(6u, m.reserved2);
  EXPECT_EQ(0x01020304u, m.source_id);
  EXPECT_EQ(0xA0B0C0D0u, m.destination_id);
  EXPECT_STREQ("src", m.source_name);
  EXPECT_STREQ("mgr", m.destination_name);  // the sender did not count a terminator
  EXPECT_EQ(7u, m.reference);
  ASSERT_EQ(3u, m.data_length);
  EXPECT_EQ("xyz", std::string(reinterpret_cast<const char*>(m.data), 3));
}

TEST(MessageReader, FieldsArriveHoweverTheStreamIsCut) {
  const auto live = oxcGetMemValue(1);
  for (const std::size_t step : {std::size_t{1}, std::size_t{7}, std::size_t{43}, SIZE_MAX}) {
    SCOPED_TRACE(step);
    Stream stream(both_names + plain + both_names, step);
    MessageReader reader(stream);
    MessagePtr message;
    ASSERT_EQ(0u, reader.receive(message));
    expect_both_names(*message);
    ASSERT_EQ(0u, reader.receive(message));
    EXPECT_EQ(6u, message->type);
    EXPECT_EQ(nullptr, message->source_name);
    EXPECT_EQ(nullptr, message->destination_name);
    EXPECT_EQ(nullptr, message->data);
    EXPECT_EQ(0xFFFFFFFFu, message->reference);
    ASSERT_EQ(0u, reader.receive(message));
    expect_both_names(*message);
    if (step == SIZE_MAX) {
      EXPECT_EQ(1, stream.reads);
    }
  }
  EXPECT_EQ(live, oxcGetMemValue(1));
}

TEST(MessageReader, EveryCutIsALostConnection) {
  const auto live = oxcGetMemValue(1);
  for (std::size_t cut = 0; cut < both_names.size(); ++cut) {
    Stream stream(both_names.substr(0, cut));
    MessageReader reader(stream);
    MessagePtr message;
    EXPECT_EQ(17u, reader.receive(message)) << "cut at " << cut;
    EXPECT_EQ(nullptr, message);
    EXPECT_FALSE(reader.in_step());
  }
  EXPECT_EQ(live, oxcGetMemValue(1));
}

TEST(MessageReader, LengthsThatContradictEachOther) {
  const std::string fixed = " 00000000 0002 0001 0001 0000 0000 0000 00000000 00000000 ";
  const struct {
    const char* what;
    std::string wire;
    OX_RESULT result;
  } cases[] = {
      {"header length 0", "00000000" + fixed + "0000 0000 00000000", 71},
      {"header length one short of the least", "00000023" + fixed + "0000 0000 00000000", 71},
      {"header length over the most", "00020023" + fixed + "0000 0000 00000000", 71},
      {"header length with the sign bit", "80000024" + fixed + "0000 0000 00000000", 71},
      {"source name past the header", "00000024" + fixed + "0005 0000 00000000 'abcde'", 71},
      {"destination name past the header", "00000026" + fixed + "0000 0003 'ab' 00000000 'abcde'", 71},
      {"names leave no room for the reference", "00000026" + fixed + "0000 0006 'abcdef' 00000000", 71},
      {"data longer than any block",
       "00000024 FFFFFFFF 0002 0001 0001 0000 0000 0000 00000000 00000000 00000000 00000000", 3},
      {"data long, then nothing", "00000024 7FFFFFFF 0002 0001 0001 0000 0000 0000 00000000 00000000 00000000 00000000",
       17},
      {"bytes behind the reference are left alone", "00000026" + fixed + "0000 0000 00000000 FFFF", 0},
  };
  const auto live = oxcGetMemValue(1);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Stream stream(bytes(c.wire));
    MessageReader reader(stream);
    MessagePtr message;
    EXPECT_EQ(c.result, reader.receive(message));
    EXPECT_EQ(c.result == 0, reader.in_step());
    EXPECT_EQ(c.result == 0, message != nullptr);
  }
  EXPECT_EQ(live, oxcGetMemValue(1));
}

// Data around the buffer's size and around the block that long data begin with, and a header longer than the buffer.
TEST(MessageReader, LongMessages) {
  for (const std::size_t size : {4059u, 4060u, 4061u, 8192u, 1048576u, 1048577u, 3000001u}) {
    SCOPED_TRACE(size);
    const std::string name(size < 8192 ? 10 : 5000, 'n');
    std::string data(size, '\0');
    for (std::size_t i = 0; i < size; ++i) data[i] = static_cast<char>(i * 2654435761u >> 13);
    const auto number = [](std::size_t value, int width) {
      std::string result;
      while (width-- > 0) result += static_cast<char>(value >> (8 * width));
      return result;
    };
    Stream stream(number(36 + name.size(), 4) + number(size, 4) +
                  bytes("0002 0001 0001 0000 0000 0000 00000000 00000000 0000") + number(name.size(), 2) + name +
                  bytes("00000000") + data + plain);
    MessageReader reader(stream);
    MessagePtr message;
    ASSERT_EQ(0u, reader.receive(message));
    EXPECT_EQ(name, message->destination_name);
    ASSERT_EQ(size, message->data_length);
    EXPECT_EQ(0, std::memcmp(data.data(), message->data, size));
    ASSERT_EQ(0u, reader.receive(message));
    EXPECT_EQ(6u, message->type);
  }
}

TEST(MessageReader, MemoryShortagePassesTheMessageOver) {
  const auto live = oxcGetMemValue(1);
  for (int n = 1;; ++n) {
    Stream stream(both_names + plain);
    MessageReader reader(stream);
    MessagePtr message;
    fail_allocation(n);
    const OX_RESULT result = reader.receive(message);
    if (!stop_failing()) break;
    EXPECT_EQ(3u, result) << "allocation " << n;
    EXPECT_EQ(live, oxcGetMemValue(1));
    ASSERT_TRUE(reader.in_step());
    ASSERT_EQ(0u, reader.receive(message));
    EXPECT_EQ(6u, message->type);
  }
}

}  // namespace
}  // namespace ox::test
