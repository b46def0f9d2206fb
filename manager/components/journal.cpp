#include "manager/components/journal.h"

#include <algorithm>
#include <array>

#include <oxbase/oxc.h>

#include "manager/base/paths.h"
#include "manager/components/store_text.h"
#include "platform/file.h"

namespace ox::manager {
namespace {

constexpr std::size_t most_values = 8;
enum class Ending { whole, torn };

// Reads the batches of one file.
class BatchReader {
 public:
  BatchReader(const std::string& file, std::string_view text, const FaultSink& faults)
      : file_(file), text_(text), faults_(faults) {}

  // Applies every committed batch. `ending` says what an uncommitted rest means: damage, or a torn write.
  bool read(Store& store, Ending ending) {
    std::size_t at = 0;
    while (at < text_.size()) {
      const std::size_t end = text_.find('\n', at);
      if (end == text_.npos) break;
      ++line_;
      if (!read_line(store, at, end)) bad_line_ = bad_line_ == 0 ? line_ : bad_line_;
      at = end + 1;
    }
    if (committed_ == text_.size()) return sound_;
    if (ending == Ending::whole) return fault(line_, "the end is missing");
    return sound_;
  }

  [[nodiscard]] std::size_t committed() const { return committed_; }

 private:
  bool fault(std::uint32_t line, const char* text) {
    faults_(file_, line, text);
    return sound_ = false;
  }

  // A bad line counts only when a commit line follows it: without one it belongs to the torn rest.
  bool read_line(Store& store, std::size_t at, std::size_t end) {
    std::string line(text_.substr(at, end - at));
    if (line.empty() || line.front() == '#') return true;
    const std::size_t colon = line.find(':');
    if (colon == line.npos) return false;
    std::array<char*, most_values> tokens{};
    std::uint32_t count = 0;
    if (oxcToken(line.data() + colon + 1, nullptr, tokens.data(), most_values, &count) != OX_OK) return false;
    std::array<std::string_view, most_values> values;
    std::copy_n(tokens.begin(), count, values.begin());
    const auto keyword = std::string_view(line).substr(0, colon);
    const auto given = std::span(values).first(count);
    if (keyword == commit_keyword) return commit(store, given, at, end);
    auto change = from_values(keyword, given);
    if (change) batch_.push_back(std::move(*change));
    return change.has_value();
  }

  bool commit(Store& store, std::span<const std::string_view> values, std::size_t at, std::size_t end) {
    const bool complete = bad_line_ == 0 && commits(values, text_.substr(committed_, at - committed_));
    if (complete) {
      for (const Change& change : batch_) store.apply(change);
    } else {
      (void)fault(bad_line_ != 0 ? bad_line_ : line_, bad_line_ != 0 ? "bad line" : "bad checksum");
    }
    batch_.clear();
    bad_line_ = 0;
    committed_ = end + 1;
    return true;
  }

  const std::string& file_;
  std::string_view text_;
  const FaultSink& faults_;
  std::vector<Change> batch_;
  std::size_t committed_ = 0;  // where the last commit line ends
  std::uint32_t line_ = 0;
  std::uint32_t bad_line_ = 0;
  bool sound_ = true;
};

}  // namespace

Journal::Journal(const std::string& directory, std::size_t compact_at)
    : snapshot_(join(directory, "components.def")),
      temporary_(join(directory, "components.tmp")),
      journal_(join(directory, "components.jnl")),
      compact_at_(compact_at) {}

bool Journal::load(Store& store, const FaultSink& faults) {
  std::string text;
  if (!read_file(snapshot_, text)) {
    faults(snapshot_, 0, "cannot be read");
    return false;
  }
  snapshot_size_ = text.size();
  bool sound = BatchReader(snapshot_, text, faults).read(store, Ending::whole);

  if (!read_file(journal_, text)) {
    faults(journal_, 0, "cannot be read");
    return false;
  }
  journal_size_ = text.size();
  BatchReader reader(journal_, text, faults);
  sound = reader.read(store, Ending::torn) && sound;
  clean_ = reader.committed() == text.size();
  return sound;
}

OX_RESULT Journal::commit(Store& store, std::span<const Change> batch) {
  if (batch.empty()) return OX_OK;
  std::string text;
  for (const Change& change : batch) text += to_line(change);
  text += commit_line(text);
  const bool large = journal_size_ > std::max(compact_at_, snapshot_size_);
  if ((large || !clean_) && !compact(store) && !clean_) return OX_EWRITE;
  if (!append(text)) return OX_EWRITE;
  for (const Change& change : batch) store.apply(change);
  return OX_OK;
}

bool Journal::append(const std::string& text) {
  if (!file_) file_.reset(std::fopen(journal_.c_str(), "ab"));
  if (!file_) return false;
  clean_ = false;
  if (std::fwrite(text.data(), 1, text.size(), file_.get()) != text.size() || std::fflush(file_.get()) != 0 ||
      platform::sync_file(file_.get()) != platform::error_none) {
    file_.reset();
    return false;
  }
  journal_size_ += text.size();
  return clean_ = true;
}

// Killed between the two steps, the manager finds the old journal beside the new snapshot: its changes are in the
// snapshot already, and applying them again in their order ends in the same store.
bool Journal::compact(const Store& store) {
  std::string text = "# Components of this manager. Written by oxmgrd; do not edit while it runs.\n";
  store.visit([&](const Change& change) { text += to_line(change); });
  text += commit_line(text);
  {
    const File file(std::fopen(temporary_.c_str(), "wb"));
    if (!file || std::fwrite(text.data(), 1, text.size(), file.get()) != text.size() || std::fflush(file.get()) != 0 ||
        platform::sync_file(file.get()) != platform::error_none) {
      return false;
    }
  }
  if (platform::replace_file(temporary_.c_str(), snapshot_.c_str()) != platform::error_none) return false;
  snapshot_size_ = text.size();
  file_.reset(std::fopen(journal_.c_str(), "wb"));
  if (!file_) return clean_ = false;
  journal_size_ = 0;
  return clean_ = true;
}

}  // namespace ox::manager
