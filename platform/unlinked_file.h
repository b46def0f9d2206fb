// Files that lie where they are named, and are led to from nowhere else.
#pragma once

#include <cstdint>
#include <string>

#include "platform/error.h"

namespace ox::platform {

// A file held open for others to read, found without following a link at the end of its path. Windows follows links:
// what protects there is that members cannot make any.
class UnlinkedFile {
 public:
  UnlinkedFile() = default;
  UnlinkedFile(const UnlinkedFile&) = delete;
  UnlinkedFile& operator=(const UnlinkedFile&) = delete;
  ~UnlinkedFile();

  // Once. error_file_not_found, error_path_not_found; error_stopped_on_link; error_open_failed for what is no file.
  [[nodiscard]] Error open(const std::string& path);
  // What to open in place of the path, for as long as this lives.
  [[nodiscard]] const std::string& name() const noexcept { return name_; }

 private:
  std::intptr_t native_ = -1;
  std::string name_;
};

}  // namespace ox::platform
