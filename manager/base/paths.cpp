#include "manager/base/paths.h"

#include <cstdio>
#include <memory>

#include "platform/environment.h"
#include "platform/file.h"

namespace ox::manager {

std::string join(std::string_view directory, std::string_view name) {
  std::string path(directory);
  path += platform::path_separator;
  path += name;
  return path;
}

bool read_file(const std::string& path, std::string& text) {
  text.clear();
  platform::FileAttributes attributes;
  const platform::Error error = platform::file_attributes(path.c_str(), attributes);
  if (error == platform::error_file_not_found || error == platform::error_path_not_found) return true;
  if (error != platform::error_none || attributes.directory) return false;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
  if (!file) return false;
  char piece[65536];
  while (const std::size_t count = std::fread(piece, 1, sizeof piece, file.get())) text.append(piece, count);
  return std::ferror(file.get()) == 0;
}

bool ensure_directory(const std::string& path) {
  const platform::Error error = platform::make_private_directory(path.c_str());
  return error == platform::error_none || error == platform::error_already_exists;
}

}  // namespace ox::manager
