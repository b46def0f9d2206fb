#include "tools/output_file.h"

#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "tools/text.h"

namespace tool {

OutputFile::OutputFile(std::string path) : path_(std::move(path)) {
  file_ = is_file() ? std::fopen(beside().c_str(), "wb") : stdout;
  if (file_ == nullptr) {
    throw std::runtime_error(shown_path(beside()) + ": cannot be written; name a file in a folder where you may write");
  }
}

OutputFile::~OutputFile() {
  if (!is_file() || file_ == nullptr) return;
  (void)std::fclose(file_);
  (void)std::remove(beside().c_str());
}

void OutputFile::finish() {
  if (!is_file()) return;
  const bool whole = std::ferror(file_) == 0;
  const bool closed = std::fclose(std::exchange(file_, nullptr)) == 0;
  std::error_code error;
  if (whole && closed) std::filesystem::rename(beside(), path_, error);
  if (whole && closed && !error) return;
  (void)std::remove(beside().c_str());
  throw std::runtime_error(shown_path(path_) + ": write failure; it is as it was" +
                           (error ? ": " + error.message() : ""));
}

}  // namespace tool
