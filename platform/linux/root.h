// The system root: the directory that everything of one installation lives under or is named from.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <string_view>

#include "platform/linux/descriptor.h"

namespace ox::platform {

struct Root {
  std::string path;    // as the environment gives it
  std::string prefix;  // what the names of its shared objects begin with; the same for every spelling of the path
  std::string lock;    // the file that guards them
};

// The root of now. It is made when it is missing; where that fails, the calls that need it do.
[[nodiscard]] std::shared_ptr<const Root> root();

// `name` as one path component: letters, digits, ".", "-" and "_" stay, every other byte becomes "%XX". Empty when it
// is empty or too long for a file name.
[[nodiscard]] std::string file_name_of(std::string_view name);

// A directory under the root, made when it is missing and `make` asks for it; its path.
[[nodiscard]] std::string root_directory(const char* name, bool make);

// Opens a lock file, making it when it is missing; every account that may read it may lock it. Fails with errno.
[[nodiscard]] Descriptor open_lock_file(const char* path) noexcept;

// Gives an object that was just made to the group of the root, as far as the process may, and sets its mode whatever
// the umask.
void share_with_group(int fd, const Root& root, mode_t mode) noexcept;

}  // namespace ox::platform
