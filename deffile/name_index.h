// The names of one name file directory, in the order of their records.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

#include <oxbase/oxc.h>

namespace ox {

struct NameEntry {
  NameEntry* next;
  NameEntry* prev;
  char* name;
  std::uint32_t number;
};

class NameIndex {
 public:
  static constexpr std::uint32_t last_number = 0xFFFFFFF;

  NameIndex() = default;
  ~NameIndex();
  NameIndex(const NameIndex&) = delete;
  NameIndex& operator=(const NameIndex&) = delete;
  void swap(NameIndex& other) noexcept;

  // Appends the records of an index file. OX_EINDEXFILE for a name without a number, the number's own error; what
  // stands before it stays.
  [[nodiscard]] OX_RESULT read(std::string_view records);
  [[nodiscard]] std::string records() const;

  // Throws std::bad_alloc, with nothing changed.
  NameEntry* add(std::string_view name, std::uint32_t number, const char* tag);
  void remove_last() noexcept;
  // Becomes a copy in which one entry has another name, or is left out for a null name.
  void copy(const NameIndex& from, const NameEntry* changed, const char* name);

  // The first one; null for none.
  [[nodiscard]] NameEntry* by_name(std::string_view name) const noexcept;
  [[nodiscard]] NameEntry* by_number(std::uint32_t number) const noexcept;
  [[nodiscard]] const NameEntry* first() const noexcept { return head_; }

  // The highest number handed out or read.
  [[nodiscard]] std::uint32_t highest() const noexcept { return highest_; }
  void raise_highest(std::uint32_t number) noexcept;
  // A number that no entry has, and the highest one with it; 0 when there is none.
  [[nodiscard]] std::uint32_t take_number() noexcept;

 private:
  NameEntry* head_ = nullptr;
  std::uint32_t highest_ = 0;
  std::unordered_map<std::string_view, NameEntry*> names_;  // keys are the entries' own texts
  std::unordered_map<std::uint32_t, NameEntry*> numbers_;
};

// "name 0x0000001 \n"
[[nodiscard]] std::string name_record(std::string_view name, std::uint32_t number);

}  // namespace ox
