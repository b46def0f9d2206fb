#include "manager/frame.h"

#include <gtest/gtest.h>

namespace ox::manager {
namespace {

using namespace std::string_literals;
using Result = FrameReader::Result;

constexpr std::size_t largest = 4096;

std::span<const std::byte> bytes_of(const std::string& text) { return std::as_bytes(std::span(text)); }
std::string text_of(const Bytes& bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

// A get of "a:b", "11.1" for the manager "m1", with data of 9 + 18 bytes.
const std::string request =
    "\0\0\0\x34\0\x0BpipeHeader\0\0\0\0\x1B\0\x02\0\x01\0\x01\0\0\0\0\0\0\0\0\0\x07\0\0\0\x09\0\0\0\x03m1\0\xFF\xFF\xFF"
    "\xFF"
    "pipeData\0\0\x04"
    "a:b\0\0\x05"
    "11.1\0\0\0\0\0\0"s;

TEST(Frame, RequestIsReadByteByByte) {
  FrameReader reader(largest);
  Message message;
  for (std::size_t i = 0; i + 1 < request.size(); ++i) {
    reader.append(bytes_of(request.substr(i, 1)));
    ASSERT_EQ(Result::incomplete, reader.next(message)) << i;
  }
  reader.append(bytes_of(request.substr(request.size() - 1) + request));
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(Result::complete, reader.next(message));
    EXPECT_EQ(1u, message.type);
    EXPECT_EQ(1u, message.command);
    EXPECT_EQ(7u, message.source_id);
    EXPECT_EQ(9u, message.destination_id);
    EXPECT_EQ("m1", message.destination);
    EXPECT_EQ(0xFFFFFFFFu, message.reference);
    PayloadReader payload(message.data);
    EXPECT_EQ("a:b", payload.text());
    EXPECT_EQ("11.1", payload.text());
  }
  EXPECT_EQ(Result::incomplete, reader.next(message));
}

TEST(Frame, RubbishIsRefusedBeforeMoreIsWaitedFor) {
  const auto with = [](std::size_t at, char byte) {
    std::string changed = request;
    changed[at] = byte;
    return changed;
  };
  const struct {
    const char* what;
    std::string bytes;
  } cases[] = {
      {"header shorter than its fixed part", "\0\0\0\x30"s},
      {"header of a gigabyte", "\x40\0\0\0"s},
      {"other marker", with(6, 'P')},
      {"marker of another length", with(5, '\x0A')},
      {"data shorter than its marker", with(20, '\x08')},
      {"data beyond the limit", with(19, '\x11')},
      {"name past the header", with(44, '\x7F')},
      {"name without its end", with(47, 'x')},
      {"other data marker", with(52, 'P')},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    FrameReader reader(largest);
    Message message;
    reader.append(bytes_of(c.bytes));
    EXPECT_EQ(Result::broken, reader.next(message));
    EXPECT_STRNE("", reader.fault());
  }
}

TEST(Frame, GreetingDoesNotCountItselfAndItsAnswerDoes) {
  FrameReader reader(largest);
  std::string name;
  reader.append(bytes_of("\0\x06\0\x04"s));
  EXPECT_EQ(Result::incomplete, reader.next_greeting(name));
  reader.append(bytes_of("ev1\0"s));
  EXPECT_EQ(Result::complete, reader.next_greeting(name));
  EXPECT_EQ("ev1", name);
  EXPECT_EQ("\0\x04\0\x05"s, text_of(greeting_answer(5)));

  for (const std::string& bad : {"\0\x05\0\x04"s, "\0\x02\0\0"s, "\x10\0\x0F\xFE"s,
                                 "\0\x06\0\x04"
                                 "ev12"s}) {
    FrameReader other(largest);
    other.append(bytes_of(bad));
    EXPECT_EQ(Result::broken, other.next_greeting(name));
  }
}

TEST(Frame, ReplyBytes) {
  Message reply;
  reply.type = 2;
  reply.command = 14;
  reply.error = 84;
  reply.source_id = 0x01020304;
  reply.reference = 5;
  reply.data = {std::byte{0xAB}};
  EXPECT_EQ("\0\0\0\x24\0\0\0\x01\0\x02\0\x02\0\x0E\0\x54\0\0\0\0\x01\x02\x03\x04\0\0\0\0\0\0\0\0\0\0\0\x05\xAB"s,
            text_of(encode_reply(reply)));
}

TEST(Frame, PayloadEndsAreKept) {
  const std::string short_text =
      "\0\x09"
      "abc\0"s;
  PayloadReader truncated(bytes_of(short_text));
  EXPECT_EQ("", truncated.text());
  EXPECT_EQ(71u, truncated.error());
  EXPECT_EQ(0u, truncated.u32());

  const std::string open_text =
      "\0\x03"
      "abc"s;
  PayloadReader open(bytes_of(open_text));
  EXPECT_EQ("", open.text());
  EXPECT_EQ(70u, open.error());
}

}  // namespace
}  // namespace ox::manager
