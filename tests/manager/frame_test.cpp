#include "manager/sessions/frame.h"

#include <gtest/gtest.h>

#include "tests/support/byte_text.h"

namespace ox::manager {
namespace {

using test::bytes;
using Result = FrameReader::Result;

std::span<const std::byte> bytes_of(const std::string& text) { return std::as_bytes(std::span(text)); }
std::string text_of(const Bytes& bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

// A get of "a:b", "11.1" for the manager "m1", with data of 9 + 18 bytes.
const std::string request = bytes(
    "00000034 000B 'pipeHeader' 00 0000001B 0002 0001 0001 0000 00000000 00000007 00000009 0000 0003 'm1' 00 FFFFFFFF"
    "'pipeData' 00 0004 'a:b' 00 0005 '11.1' 00 00000000 00");

TEST(Frame, RubbishIsRefusedBeforeMoreIsWaitedFor) {
  const auto with = [](std::size_t at, char byte) { return std::string(request).replace(at, 1, 1, byte); };
  const struct {
    const char* what;
    std::string bytes;
  } cases[] = {
      {"header shorter than its fixed part", bytes("00000030")},
      {"header of a gigabyte", bytes("40000000")},
      {"other marker", with(6, 'P')},
      {"marker of another length", with(5, '\x0A')},
      {"data shorter than its marker", with(20, '\x08')},
      {"name past the header", with(44, '\x7F')},
      {"name without its end", with(47, 'x')},
      {"other data marker", with(52, 'P')},
  };
  for (const auto& c : cases) {
    FrameReader reader(4096);
    Message message;
    reader.append(bytes_of(c.bytes));
    EXPECT_EQ(Result::broken, reader.next(message)) << c.what;
  }
}

// Whatever the cuts, a request is read whole, and a message over the limit costs no memory.
TEST(Frame, RequestsAreReadAndDataOverTheLimitArePassedOver) {
  std::string longer = request;
  longer.replace(17, 4, bytes("00001001"));
  longer += std::string(4097 - 27, 'x');
  for (const std::size_t step : {1u, 7u, 1000u, 10000u}) {
    FrameReader reader(4096);
    Message message;
    std::string seen;
    const std::string stream = longer + request + longer;
    for (std::size_t at = 0; at < stream.size(); at += step) {
      reader.append(bytes_of(stream.substr(at, step)));
      while (reader.next(message) == Result::complete) {
        seen += std::to_string(message.refusal) + ' ' + std::to_string(message.data.size()) + ' ';
        EXPECT_EQ("m1", message.destination);
        EXPECT_EQ(
            (std::vector{1u, 1u, 7u, 9u, 0xFFFFFFFFu}),
            (std::vector{message.type, message.command, message.source_id, message.destination_id, message.reference}));
        if (message.refusal != 0) continue;
        PayloadReader payload(message.data);
        EXPECT_EQ("a:b", payload.text());
        EXPECT_EQ("11.1", payload.text());
      }
    }
    EXPECT_EQ("266 0 0 18 266 0 ", seen) << step;
    EXPECT_FALSE(reader.in_message());
  }
}

// A budget is of what the process has, room to grow included.
TEST(Frame, HalfAMessageHoldsNoMoreThanAllOfIt) {
  constexpr std::size_t size = 100'000;
  FrameReader reader(2 * size);
  Message message;
  const std::string longer = std::string(request).replace(17, 4, bytes("000186A9")) + std::string(size, 'x');
  for (std::size_t at = 0; at < 80'000; at += 100) {
    reader.append(bytes_of(longer.substr(at, 100)));
    EXPECT_EQ(Result::incomplete, reader.next(message));
  }
  EXPECT_LE(90'000u, reader.held());
  EXPECT_GE(size, reader.held());
  reader.pass_over(85);
  EXPECT_GE(1000u, reader.held());
}

TEST(Frame, GreetingDoesNotCountItself) {
  const auto read = [](const char* greeting) {
    FrameReader reader(4096);
    std::string name;
    reader.append(bytes_of(bytes(greeting)));
    const Result result = reader.next_greeting(name);
    EXPECT_TRUE(result != Result::complete || (name == "ev1" && !reader.in_message())) << name;
    return result;
  };
  EXPECT_EQ(Result::incomplete, read("0006 0004"));
  EXPECT_EQ(Result::complete, read("0006 0004 'ev1' 00"));
  for (const char* bad : {"0005 0004", "0002 0000", "1000 0FFE", "0006 0004 'ev12'"}) {
    EXPECT_EQ(Result::broken, read(bad)) << bad;
  }
}

TEST(Frame, ReplyBytes) {
  EXPECT_EQ(bytes("0004 0005"), text_of(greeting_refusal(5)));
  EXPECT_EQ(bytes("0013 0000 0009 'MaxFrame' 00 00100000"), text_of(greeting_answer(1u << 20)));
  Message reply{.type = 2, .command = 14, .error = 84, .source_id = 0x01020304, .destination_id = 6, .reference = 5};
  reply.data = {std::byte{0xAB}};
  EXPECT_EQ(bytes("00000024 00000001 0002 0002 000E 0054 00000000 01020304 00000006 0000 0000 00000005 AB"),
            text_of(encode_reply(reply)));
}

}  // namespace
}  // namespace ox::manager
