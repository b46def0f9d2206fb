// Whose traps are taken: "traps.cf" in the work directory's "conf" (docs/security.md).
#pragma once

#include <asio/ip/address.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "manager/base/faults.h"

namespace ox::manager {

[[nodiscard]] std::string trap_sources_file();

class TrapSources {
 public:
  // Without a file, and without a line about it, everybody's are. False, with every fault reported, when a line is
  // wrong: then it is as if the line were not there, but that nobody's traps are taken where none is right.
  [[nodiscard]] bool read(const std::string& file, const FaultSink& faults);

  [[nodiscard]] bool takes(const asio::ip::address& sender, std::string_view community) const;
  // Whether it may send traps in other agents' names.
  [[nodiscard]] bool is_proxy(const asio::ip::address& sender) const;

 private:
  // The addresses of which the first bits are those; of version 4, and those of version 6 that stand for them, alike.
  struct Network {
    asio::ip::address_v6::bytes_type bytes{};
    unsigned bits = 0;
    [[nodiscard]] bool holds(const asio::ip::address_v6::bytes_type& address) const;
  };
  struct Taken {
    Network network;
    std::optional<std::string> community;  // nothing: any
  };
  [[nodiscard]] static bool parse(const std::string& text, Network& network);
  [[nodiscard]] std::string take(const class Entry& entry);

  std::vector<Taken> taken_;
  std::vector<Network> proxies_;
  bool all_ = true;
};

}  // namespace ox::manager
