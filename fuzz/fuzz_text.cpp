// Conversions of numbers, times and addresses: what is accepted prints as a text that reads back the same.
#include <array>
#include <cstring>

#include "common/addresses.h"
#include "fuzz/target.h"

namespace {

using ox::fuzz::expect;

// Reads the text; when it is accepted, prints the value, and reads and prints that once more. Texts are compared, not
// values: at the end of summer time two times have one text.
template <class Value, class Parse, class Print>
void there_and_back(const std::string& text, Parse parse, Print print) {
  Value value{};
  if (parse(text.c_str(), &value) != OX_OK) return;
  const char* printed = print(value);
  if (printed == nullptr) std::abort();
  const std::string first = printed;
  expect(parse(first.c_str(), &value) == OX_OK && print(value) == first);
}

using Ipx = std::array<unsigned char, 10>;
using Ipv6 = std::array<unsigned char, 16>;
using Prefix = std::array<unsigned char, 17>;
using InterfaceId = std::array<unsigned char, 8>;

void numbers(const std::string& text, std::uint32_t base) {
  std::int32_t number = 0;
  std::uint32_t unsigned_number = 0;
  std::uint64_t long_number = 0;
  (void)oxcStrToLong(text.c_str(), base, &number);
  if (oxcStrToUlong(text.c_str(), base, &unsigned_number) == OX_OK) {
    expect(oxcStrToUlonglong(text.c_str(), base, &long_number) == OX_OK && long_number == unsigned_number);
  }
}

void addresses(const std::string& text) {
  there_and_back<std::uint32_t>(text, oxcStrToIpAddr, oxcIpAddrToStr);
  there_and_back<Ipx>(
      text, [](const char* t, Ipx* v) { return oxcStrToIpxAddr(t, v->data()); },
      [](const Ipx& v) { return oxcIpxAddrToStr(v.data()); });
  there_and_back<Ipv6>(
      text, [](const char* t, Ipv6* v) { return oxcStrToIpv6Addr(t, v->data()); },
      [](const Ipv6& v) { return oxcIpv6AddrToStr(v.data()); });
  char room[50];
  there_and_back<Prefix>(
      text, [](const char* t, Prefix* v) { return ox::parse_ipv6_prefix(t, *v); },
      [&](const Prefix& v) { return ox::print_ipv6_prefix(v, room); });
  char interface_room[20];
  there_and_back<InterfaceId>(
      text, [](const char* t, InterfaceId* v) { return ox::parse_ipv6_interface(t, *v); },
      [&](const InterfaceId& v) { return ox::print_ipv6_interface(v, interface_room); });
}

}  // namespace

void ox::fuzz::run(std::string_view input) {
  if (input.empty()) return;
  const std::string text(input.substr(1));
  numbers(text, static_cast<unsigned char>(input.front()) % 40);
  there_and_back<std::uint32_t>(text, oxcStrToTticks, oxcTticksToStr);
  there_and_back<std::uint32_t>(text, oxcStrToUxTime, oxcUxTimeToStr);
  addresses(text);
  if (input.size() < 16) return;
  char room[46];
  Ipv6 address{}, again{};
  std::memcpy(address.data(), input.data(), address.size());
  expect(ox::parse_ipv6(ox::print_ipv6(address, room), again) == OX_OK && again == address);
}
