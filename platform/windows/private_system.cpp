#include "platform/windows/private_system.h"

#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <utility>

namespace ox::platform {
namespace {

struct System {
  std::string folder;
  std::string tag;
};

// Absolute, with backslashes and in small letters: what names the same folder is the same text.
std::string one_form(const std::string& folder) {
  std::string path(::GetFullPathNameA(folder.c_str(), 0, nullptr, nullptr), '\0');
  path.resize(::GetFullPathNameA(folder.c_str(), static_cast<DWORD>(path.size()), path.data(), nullptr));
  while (path.ends_with('\\')) path.pop_back();
  (void)::CharLowerBuffA(path.data(), static_cast<DWORD>(path.size()));
  return path;
}

System find_system() {
  System system;
  std::string value(::GetEnvironmentVariableA("OXBASE_SYSTEM", nullptr, 0), '\0');
  value.resize(::GetEnvironmentVariableA("OXBASE_SYSTEM", value.data(), static_cast<DWORD>(value.size())));
  if (value.empty()) return system;
  system.tag = tag_of_system(value);
  system.folder = std::move(value);
  return system;
}

const System& current() {
  static const System* const system = new System(find_system());  // named objects are made during exit, too
  return *system;
}

}  // namespace

std::string tag_of_system(const std::string& folder) {
  const std::string path = one_form(folder);
  std::uint64_t hash = 0xCBF29CE484222325u;  // FNV-1a
  for (const unsigned char c : path) hash = (hash ^ c) * 0x100000001B3u;
  constexpr std::size_t shown = 40;
  std::string tag = path.substr(path.size() > shown ? path.size() - shown : 0);
  for (char& c : tag) {
    const bool kept = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '.' || c == '-';
    if (!kept) c = '_';
  }
  char number[18];
  (void)std::snprintf(number, sizeof number, ".%08x%08x", static_cast<unsigned>(hash >> 32),
                      static_cast<unsigned>(hash));
  return tag + number;
}

const std::string& private_system() { return current().folder; }

std::string object_name(const char* name) {
  std::string result(name);
  const std::string& tag = current().tag;
  if (tag.empty()) return result;
  const std::size_t last = result.rfind('\\');
  return result.insert(last == std::string::npos ? 0 : last + 1, tag + ".");
}

std::string registry_path(const char* key) {
  const std::string& tag = current().tag;
  return tag.empty() ? key : "SOFTWARE\\CORVID\\Systems\\" + tag + "\\" + key;
}

}  // namespace ox::platform
