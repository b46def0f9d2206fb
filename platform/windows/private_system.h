// A system of its own beside the machine's: the environment variable OXBASE_SYSTEM names its folder. Its objects, its
// pipe and its part of the registry carry a tag made from the folder's path, so that two systems never meet.
#pragma once

#include <string>

namespace ox::platform {

// The folder; empty for the machine's own system.
[[nodiscard]] const std::string& private_system();

// The tag of a folder, however its path is written: the end of the path, for people, and a number made from all of it.
[[nodiscard]] std::string tag_of_system(const std::string& folder);

// The name of a kernel object or pipe in the process's system: "Global\ox1120", "\\.\PIPE\ox_stdpipe" as they are, or
// with the tag before their last part.
[[nodiscard]] std::string object_name(const char* name);

// The registry key in the process's system: as it is, or below "SOFTWARE\CORVID\Systems\<tag>".
[[nodiscard]] std::string registry_path(const char* key);

}  // namespace ox::platform
