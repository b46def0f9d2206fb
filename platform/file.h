// Files beyond what the C runtime gives. Paths are in the process's narrow encoding.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "platform/error.h"

namespace ox::platform {

struct FileAttributes {
  bool directory = false;
  bool read_only = false;  // nobody may write it, whoever asks
  bool hidden = false;     // on Linux: the name begins with "."
  bool system = false;
  bool temporary = false;
  std::uint64_t size = 0;
  std::uint64_t modified = 0;  // when; counts up from file to file in a unit of the platform's own
};
[[nodiscard]] Error file_attributes(const char* path, FileAttributes& attributes) noexcept;

// fopen with the file denied to every other opener of this kind while it is open; null and last_error() (sharing
// violation: error_sharing_violation) when it cannot be had.
[[nodiscard]] std::FILE* open_exclusive(const char* path, const char* mode) noexcept;

// Opens a file for reading and writing, made when there is none, that one opener of this kind holds at a time; waits
// for the others in turn. It is given up when it is closed, with the process's death at the latest.
[[nodiscard]] std::FILE* open_in_turn(const char* path) noexcept;

// CreateFileA: access bit 31 read, bit 30 write; share 1 read, 2 write, 4 delete; disposition 1 create new, 2 create
// always, 3 open existing, 4 open always, 5 truncate existing. -1 and last_error() on failure.
[[nodiscard]] std::intptr_t open_file(const char* path, std::uint32_t access, std::uint32_t share, void* security,
                                      std::uint32_t disposition, std::uint32_t flags, void* template_file) noexcept;
void close_file(std::intptr_t file) noexcept;

// Of a file of open_file, from its beginning to its end.
[[nodiscard]] Error read_whole(std::intptr_t file, std::string& contents);
// Writes behind its end, in one piece, and to the disk. When not all of it can be written the file is cut back to what
// it was.
[[nodiscard]] Error append_synced(std::intptr_t file, std::string_view bytes) noexcept;

struct DirectoryEntry {
  std::string name;
  FileAttributes attributes;
};
// The entries of a directory, without "." and "..", in no order. error_path_not_found without such a directory.
[[nodiscard]] Error list_directory(const char* path, std::vector<DirectoryEntry>& entries);

[[nodiscard]] Error remove_file(const char* path) noexcept;
[[nodiscard]] Error rename_file(const char* from, const char* to) noexcept;   // error_already_exists when `to` exists
[[nodiscard]] Error replace_file(const char* from, const char* to) noexcept;  // `to` is replaced in one step
[[nodiscard]] Error sync_file(std::FILE* file) noexcept;                      // to the disk, not just to the system
[[nodiscard]] Error make_directory(const char* path) noexcept;                // error_already_exists

// Makes what only the process's own account may read, write and enter, whatever the process's mask says:
// an empty file, a directory. error_already_exists.
[[nodiscard]] Error make_private_file(const char* path) noexcept;
[[nodiscard]] Error make_private_directory(const char* path) noexcept;

// The path in UTF-8.
[[nodiscard]] std::string utf8_path(const char* path);

}  // namespace ox::platform
