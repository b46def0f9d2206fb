// The payloads of gets and sets.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "manager/base/node_list.h"
#include "manager/snmp/value_reader.h"

namespace ox::manager {

struct GetRequest {
  std::string component;
  std::string names;
  std::uint32_t options = 0;
  std::uint32_t limit = 0;
  SelectionWords words{};
  // 0, 71, 70, 125.
  [[nodiscard]] OX_RESULT read(std::span<const std::byte> bytes);
};

struct SetRequest {
  NodeList nodes;
  std::uint32_t limit = 0;
  // 0, 71, 3.
  [[nodiscard]] OX_RESULT read(std::span<const std::byte> bytes);
};

}  // namespace ox::manager
