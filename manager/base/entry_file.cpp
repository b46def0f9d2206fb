#include "manager/base/entry_file.h"

namespace ox::manager {
namespace {

struct Reader {
  ~Reader() { (void)oxcEndConfigEntry(); }
};

void release_values(oxcConfigEntry& entry) {
  for (std::uint32_t i = 0; i < entry.count; ++i) (void)oxcMemFree(entry.values[i]);
  entry.count = 0;
}

// Faults of one line, after which the next line can be read.
bool is_line_fault(OX_RESULT result) {
  return result == OX_ESYNTAX || result == OX_EKEYLONG || result == OX_ETOKENS || result == OX_EQUOTE;
}

}  // namespace

bool read_entries(const std::string& file, const FaultSink& faults,
                  const std::function<std::string(const Entry&)>& take) {
  if (const OX_RESULT result = oxcSetConfigEntry(file.c_str())) {
    faults(file, 0, oxcStrError(result));
    return false;
  }
  const Reader reader;
  const auto entry = std::make_unique<oxcConfigEntry>();
  bool sound = true;
  while (true) {
    const OX_RESULT result = oxcGetConfigEntry(nullptr, nullptr, nullptr, entry.get());
    if (result == OX_ENOTFOUND) return sound;
    std::string fault;
    if (result == OX_OK) {
      fault = take(Entry(*entry));
      release_values(*entry);
    } else {
      fault = oxcStrError(result);
    }
    if (!fault.empty()) {
      faults(file, oxcGetConflineno(), fault);
      sound = false;
    }
    if (result != OX_OK && !is_line_fault(result)) return false;
  }
}

}  // namespace ox::manager
