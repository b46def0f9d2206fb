// Messages of the manager session: what a request says, and the record of a received message.
#pragma once

#include <cstdint>
#include <memory>

#include <oxbase/oxtypes.h>

#include "common/protocol.h"

namespace ox {

// The header of a message to the manager. Type, command and error travel in 16 bits.
struct RequestHeader {
  std::uint32_t type = type_request;
  std::uint32_t command = 0;
  const char* manager = nullptr;  // the destination name; only borrowed
  std::uint32_t error = 0;        // control and management codes travel here
  std::uint32_t source_id = 0;
  std::uint32_t destination_id = 0;
  std::uint32_t reference = 0;
};

// A received message, a tracked record. It owns its names and its data.
struct Message {
  Queue links;
  std::uint32_t header_length;  // as received, its own four bytes included
  std::uint32_t data_length;
  std::uint32_t version;
  std::uint32_t type;
  std::uint32_t command;
  std::uint32_t error;
  std::uint32_t reserved1;
  std::uint32_t source_id;
  std::uint32_t destination_id;
  char* source_name;
  char* destination_name;
  std::uint32_t reserved2;
  unsigned char* data;
  std::uint32_t reference;
};

// Releases the names, the data and the record; null is accepted.
void release_message(Message* message) noexcept;

struct MessageRelease {
  void operator()(Message* message) const noexcept { release_message(message); }
};
using MessagePtr = std::unique_ptr<Message, MessageRelease>;

}  // namespace ox
