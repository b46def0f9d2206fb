// The lines of an error message file: "code:text", ended by CR LF.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace ox {

class MessageFile {
 public:
  MessageFile() = default;
  // Reads the lines of an image, which must outlive this. Zero bytes behind the file's end are passed over.
  // Throws std::bad_alloc.
  explicit MessageFile(std::string_view image);

  // The text of the first line with that code; false when there is none, with the output untouched.
  // A search in the sorted lines, which finds what a walk through the file would.
  [[nodiscard]] bool find(std::uint32_t code, std::string_view& text) const noexcept;

 private:
  struct Line {
    std::uint32_t code;
    std::uint32_t text;  // position in the image
    [[nodiscard]] auto operator<=>(const Line&) const = default;
  };

  std::string_view image_;
  std::vector<Line> lines_;  // by code; of equal ones the file's first one stands first
};

}  // namespace ox
