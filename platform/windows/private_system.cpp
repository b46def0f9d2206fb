#include "platform/windows/private_system.h"

#include <windows.h>

#include <string_view>

namespace ox::platform {
namespace {

struct System {
  std::string folder;
  std::string tag;  // at most 64 letters, digits, "." and "-", others as "_": the end of the path tells most
};

System find_system() {
  System system;
  char value[MAX_PATH];
  const DWORD size = ::GetEnvironmentVariableA("OXBASE_SYSTEM", value, sizeof value);
  if (size == 0 || size >= sizeof value) return system;
  system.folder.assign(value, size);
  constexpr std::string_view kept = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-";
  system.tag = system.folder.substr(size > 64 ? size - 64 : 0);
  for (char& c : system.tag) {
    if (kept.find(c) == std::string_view::npos) c = '_';
  }
  return system;
}

const System& current() {
  static const System* const system = new System(find_system());  // named objects are made during exit, too
  return *system;
}

}  // namespace

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
