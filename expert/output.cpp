#include "expert/output.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "platform/environment.h"

namespace expert {
namespace {

constexpr std::uint64_t most_kept = 1 << 20;
constexpr std::uint64_t most_told = 1000;

// Names may hold what file names may not.
std::string file_name(const std::string& rule) {
  std::string name = "rule-";
  for (const char c : rule) {
    const auto byte = static_cast<unsigned char>(c);
    char code[4];
    (void)std::snprintf(code, sizeof code, "%%%02X", byte);
    name += std::isalnum(byte) != 0 || c == '-' || c == '_' ? std::string(1, c) : std::string(code);
  }
  return name + ".out";
}

std::string now_text() {
  const std::time_t now = std::time(nullptr);
  char text[32] = "";
  if (const std::tm* const parts = std::localtime(&now)) {
    (void)std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", parts);
  }
  return text;
}

}  // namespace

Output::Output(const std::string& folder, const std::string& rule)
    : path_(folder + ox::platform::path_separator + file_name(rule)) {}

std::uint64_t Output::size() const {
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(path_, error);
  return error ? 0 : size;
}

void Output::note(const std::string& text) {
  std::ofstream(path_, std::ios::app) << now_text() << " oxexpd: " << text << '\n';
}

void Output::begin_run() { begin_ = size(); }

std::string Output::last_lines() const {
  const std::uint64_t end = size();
  if (end <= begin_) return "";
  const std::uint64_t from = end - begin_ > most_told ? end - most_told : begin_;
  std::ifstream file(path_, std::ios::binary);
  std::string text(static_cast<std::size_t>(end - from), '\0');
  (void)file.seekg(static_cast<std::streamoff>(from));
  (void)file.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(std::max<std::streamsize>(file.gcount(), 0)));
  std::erase_if(text, [](char c) { return c == '\r' || c == '\0'; });
  while (text.ends_with('\n')) text.pop_back();
  if (const std::size_t line = from != begin_ ? text.find('\n') : std::string::npos; line != std::string::npos) {
    text.erase(0, line + 1);
  }
  return text;
}

void Output::keep_small() {
  if (size() <= most_kept) return;
  std::error_code error;
  std::filesystem::resize_file(path_, 0, error);
  if (error) return;
  begin_ = 0;
  note("what was here was over a megabyte, and is dropped");
}

}  // namespace expert
