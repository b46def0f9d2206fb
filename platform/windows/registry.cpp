#include "platform/registry.h"

#include <windows.h>

#include <cstring>
#include <utility>

#include "platform/windows/fail.h"
#include "platform/windows/private_system.h"

namespace ox::platform {
namespace {

class Key {
 public:
  Key() = default;
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;
  ~Key() {
    if (key_ != nullptr) (void)::RegCloseKey(key_);
  }

  [[nodiscard]] Error open(const char* path) {
    if (path == nullptr) return fail(error_invalid_parameter);
    return result(::RegOpenKeyExA(HKEY_LOCAL_MACHINE, registry_path(path).c_str(), 0, KEY_READ, &key_));
  }
  [[nodiscard]] Error make(const char* path) {
    if (path == nullptr) return fail(error_invalid_parameter);
    return result(::RegCreateKeyExA(HKEY_LOCAL_MACHINE, registry_path(path).c_str(), 0, nullptr, 0, KEY_WRITE, nullptr,
                                    &key_, nullptr));
  }
  [[nodiscard]] HKEY get() const noexcept { return key_; }

  static Error result(LONG code) noexcept {
    if (code == ERROR_SUCCESS) return error_none;
    const auto error = static_cast<Error>(code);
    return fail(error == error_path_not_found ? error_file_not_found : error);
  }

 private:
  HKEY key_ = nullptr;
};

Error write(const char* path, const char* name, DWORD type, const void* value, std::size_t size) {
  Key key;
  if (const Error error = key.make(path)) return error;
  return Key::result(
      ::RegSetValueExA(key.get(), name, 0, type, static_cast<const BYTE*>(value), static_cast<DWORD>(size)));
}

}  // namespace

bool registry_has_key(const char* key) { return Key().open(key) == error_none; }

Error registry_read(const char* path, const char* name, std::string& text, std::uint32_t limit) {
  Key key;
  if (const Error error = key.open(path)) return error;
  std::string value;
  DWORD type = REG_NONE;
  DWORD size = 0;
  LONG code = ::RegQueryValueExA(key.get(), name, nullptr, &type, nullptr, &size);
  do {  // again when it has grown meanwhile
    if (code != ERROR_SUCCESS && code != ERROR_MORE_DATA) return Key::result(code);
    if (type != REG_SZ && type != REG_EXPAND_SZ) return fail(error_invalid_parameter);
    value.resize(size);
    code = ::RegQueryValueExA(key.get(), name, nullptr, &type, reinterpret_cast<BYTE*>(value.data()), &size);
  } while (code != ERROR_SUCCESS);
  value.resize(size);
  // Whoever wrote it need not have counted the end.
  if (const std::size_t end = value.find('\0'); end != std::string::npos) value.resize(end);
  if (value.size() > limit) return fail(error_more_data);
  text = std::move(value);
  return error_none;
}

Error registry_read(const char* path, const char* name, std::uint32_t& number) {
  Key key;
  if (const Error error = key.open(path)) return error;
  DWORD type = REG_NONE;
  DWORD value = 0;
  DWORD size = sizeof value;
  const LONG code = ::RegQueryValueExA(key.get(), name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size);
  const bool number_kind = type == REG_DWORD && size == sizeof value;
  if (code == ERROR_MORE_DATA || (code == ERROR_SUCCESS && !number_kind)) return fail(error_invalid_parameter);
  if (code != ERROR_SUCCESS) return Key::result(code);
  number = value;
  return error_none;
}

Error registry_write(const char* key, const char* name, const char* text) {
  if (text == nullptr) return fail(error_invalid_parameter);
  return write(key, name, REG_SZ, text, std::strlen(text) + 1);
}

Error registry_write(const char* key, const char* name, std::uint32_t number) {
  const DWORD value = number;
  return write(key, name, REG_DWORD, &value, sizeof value);
}

}  // namespace ox::platform
