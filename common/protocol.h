// What a process and its manager must agree on: the names by which they meet, and the numbers of their messages.
#pragma once

#include <cstdint>

namespace ox {

// The manager's pipe, the event that says that the base services have started, and the manager as a service.
inline constexpr char pipe_name[] = "\\\\.\\PIPE\\ox_stdpipe";
inline constexpr char base_event_name[] = "OxWaitEvent";  // behind the prefix of machine-wide names
inline constexpr char service_name[] = "Oxbase";

// The blocks of a tree, from that of its directory on: data blocks, which have no gap, then those of the sibling index.
inline constexpr char block_prefix[] = "Global\\ox";  // of a block's name; its key follows
inline constexpr std::uint32_t tree_blocks = 2048;
inline constexpr std::uint32_t tree_keys = tree_blocks + 8;

// Where a persistent wait's process remembers what it has taken: a value of a key for each wait, behind the prefix.
inline constexpr char wait_key_prefix[] = "Software\\CORVID\\OXBASE\\evWaitKey\\";
inline constexpr char wait_number_name[] = "lastReceiveNumber";

// What the greeting's answer tells beside its result: the most bytes of data that a message may have.
inline constexpr char greeting_limit_name[] = "MaxFrame";

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
inline constexpr std::uint32_t command_event_open = 10;
inline constexpr std::uint32_t command_event_close = 11;
inline constexpr std::uint32_t command_event_send = 12;
inline constexpr std::uint32_t command_event_cancel = 13;
inline constexpr std::uint32_t command_lock = 14;
inline constexpr std::uint32_t command_log_get = 15;
inline constexpr std::uint32_t command_log_check = 16;
inline constexpr std::uint32_t command_log_uncheck = 17;
inline constexpr std::uint32_t command_log_delete = 18;
inline constexpr std::uint32_t command_log_modify = 19;
inline constexpr std::uint32_t command_data_append = 21;
inline constexpr std::uint32_t command_data_size = 22;
inline constexpr std::uint32_t command_application_data = 25;  // opens a persistent wait; also of its reports
inline constexpr std::uint32_t command_wait_close = 26;

}  // namespace ox
