#include "manager/traps/sources.h"

#include <algorithm>
#include <charconv>

#include <oxbase/oxc.h>

#include "manager/base/entry_file.h"
#include "manager/base/paths.h"

namespace ox::manager {
namespace {

constexpr unsigned mapped_bits = 96;  // in front of an address of version 4

asio::ip::address_v6::bytes_type bytes_of(const asio::ip::address& address) {
  if (address.is_v4()) return asio::ip::make_address_v6(asio::ip::v4_mapped, address.to_v4()).to_bytes();
  return address.to_v6().to_bytes();
}

}  // namespace

std::string trap_sources_file() { return join(oxcGetWorkdir(), "conf", "traps.cf"); }

bool TrapSources::Network::holds(const asio::ip::address_v6::bytes_type& address) const {
  const unsigned whole = bits / 8;
  if (!std::equal(bytes.begin(), bytes.begin() + whole, address.begin())) return false;
  const unsigned rest = bits % 8;
  return rest == 0 || ((bytes[whole] ^ address[whole]) >> (8 - rest)) == 0;
}

bool TrapSources::parse(const std::string& text, Network& network) {
  if (text == "*") return true;
  const std::size_t slash = text.find('/');
  asio::error_code error;
  const auto address = asio::ip::make_address(text.substr(0, slash), error);
  if (error) return false;
  const unsigned most = address.is_v4() ? 32 : 128;
  unsigned bits = most;
  if (slash != text.npos) {
    const char* const end = text.data() + text.size();
    const auto [next, fault] = std::from_chars(text.data() + slash + 1, end, bits);
    if (fault != std::errc{} || next != end || bits > most) return false;
  }
  network = {bytes_of(address), address.is_v4() ? mapped_bits + bits : bits};
  return true;
}

std::string TrapSources::take(const Entry& entry) {
  const std::string keyword = entry.keyword();
  const bool proxy = keyword == "Proxy";
  if (!proxy && keyword != "Take") return "unknown keyword " + keyword + ": Take or Proxy";
  if (!proxy) all_ = false;
  if (entry.count() < 1 || entry.count() > (proxy ? 1u : 2u))
    return keyword + " needs a network" + (proxy ? "" : ", and may have a community");
  Network network;
  if (!parse(entry.value(0), network))
    return std::string(entry.value(0)) + " must be an IP address, ADDRESS/BITS or \"*\"";
  if (proxy) {
    proxies_.push_back(network);
  } else {
    taken_.push_back({network, entry.count() == 2 ? std::optional<std::string>(entry.value(1)) : std::nullopt});
  }
  return {};
}

bool TrapSources::read(const std::string& file, const FaultSink& faults) {
  return read_entries(file, faults, [this](const Entry& entry) { return take(entry); });
}

bool TrapSources::takes(const asio::ip::address& sender, std::string_view community) const {
  if (all_) return true;
  const auto bytes = bytes_of(sender);
  return std::any_of(taken_.begin(), taken_.end(), [&](const Taken& one) {
    return one.network.holds(bytes) && (!one.community || *one.community == community);
  });
}

bool TrapSources::is_proxy(const asio::ip::address& sender) const {
  if (proxies_.empty()) return false;
  const auto bytes = bytes_of(sender);
  return std::any_of(proxies_.begin(), proxies_.end(), [&](const Network& one) { return one.holds(bytes); });
}

}  // namespace ox::manager
