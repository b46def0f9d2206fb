// Enumeration files, through a file: what is registered is ordered and can be found again.
#include <algorithm>

#include "amib/enumeration.h"
#include "fuzz/amib_tree.h"

void ox::fuzz::run(std::string_view input) {
  using namespace ox::amib;
  keep_small_tree();
  EnumTable table;
  const std::string path = folder().write("input.enm", input);
  (void)read_enum_file(path.c_str(), table);
  order_enumerations(table);
  for (const Enumeration& enumeration : table) {
    expect(find_enumeration(table, enumeration.path) == &enumeration);
    expect(find_enumeration(table, enumeration.path + ".0") != nullptr);
    expect(std::is_sorted(enumeration.items.begin(), enumeration.items.end(),
                          [](const EnumItem& a, const EnumItem& b) { return a.value < b.value; }));
    for (const EnumItem& item : enumeration.items) {
      std::int32_t value = 0;
      expect(item_value(item.text.c_str(), value) == OX_OK && value == item.value);
    }
  }
}
