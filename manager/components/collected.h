// Collected data: values appended to a file for each pair of texts.
#pragma once

#include <cstdint>
#include <set>
#include <span>
#include <string>

#include <oxbase/oxtypes.h>

namespace ox::manager {

class Collected {
 public:
  // Files stand in "collected" under the directory, each of at most `max_size` bytes.
  Collected(const std::string& directory, std::uint32_t max_size);

  struct Key {
    const std::string& text1;
    const std::string& text2;
  };
  // Appends one record and puts it on the disk. 0; 266 when the file would get too large; 144.
  [[nodiscard]] OX_RESULT append(const Key& key, std::uint32_t first, std::uint32_t second,
                                 std::span<const std::byte> values);
  // Bytes in the file; 122 when there is none.
  [[nodiscard]] OX_RESULT size(const Key& key, std::uint32_t& bytes) const;

 private:
  [[nodiscard]] std::string path(const Key& key) const;
  [[nodiscard]] bool repair(const std::string& file);

  std::string directory_;
  std::uint32_t max_size_;
  std::set<std::string> sound_;  // files that end with a whole record
};

}  // namespace ox::manager
