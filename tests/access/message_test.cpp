// What is made of the messages that the manager sends.
#include <algorithm>
#include <cstring>
#include <sstream>

#include "access/transport.h"
#include "tests/support/blocks.h"
#include "tests/support/byte_text.h"
#include "tests/support/scripted_peer.h"
#include "tests/support/test.h"

namespace ox::test {
namespace {

std::string text_of(std::span<const unsigned char> bytes) { return {bytes.begin(), bytes.end()}; }

class MessageTest : public testing::Test {
  const SameBlocks same_blocks_;
};

// A stream of given bytes, handed out at most `step` bytes a read, that ends after them.
struct Stream final : ByteSource {
  explicit Stream(std::string content_, std::size_t step_ = SIZE_MAX) : content(std::move(content_)), step(step_) {}
  platform::Error read_some(std::span<std::byte> into, std::size_t& got) noexcept override {
    ++reads;
    EXPECT_LE(into.size(), 4096u);
    got = content.copy(reinterpret_cast<char*>(into.data()), std::min(into.size(), step), at);
    at += got;
    return got != 0 ? platform::error_none : platform::error_broken_pipe;
  }
  const std::string content;
  const std::size_t step;
  std::size_t at = 0;
  int reads = 0;
};

// All fields in wire order; "-" for what is null.
std::string shown(const Message& m) {
  std::ostringstream out;
  out << m.header_length << ' ' << m.data_length << ' ' << m.version << ' ' << m.type << ' ' << m.command << ' '
      << m.error << ' ' << m.reserved1 << ' ' << m.reserved2 << std::hex << ' ' << m.source_id << ' '
      << m.destination_id << ' ' << (m.source_name != nullptr ? m.source_name : "-") << ' '
      << (m.destination_name != nullptr ? m.destination_name : "-") << ' ' << m.reference << ' '
      << (m.data != nullptr ? text_of({m.data, m.data_length}) : "-");
  return out.str();
}

const std::string both_names =  // the sender did not count a terminator of the second
    bytes("0000002B 00000003 0002 0001 0004 0079 0005 0006 01020304 A0B0C0D0 0004 'src' 00 0003 'mgr' 00000007 'xyz'");
const std::string both_names_shown = "43 3 2 1 4 121 5 6 1020304 a0b0c0d0 src mgr 7 xyz";
const std::string plain = bytes("00000024 00000000 0002 0006 0000 0000 0000 0000 00000000 00000000 0000 0000 FFFFFFFF");
const std::string plain_shown = "36 0 2 6 0 0 0 0 0 0 - - ffffffff -";

// The result of the next message, or the message.
std::string next(MessageReader& reader) {
  MessagePtr message;
  const OX_RESULT result = reader.receive(message);
  EXPECT_EQ(result == 0, message != nullptr);
  return result == 0 ? shown(*message) : std::to_string(result);
}

TEST_F(MessageTest, FieldsArriveHoweverTheStreamIsCut) {
  for (const std::size_t step : {std::size_t{1}, std::size_t{7}, std::size_t{43}, SIZE_MAX}) {
    SCOPED_TRACE(step);
    Stream stream(both_names + plain + both_names, step);
    MessageReader reader(stream);
    for (const std::string& expected : {both_names_shown, plain_shown, both_names_shown}) {
      EXPECT_EQ(expected, next(reader));
    }
    EXPECT_TRUE(step != SIZE_MAX || stream.reads == 1) << stream.reads;
  }
  for (std::size_t cut = 0; cut < both_names.size(); ++cut) {
    Stream stream(both_names.substr(0, cut));
    MessageReader reader(stream);
    EXPECT_EQ("17", next(reader)) << "cut at " << cut;
    EXPECT_FALSE(reader.in_step());
  }
}

TEST_F(MessageTest, LengthsThatContradictEachOther) {
  const std::string fixed = " 0002 0001 0001 0000 0000 0000 00000000 00000000 ";
  const std::tuple<const char*, std::string, const char*> cases[] = {
      {"header length 0", "00000000 00000000" + fixed + "0000 0000 00000000", "71"},
      {"header length one short of the least", "00000023 00000000" + fixed + "0000 0000 00000000", "71"},
      {"header length over the most", "00020023 00000000" + fixed + "0000 0000 00000000", "71"},
      {"header length with the sign bit", "80000024 00000000" + fixed + "0000 0000 00000000", "71"},
      {"source name past the header", "00000024 00000000" + fixed + "0005 0000 00000000 'abcde'", "71"},
      {"destination name past the header", "00000026 00000000" + fixed + "0000 0003 'ab' 00000000 'abcde'", "71"},
      {"names leave no room for the reference", "00000026 00000000" + fixed + "0000 0006 'abcdef' 00000000", "71"},
      {"data longer than any block", "00000024 FFFFFFFF" + fixed + "0000 0000 00000000", "3"},
      {"data long, then nothing", "00000024 7FFFFFFF" + fixed + "0000 0000 00000000", "17"},
      {"bytes behind the reference are left alone", "00000026 00000000" + fixed + "0000 0000 00000000 FFFF",
       "38 0 2 1 1 0 0 0 0 0 - - 0 -"}};
  for (const auto& [what, wire, message] : cases) {
    SCOPED_TRACE(what);
    Stream stream(bytes(wire));
    MessageReader reader(stream);
    EXPECT_EQ(message, next(reader));
    EXPECT_EQ(std::strlen(message) > 2, reader.in_step());
  }
}

// Data around the buffer's size and around the block that long data begin with, and a header longer than the buffer.
TEST_F(MessageTest, LongMessages) {
  for (const std::size_t size : {4059u, 4060u, 4061u, 8192u, 1048576u, 1048577u, 3000001u}) {
    SCOPED_TRACE(size);
    const std::string name(size < 8192 ? 10 : 5000, 'n');
    std::string data(size, '\0');
    for (std::size_t i = 0; i < size; ++i) data[i] = static_cast<char>(i * 2654435761u >> 13);
    Stream stream(reply_bytes({.data = data, .destination_name = name}) + plain);
    MessageReader reader(stream);
    MessagePtr message;
    ASSERT_EQ(0u, reader.receive(message));
    EXPECT_EQ(name, message->destination_name);
    EXPECT_TRUE(data == text_of({message->data, message->data_length}));
    EXPECT_EQ(plain_shown, next(reader));
  }
}

}  // namespace
}  // namespace ox::test
