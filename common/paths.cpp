#include "common/paths.h"

#include "common/installed_page.h"
#include "common/settings.h"
#include "platform/environment.h"

namespace ox {
namespace {

std::string join_below(std::string directory, std::initializer_list<std::string_view> parts) {
  for (const std::string_view part : parts) {
    directory += platform::path_separator;
    directory += part;
  }
  use_platform_separator(directory);
  return directory;
}

}  // namespace

bool is_separator(char c) noexcept { return c == '/' || c == '\\'; }

bool has_separator(std::string_view path) noexcept { return path_page().find_separator(path) != path.npos; }

std::string_view file_name(std::string_view path) noexcept { return path.substr(path_page().last_name(path)); }

bool begins_with(std::string_view path, std::string_view directory) noexcept {
  if (path.size() < directory.size()) return false;
  for (std::size_t at = 0; at < directory.size();) {
    const unsigned size = path_page().size(directory.substr(at));
    const bool separators = is_separator(path[at]) && is_separator(directory[at]);
    if (!separators && path.substr(at, size) != directory.substr(at, size)) return false;
    at += size;
  }
  return true;
}

void use_platform_separator(std::string& path) noexcept {
  const CodePage& page = path_page();
  for (std::size_t at = 0; (at = page.find_separator(path, at)) != path.npos;) path[at++] = platform::path_separator;
}

void drop_last_separator(std::string& directory) noexcept {
  if (!directory.empty() && file_name(directory).empty()) directory.pop_back();
}

std::string join_path(std::initializer_list<std::string_view> parts) {
  std::string path;
  for (const std::string_view& part : parts) {
    if (&part != parts.begin()) path += platform::path_separator;
    path += part;
  }
  use_platform_separator(path);
  return path;
}

std::string work_path(std::initializer_list<std::string_view> parts) {
  return join_below(settings::work_directory(), parts);
}

std::string home_path(std::initializer_list<std::string_view> parts) {
  return join_below(settings::home_directory(), parts);
}

}  // namespace ox
