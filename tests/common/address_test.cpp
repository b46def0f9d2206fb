#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>

#include <oxbase/oxc.h>

#include "common/addresses.h"

namespace {

TEST(Ipv4, DottedQuads) {
  uint32_t address = 0;
  ASSERT_EQ(0u, oxcStrToIpAddr("192.0.2.1", &address));
  EXPECT_EQ(0, std::memcmp(&address, "\xC0\x00\x02\x01", 4));
  EXPECT_STREQ("192.0.2.1", oxcIpAddrToStr(address));
  for (const char* bad : {"", "1.2.3", "1.2.3.4.5", "1.2.3.256", "1.2.3.04", "1.2.3.", ".1.2.3", "1..2.3", " 1.2.3.4",
                          "1.2.3.4 ", "1.2.3.+4", "1.2.3.0x4", "1.2.3.1000"}) {
    EXPECT_EQ(70u, oxcStrToIpAddr(bad, &address)) << bad;
  }
  EXPECT_STREQ("192.0.2.1", oxcIpAddrToStr(address));
}

TEST(Ipx, NetworkAndNode) {
  unsigned char address[10];
  ASSERT_EQ(0u, oxcStrToIpxAddr("0000ABcd:0080c7123456", address));
  EXPECT_EQ(0, std::memcmp(address, "\x00\x00\xAB\xCD\x00\x80\xC7\x12\x34\x56", 10));
  EXPECT_STREQ("0000abcd.0080c7123456", oxcIpxAddrToStr(address));
  EXPECT_STREQ("00000000.000000000000", oxcIpxAddrToStr("\0\0\0\0\0\0\0\0\0"));
  for (const char* bad : {"", "0000abcd", "0000abcd.", "0000abcd.0080c712345", "0000abcd.0080c71234567",
                          "0000abcd-0080c7123456", "000abcd.0080c7123456", "0000abcg.0080c7123456"}) {
    EXPECT_EQ(70u, oxcStrToIpxAddr(bad, address)) << bad;
  }
  EXPECT_STREQ("0000abcd.0080c7123456", oxcIpxAddrToStr(address));
}

TEST(Ipv6, TextsAndTheirShortestForm) {
  const struct {
    const char* text;
    const char* printed;
  } good[] = {
      {"::1", "::1"},
      {"2001:DB8:0:0:1:0:0:1", "2001:db8::1:0:0:1"},     // the first of two equal runs
      {"2001:0:0:1:0:0:0:1", "2001:0:0:1::1"},           // the longest run
      {"2001:db8:0:1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},  // one group is no run
      {"2001:db8::1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},
      {"::ffff:c000:280", "::ffff:192.0.2.128"},
      {"::192.0.2.128", "::192.0.2.128"},
      {"0:0:0:0:0:0:13.1.68.3", "::13.1.68.3"},
      {"64:ff9b::192.0.2.33", "64:ff9b::c000:221"},
      {"1:2:3:4:5:6:1.2.3.4", "1:2:3:4:5:6:102:304"},
      {"ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
  };
  unsigned char address[16];
  for (const auto& row : good) {
    ASSERT_EQ(0u, oxcStrToIpv6Addr(row.text, address)) << row.text;
    EXPECT_STREQ(row.printed, oxcIpv6AddrToStr(address)) << row.text;
    ASSERT_EQ(0u, oxcStrToIpv6Addr(row.printed, address)) << row.printed;
    EXPECT_STREQ(row.printed, oxcIpv6AddrToStr(address));
  }
  const std::string before = oxcIpv6AddrToStr(address);
  for (const char* bad : {"",
                          ":",
                          ":::",
                          "1",
                          "1:2:3:4:5:6:7",
                          "1:2:3:4:5:6:7:8:9",
                          "1::2::3",
                          "1:2:3:4:5:6:7::8",
                          ":1::2",
                          "1::2:",
                          "12345::",
                          "g::",
                          "::1.2.3",
                          "1.2.3.4",
                          "::1.2.3.4:5",
                          "1.2.3.4::",
                          "1:2:3:4:5:6:7:1.2.3.4",
                          "fe80::1%eth0",
                          "::1 ",
                          "::1/64"}) {
    EXPECT_EQ(70u, oxcStrToIpv6Addr(bad, address)) << bad;
  }
  EXPECT_EQ(before, oxcIpv6AddrToStr(address));
  EXPECT_EQ(nullptr, oxcIpv6AddrToStr(nullptr));
}

TEST(Ipv6, PrefixesAndInterfaceIdentifiers) {
  std::array<unsigned char, 17> prefix{};
  char prefix_text[50];
  EXPECT_EQ(0u, ox::parse_ipv6_prefix("2001:db8::/32", prefix));
  EXPECT_EQ(32, prefix[16]);
  EXPECT_STREQ("2001:db8::/32", ox::print_ipv6_prefix(prefix, prefix_text));
  EXPECT_EQ(0u, ox::parse_ipv6_prefix("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff/128", prefix));
  EXPECT_STREQ("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff/128", ox::print_ipv6_prefix(prefix, prefix_text));
  for (const char* bad : {"", "::", "::/", "/64", "::/129", "::/-1", "::/064", "::/64/1", "g::/64"}) {
    EXPECT_EQ(412u, ox::parse_ipv6_prefix(bad, prefix)) << bad;
  }

  std::array<unsigned char, 8> interface_id{};
  char interface_text[20];
  EXPECT_EQ(0u, ox::parse_ipv6_interface("260:97FF:5:0", interface_id));
  EXPECT_STREQ("260:97ff:005:000", ox::print_ipv6_interface(interface_id, interface_text));
  EXPECT_EQ(0u, ox::parse_ipv6_interface("260:97ff:005:000", interface_id));
  for (const char* bad : {"", "1:2:3", "1:2:3:4:5", "1::4", "1:2:3:", "1:2:3:10000", "1:2:1.2.3.4"}) {
    EXPECT_EQ(70u, ox::parse_ipv6_interface(bad, interface_id)) << bad;
  }
}

}  // namespace
