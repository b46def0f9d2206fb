// The system root: the directory that everything of one installation lives under or is named from.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <string_view>

#include "platform/linux/descriptor.h"

namespace ox::platform {

struct Root {
  std::string path;  // as the environment gives it
  std::string name;  // what stands for it elsewhere; the same for every spelling of the path
  uid_t owner = 0;   // the account of the installation, which the manager runs under
};

// The root of now. It is made when it is missing; where that fails, the calls that need it do.
[[nodiscard]] std::shared_ptr<const Root> root();

// `name` as one path component: letters, digits, ".", "-" and "_" stay, every other byte becomes "%XX". Empty when it
// is empty or too long for a file name.
[[nodiscard]] std::string file_name_of(std::string_view name);

// A directory under the root, made when it is missing and `make` asks for it, for its owner alone to write; its path.
[[nodiscard]] std::string root_directory(const char* name, bool make);

// Whether files and sockets of that account are believed: the root's owner's, and those of the system's root, whom
// nothing keeps out anyhow.
[[nodiscard]] bool is_trusted(const Root& root, uid_t account) noexcept;

// Opens a file of the root for reading, and follows no link to it. Fails with errno: EACCES for one of an account that
// is not trusted.
[[nodiscard]] Descriptor open_trusted(const Root& root, const char* path) noexcept;

}  // namespace ox::platform
