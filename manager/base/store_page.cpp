#include "manager/base/store_page.h"

#include <cstdio>

#include <oxbase/oxc.h>

#include "manager/base/paths.h"
#include "platform/codepage.h"
#include "platform/registry.h"

namespace ox::manager {
namespace {

std::string note_of(const std::string& folder) { return join(folder, "codepage"); }

// Without the line end; empty without a note.
std::string noted(const std::string& folder) {
  std::string text;
  (void)read_file(note_of(folder), text);
  return text.substr(0, text.find_first_not_of("0123456789"));
}

}  // namespace

// One that cannot be written is written at the next start; an empty one that a full disk leaves counts as none.
void note_page(const std::string& folder) {
  if (!noted(folder).empty()) return;
  std::FILE* const file = std::fopen(note_of(folder).c_str(), "w");
  if (file == nullptr) return;
  (void)std::fprintf(file, "%u\n", oxcGetCodePage());
  (void)std::fclose(file);
}

std::string page_warning(const std::string& folder) {
  const std::string then = noted(folder);
  const std::string now = std::to_string(oxcGetCodePage());
  if (then.empty() || then == now) return {};
  return "the code page is " + now + ", and was " + then + " when " + folder +
         " was made: changing it converts nothing that is stored, so texts of other than ASCII characters are shown "
         "garbled; next: set the registry value CodePage back to " +
         then + ", or write those texts again";
}

std::string page_fault() {
  std::uint32_t set = 0;
  if (platform::registry_read("SOFTWARE\\CORVID\\OXBASE", "CodePage", set) != platform::error_none) return {};
  if (set == platform::shift_jis || set == platform::utf8) return {};
  return "CodePage " + std::to_string(set) + " is neither 932 nor 65001; texts are in " +
         std::to_string(oxcGetCodePage());
}

}  // namespace ox::manager
