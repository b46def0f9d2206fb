// Messages of the manager session: what a request says, and the record of a received message.
#pragma once

#include <cstdint>
#include <memory>

#include <oxbase/oxtypes.h>

namespace ox {

// Message types, and the commands of type 1. A lock's release is of a type of its own.
inline constexpr std::uint32_t type_request = 1;
inline constexpr std::uint32_t type_unlock = 4;
inline constexpr std::uint32_t type_connection_notice = 4;  // of a report: a manager's connection is gone
inline constexpr std::uint32_t type_fetch = 5;              // asks for the next report
inline constexpr std::uint32_t type_nothing_waits = 6;      // the answer when there is none
inline constexpr std::uint32_t type_fetch_taken = 7;        // a fetch that takes application data, or refuses them: the
inline constexpr std::uint32_t type_fetch_refused = 8;      // reference word is their report's
inline constexpr std::uint32_t no_report = 0xFFFFFFFF;      // the reference word of other fetches
inline constexpr std::uint32_t command_get = 1;
inline constexpr std::uint32_t command_asy_get = 2;    // also of its reports
inline constexpr std::uint32_t command_close_set = 3;  // and of any kind but an asynchronous get
inline constexpr std::uint32_t command_set = 4;
inline constexpr std::uint32_t command_asy_set = 5;  // also of its report
inline constexpr std::uint32_t command_close_get = 6;
inline constexpr std::uint32_t command_control = 7;
inline constexpr std::uint32_t command_management = 8;
inline constexpr std::uint32_t command_lock = 14;
inline constexpr std::uint32_t command_data_append = 21;
inline constexpr std::uint32_t command_data_size = 22;
inline constexpr std::uint32_t command_application_data = 25;

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
