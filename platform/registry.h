// The machine-wide registry under HKEY_LOCAL_MACHINE. Keys are named with backslashes ("SOFTWARE\\CORVID\\OXBASE").
// Key and value names are compared without regard to case. Any thread; writers of different processes wait for each
// other. On Linux it is a file in the registry's text export format under the system root.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/error.h"

namespace ox::platform {

[[nodiscard]] bool registry_has_key(const char* key);

// The text of a string value, the number of a DWORD value. error_file_not_found when key or value is absent,
// error_more_data for a text of more than `limit` bytes, error_invalid_parameter for a value of another kind;
// the output is untouched then.
[[nodiscard]] Error registry_read(const char* key, const char* name, std::string& text, std::uint32_t limit);
[[nodiscard]] Error registry_read(const char* key, const char* name, std::uint32_t& number);

// Write a value, making the key when it is absent. A reader sees the old file or the new one, never half of it.
[[nodiscard]] Error registry_write(const char* key, const char* name, const char* text);
[[nodiscard]] Error registry_write(const char* key, const char* name, std::uint32_t number);

// A number that is written often, by one process at a time: a write costs far less than a registry_write(), and
// survives the end of the process in any way. On Linux it is the account's own, beside the registry, which is only
// read.
class RegistryNumber {
 public:
  RegistryNumber();
  ~RegistryNumber();
  RegistryNumber(const RegistryNumber&) = delete;
  RegistryNumber& operator=(const RegistryNumber&) = delete;

  // Where such a number needs its key in the registry: makes that, with a first number, when it is missing.
  [[nodiscard]] static Error provide(const char* key, const char* name, std::uint32_t first);

  // error_file_not_found when there is no place for it: on Windows the key, which is not made. Throws std::bad_alloc.
  [[nodiscard]] Error open(const char* key, const char* name);
  // error_file_not_found while there is no number.
  [[nodiscard]] Error read(std::uint32_t& number) const;
  [[nodiscard]] Error write(std::uint32_t number);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace ox::platform
