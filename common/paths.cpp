#include "common/paths.h"

#include <algorithm>

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

void use_platform_separator(std::string& path) noexcept {
  std::replace_if(path.begin(), path.end(), is_separator, platform::path_separator);
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
