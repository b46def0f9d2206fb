#include "manager/base/entry_file.h"

#include "platform/unlinked_file.h"

namespace ox::manager {
namespace {

constexpr char is_link[] = "a link, which is not followed; next: put the file itself in its place";

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
  platform::UnlinkedFile opened;
  const platform::Error error = opened.open(file);
  if (error == platform::error_file_not_found || error == platform::error_path_not_found) return true;
  OX_RESULT began = OX_EOPEN;
  if (error == platform::error_none) began = oxcSetConfigEntry(opened.name().c_str());
  if (began != OX_OK) {
    faults(file, 0, error == platform::error_stopped_on_link ? is_link : oxcStrError(began));
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
