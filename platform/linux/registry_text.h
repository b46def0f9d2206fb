// The registry's text export format: a file as lines that keep what they do not understand, and the values in it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace ox::platform {

// Names compare without regard to the case of ASCII letters.
struct NameLess {
  using is_transparent = void;
  [[nodiscard]] bool operator()(std::string_view left, std::string_view right) const noexcept;
};

struct OtherKind {};  // binary and the like: kept in the file, not read
using RegistryValue = std::variant<std::string, std::uint32_t, OtherKind>;

class RegistryText {
 public:
  // Reads the file's bytes: UTF-8, or UTF-16 with its byte order mark as the registry editor exports it.
  static RegistryText parse(std::string_view bytes);

  // Null when absent. Keys are named with their hive.
  [[nodiscard]] const RegistryValue* find(std::string_view key, std::string_view name) const;
  [[nodiscard]] bool has_key(std::string_view key) const;  // a key stands for those above it, too

  // Replaces the value's line or adds one; every other line stays as it is.
  void set(std::string_view key, std::string_view name, const RegistryValue& value);

  [[nodiscard]] std::string bytes() const;  // always UTF-8

  struct Fault {
    std::size_t line;  // from 1
    std::string text;
  };
  [[nodiscard]] const std::vector<Fault>& faults() const noexcept { return faults_; }

 private:
  struct Value {
    RegistryValue value;
    std::size_t line;  // in lines_
  };
  struct Key {
    std::map<std::string, Value, NameLess> values;
    std::size_t last_line;  // of its section, in lines_
  };
  using Keys = std::map<std::string, Key, NameLess>;

  void read_line(std::size_t index, std::size_t number, Keys::iterator& section);
  bool read_section(std::string_view line, std::size_t index, Keys::iterator& section);
  void erase_key(std::string_view key);
  void index();

  std::vector<std::string> lines_;  // a continued value is one of them, line ends included
  Keys keys_;
  std::vector<Fault> faults_;
};

}  // namespace ox::platform
