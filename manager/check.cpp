#include "manager/check.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <set>

#include <oxbase/oxb.h>
#include <oxbase/oxc.h>
#include <oxbase/oxf.h>

#include "manager/base/file_list.h"
#include "manager/base/paths.h"
#include "manager/base/settings.h"
#include "manager/components/journal.h"
#include "manager/components/store.h"
#include "manager/components/vocabulary.h"
#include "manager/definitions.h"
#include "manager/traps/check.h"
#include "platform/environment.h"
#include "platform/file.h"

namespace ox::manager {
namespace {

constexpr int most_faults = 20;  // of one definition file

// A copy of a definition file whose faulty lines are taken out one by one, to get at the faults behind them.
class Trial {
 public:
  explicit Trial(const std::string& original)
      : copy_(join(oxcGetWorkdir(), "check" + std::to_string(platform::process_id()) + ".tmp")) {
    usable_ = read_file(original, text_);
  }
  ~Trial() { (void)platform::remove_file(copy_.c_str()); }
  Trial(const Trial&) = delete;
  Trial& operator=(const Trial&) = delete;

  // Makes the line a comment. False when there is no such line.
  bool comment_out(std::uint32_t line) {
    std::size_t at = 0;
    for (std::uint32_t i = 1; i < line && at != text_.npos; ++i) {
      at = text_.find('\n', at);
      if (at != text_.npos) ++at;
    }
    if (line == 0 || at >= text_.size() || text_[at] == '\n') return false;
    const std::size_t end = std::min(text_.find('\n', at), text_.size());
    text_.replace(at, end - at, "#");  // the line count stays
    return true;
  }

  OX_RESULT load() {
    std::FILE* const file = usable_ ? std::fopen(copy_.c_str(), "wb") : nullptr;
    if (file == nullptr) return OX_EOPEN;
    const bool written = std::fwrite(text_.data(), 1, text_.size(), file) == text_.size();
    if (std::fclose(file) != 0 || !written) return OX_EWRITE;
    return oxbAddAmibTree(copy_.c_str());
  }

 private:
  std::string copy_;
  std::string text_;
  bool usable_ = false;
};

void report_every_fault(const std::string& file, const FaultSink& faults) {
  OX_RESULT result = oxbAddAmibTree(file.c_str());
  Trial trial(file);
  for (int told = 0; result != OX_OK && told < most_faults; ++told) {
    const char* at = nullptr;
    std::uint32_t line = 0;
    (void)oxfGetErrorFile(&at, &line);
    faults(file, line, oxcStrError(result));
    if (!trial.comment_out(line)) return;
    result = trial.load();
  }
}

// Enumerations are read on first use; the position of a fault is the reader's.
bool check_enumerations(const FaultSink& faults) {
  const char* text = nullptr;
  const OX_RESULT result = oxbEnumToStr("10", 0, &text);
  if (result == OX_OK || result == OX_ENOTINTABLE || result == OX_EAMIBNAME) return true;
  report_load_error(join(oxcGetWorkdir(), "public", "amib", "*.enm"), result, faults);
  return false;
}

// The tree is made under the key that is kept for trials, beside the one that a running manager holds.
bool check_amib(const FaultSink& faults) {
  bool sound = true;
  std::vector<std::string> files = amib_files(faults, sound);
  if (files.empty()) {
    faults(join(oxcGetWorkdir(), "public", "amib"), 0, "no definition files");
    return false;
  }
  oxbInitAmibTree(OXB_SCRATCH_TREE);
  sound = load_in_passes(files) == OX_OK && sound;
  for (const std::string& file : files) report_every_fault(file, faults);
  sound = check_enumerations(faults) && sound;
  (void)oxbDeleteAmibTree(OXB_SCRATCH_TREE);
  return sound && files.empty();
}

// One line of the message file: "code: text", ended by CR LF. The set holds the codes that were there before.
std::string message_fault(std::string_view line, std::set<std::uint32_t>& codes) {
  if (!line.ends_with('\r')) return "the line must end in CR LF";
  std::uint32_t code = 0;
  const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), code);
  if (error != std::errc{} || *end != ':') return "no code and colon";
  return codes.insert(code).second ? std::string() : "code " + std::to_string(code) + " is there already";
}

bool check_messages(const std::string& file, const FaultSink& faults) {
  std::string text;
  if (!read_file(file, text) || text.empty()) {
    faults(file, 0, "missing or empty");
    return false;
  }
  bool sound = true;
  std::set<std::uint32_t> codes;
  std::uint32_t line = 0;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    ++line;
    const std::string fault = message_fault(std::string_view(text).substr(at, end - at), codes);
    if (!fault.empty()) {
      faults(file, line, fault);
      sound = false;
    }
    at = end + 1;
  }
  return sound;
}

bool check_all_messages(const FaultSink& faults) {
  bool sound = true;
  for (const char* language : {"0409", "0411"}) {
    sound = check_messages(join(oxcGetHomedir(), "LIB", "LOCALE", language, "OXERROR.MSG"), faults) && sound;
  }
  return sound;
}

}  // namespace

bool check_installation(const FaultSink& faults) {
  if (*oxcGetHomedir() == '\0' || *oxcGetWorkdir() == '\0') {
    faults("registry", 0, "HomeDir and WorkDir are not set");
    return false;
  }
  bool sound = check_all_messages(faults);
  Settings settings;
  sound = read_settings(settings_file(), settings, faults) && sound;
  sound = check_amib(faults) && sound;
  Vocabulary vocabulary;
  sound = vocabulary.read(oxcGetWorkdir(), faults) && sound;
  sound = check_trap_definitions(faults) && sound;
  Store store;
  return Journal(join(oxcGetWorkdir(), "data")).load(store, faults) && sound;
}

}  // namespace ox::manager
