// The tree's text files of the installation: "public/amib" under the work directory.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <oxbase/oxtypes.h>

namespace ox::amib {

// The files of an extension (".enm"), in reading order: "oxbase" first, "user" last; none when there is no such
// folder. 14 without a work directory, 152 when its path is too long, or the listing's error.
OX_RESULT list_public_files(const char* extension, std::vector<std::string>& files);

// What tells that files have been changed: their names, sizes and times.
[[nodiscard]] std::uint64_t stamp_of(const std::vector<std::string>& files);

}  // namespace ox::amib
