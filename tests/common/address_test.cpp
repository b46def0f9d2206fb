#include <cstring>

#include <oxbase/oxc.h>

#include "tests/support/test.h"
#include "tests/support/texts.h"

namespace {

// Expects every one of the texts, with bars between them, to be refused.
template <class Parse, class Address>
void refuses(Parse parse, Address* address, const char* texts) {
  for (const std::string& text : ox::test::split(texts)) EXPECT_EQ(70u, parse(text.c_str(), address)) << text;
}

TEST(Ipv4, DottedQuads) {
  uint32_t address = 0;
  ASSERT_EQ(0u, oxcStrToIpAddr("192.0.2.1", &address));
  EXPECT_EQ(0, std::memcmp(&address, "\xC0\x00\x02\x01", 4));
  refuses(oxcStrToIpAddr, &address,
          "|1.2.3|1.2.3.4.5|1.2.3.256|1.2.3.04|1.2.3.|.1.2.3|1..2.3| 1.2.3.4|1.2.3.4 |1.2.3.+4|1.2.3.0x4|1.2.3.1000");
  EXPECT_STREQ("192.0.2.1", oxcIpAddrToStr(address));
}

TEST(Ipx, NetworkAndNode) {
  unsigned char address[10];
  ASSERT_EQ(0u, oxcStrToIpxAddr("0000ABcd:0080c7123456", address));
  EXPECT_EQ(0, std::memcmp(address, "\x00\x00\xAB\xCD\x00\x80\xC7\x12\x34\x56", 10));
  EXPECT_STREQ("00000000.000000000000", oxcIpxAddrToStr("\0\0\0\0\0\0\0\0\0"));
  refuses(oxcStrToIpxAddr, address,
          "|0000abcd|0000abcd.|0000abcd.0080c712345|0000abcd.0080c71234567|0000abcd-0080c7123456|"
          "000abcd.0080c7123456|0000abcg.0080c7123456");
  EXPECT_STREQ("0000abcd.0080c7123456", oxcIpxAddrToStr(address));
}

TEST(Ipv6, TextsAndTheirShortestForm) {
  const std::pair<const char*, const char*> good[] = {
      {"::1", "::1"},
      {"2001:DB8:0:0:1:0:0:1", "2001:db8::1:0:0:1"},    // the first of two equal runs
      {"2001:0:0:1:0:0:0:1", "2001:0:0:1::1"},          // the longest run
      {"2001:db8::1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},  // one group is no run
      {"::ffff:c000:280", "::ffff:192.0.2.128"},
      {"0:0:0:0:0:0:13.1.68.3", "::13.1.68.3"},
      {"64:ff9b::192.0.2.33", "64:ff9b::c000:221"},
      {"1:2:3:4:5:6:1.2.3.4", "1:2:3:4:5:6:102:304"},
      {"ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"}};
  unsigned char address[16];
  for (const auto& [text, printed] : good) {
    for (const char* form : {text, printed}) {
      ASSERT_EQ(0u, oxcStrToIpv6Addr(form, address)) << form;
      EXPECT_STREQ(printed, oxcIpv6AddrToStr(address)) << form;
    }
  }
  const std::string before = oxcIpv6AddrToStr(address);
  refuses(oxcStrToIpv6Addr, address,
          "|:|:::|1|1:2:3:4:5:6:7|1:2:3:4:5:6:7:8:9|1::2::3|1:2:3:4:5:6:7::8|:1::2|1::2:|12345::|g::|::1.2.3|1.2.3.4|"
          "::1.2.3.4:5|1.2.3.4::|1:2:3:4:5:6:7:1.2.3.4|fe80::1%eth0|::1 |::1/64");
  EXPECT_EQ(before, oxcIpv6AddrToStr(address));
}

}  // namespace
