// A file that is there whole, or not at all.
#pragma once

#include <cstdio>
#include <string>

namespace tool {

class OutputFile {
 public:
  // Writes beside the file; "-" and "" are the standard output. Throws.
  explicit OutputFile(std::string path);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  [[nodiscard]] std::FILE* get() const { return file_; }
  // What has been written takes the file's place. Throws; the file is as it was then.
  void finish();

 private:
  [[nodiscard]] bool is_file() const { return !path_.empty() && path_ != "-"; }
  [[nodiscard]] std::string beside() const { return path_ + ".new"; }

  std::string path_;
  std::FILE* file_ = nullptr;
};

}  // namespace tool
