// The index of a name file directory: what of it is read is found by name and number, and written it reads the same.
#include "deffile/name_index.h"
#include "fuzz/target.h"

void ox::fuzz::run(std::string_view input) {
  if (input.find('\0') != std::string_view::npos) return;
  NameIndex index;
  const OX_RESULT result = index.read(input);
  std::uint32_t highest = 0;
  for (const NameEntry* entry = index.first(); entry != nullptr; entry = entry->next) {
    expect(index.by_name(entry->name) != nullptr && index.by_number(entry->number) != nullptr);
    highest = std::max(highest, entry->number);
  }
  expect(index.highest() == highest);
  NameIndex again;
  expect(again.read(index.records()) == OX_OK && again.records() == index.records());
  if (result != OX_OK) return;
  const std::uint32_t number = index.take_number();
  expect(number != 0 && index.by_number(number) == nullptr);
  (void)index.add("new", number, "fuzz");
  index.remove_last();
  expect(index.records() == again.records());
}
