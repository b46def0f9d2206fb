// One name file directory: free-form names, and the file that each has in it.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "deffile/name_index.h"

namespace ox {

// What processes change together is kept by two files: "filename.dir", the index, and "filename.lck" beside it, which
// one of them holds during each change and which counts the changes. A change takes what others have changed first.
class NameDirectory {
 public:
  explicit NameDirectory(std::string path) : path_(std::move(path)) {}

  // Reads the index; makes an empty one where there is none. What was read before a failure stays.
  [[nodiscard]] OX_RESULT load();

  // OX_ENOFILENAME for an unknown name, without a free number; the errors of the files. A failure leaves index and
  // entries as they were.
  [[nodiscard]] OX_RESULT create(std::string_view name, std::uint32_t& number);
  [[nodiscard]] OX_RESULT remove(std::string_view name);
  [[nodiscard]] OX_RESULT rename(std::string_view name, const char* to);

  [[nodiscard]] const NameIndex& index() const noexcept { return index_; }
  // "<path>/N0000001"
  void file_of(std::uint32_t number, std::string& path) const;

 private:
  class Lock;
  [[nodiscard]] std::string beside(const char* name) const { return path_ + "/" + name; }
  [[nodiscard]] OX_RESULT read(NameIndex& index, std::uint64_t& size) const;
  [[nodiscard]] OX_RESULT take_changes(const Lock& lock);
  [[nodiscard]] OX_RESULT rewrite(NameIndex& changed, Lock& lock);
  [[nodiscard]] OX_RESULT change(std::string_view name, const char* to);
  [[nodiscard]] std::uint64_t size_now() const;

  std::string path_;
  NameIndex index_;
  std::uint32_t changes_ = 0;  // as counted when the entries were taken
  std::uint64_t size_ = 0;     // of the index then
};

}  // namespace ox
