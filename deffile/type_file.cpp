// The files of "public/comptype" and "public/reltype".
#include <span>
#include <utility>

#include "common/error_position.h"
#include "common/memory.h"
#include "common/trace.h"
#include "deffile/entry_lines.h"
#include "deffile/type_list.h"

namespace ox {
namespace {

constexpr std::uint32_t value_limit = sizeof(oxcConfigEntry::values) / sizeof(char*);

// After which the next line can be read.
bool is_line_fault(OX_RESULT result) noexcept {
  return result == OX_ESYNTAX || result == OX_EKEYLONG || result == OX_ETOKENS || result == OX_EQUOTE;
}

// The entries of a file and its faults. The first fault is what the reading gives.
class Definitions {
 public:
  Definitions(const char* path, const DefinitionFaults& faults)
      : path_(path), faults_(faults), file_(open_definition_file(path)), lines_(std::make_unique<EntryLines>()) {
    (void)oxfSetErrorFile("", 0);
    if (!file_) fault(0, OX_EOPEN, "");
  }

  // The next entry that can be read; false behind the last one, and behind a fault that ends the reading.
  [[nodiscard]] bool next() {
    while (file_ && goes_on()) {
      OX_RESULT result = lines_->next(file_.get());
      if (result == OX_ENOTFOUND) return false;
      count_ = 0;
      if (result == OX_OK) result = oxcToken(lines_->value_text(), nullptr, tokens_, value_limit, &count_);
      if (result == OX_OK) return true;
      fault(lines_->line(), result, "");
      if (!is_line_fault(result)) return false;
    }
    return false;
  }

  [[nodiscard]] std::string_view keyword() const noexcept { return lines_->keyword(); }
  [[nodiscard]] std::span<char* const> values() const noexcept { return {tokens_, count_}; }
  [[nodiscard]] std::uint32_t line() const noexcept { return lines_->line(); }

  void fault(std::uint32_t line, OX_RESULT code, std::string_view subject) {
    if (first_ == OX_OK) {
      first_ = code;
      (void)oxfSetErrorFile(path_, line);
    }
    if (faults_.call != nullptr) faults_.call(faults_.argument, path_, line, code, std::string(subject).c_str());
  }
  [[nodiscard]] OX_RESULT result() const noexcept { return first_; }

 private:
  [[nodiscard]] bool goes_on() const noexcept { return first_ == OX_OK || faults_.call != nullptr; }

  const char* path_;
  const DefinitionFaults& faults_;
  OwnedFile file_;
  std::unique_ptr<EntryLines> lines_;
  char* tokens_[value_limit];
  std::uint32_t count_ = 0;
  OX_RESULT first_ = OX_OK;
};

struct TypeText {
  std::string name;
  std::vector<std::string> aliases;
};

// All other keywords are for those who show components.
void take_type_entry(Definitions& file, std::vector<TypeText>& types) {
  const auto values = file.values();
  if (file.keyword() == "comptype") {
    if (values.size() != 1) return file.fault(file.line(), OX_ESYNTAX, "comptype");
    if (!is_type_name(values[0])) return file.fault(file.line(), OX_ETYPENAME, values[0]);
    types.push_back({values[0], {}});
  } else if (file.keyword() == "alias") {
    if (values.empty() || types.empty()) return file.fault(file.line(), OX_ESYNTAX, "alias");
    for (const char* value : values) {
      if (!is_type_name(value)) return file.fault(file.line(), OX_ETYPENAME, value);
      types.back().aliases.emplace_back(value);
    }
  }
}

// One relation definition, from its "reltype" to the next one.
struct RelationBlock {
  RelationText text;
  std::uint32_t line = 0;  // 0: none has begun
};

struct OwnedRelations {
  oxfRelt* head = nullptr;
  OwnedRelations() = default;
  OwnedRelations(const OwnedRelations&) = delete;
  OwnedRelations& operator=(const OwnedRelations&) = delete;
  ~OwnedRelations() {
    while (head != nullptr) free_relation(std::exchange(head, head->next));
  }
};

class RelationReader {
 public:
  RelationReader(Definitions& file, oxfRelt* known, oxfType* types) noexcept
      : file_(file), known_(known), types_(types) {}

  void take_entry() {
    const std::string_view keyword = file_.keyword();
    std::string* const field = keyword == "reltype"    ? &block_.text.name
                               : keyword == "srctype"  ? &block_.text.source
                               : keyword == "dsttype"  ? &block_.text.destination
                               : keyword == "relclass" ? &block_.text.relation_class
                                                       : nullptr;
    if (field == nullptr) return file_.fault(file_.line(), OX_EKEYWORD, keyword);
    if (file_.values().size() != 1) return file_.fault(file_.line(), OX_ESYNTAX, keyword);
    if (keyword == "reltype") {
      finish();
      block_ = {{}, file_.line()};
      block_.text.name = file_.values()[0];
    } else if (block_.line == 0) {
      file_.fault(file_.line(), OX_ESYNTAX, keyword);
    } else {
      *field = file_.values()[0];
    }
  }

  // A relation type that is there already keeps its first definition.
  void finish() {
    if (block_.line == 0 || find_relation(known_, block_.text.name) != nullptr) return;
    const OX_RESULT result = add_relation(made_.head, types_, block_.text, nullptr);
    if (result != OX_OK && result != OX_ERELATIONEXISTS) file_.fault(block_.line, result, block_.text.name);
    block_.line = 0;
  }

  void hand_over(oxfRelt*& list) noexcept {
    if (made_.head != nullptr) (void)oxcQueueLink(&list, std::exchange(made_.head, nullptr));
  }

 private:
  Definitions& file_;
  oxfRelt* known_;
  oxfType* types_;
  RelationBlock block_;
  OwnedRelations made_;
};

}  // namespace

OX_RESULT read_type_file(const char* path, oxfType*& list, const DefinitionFaults& faults) {
  const auto file = std::make_unique<Definitions>(path, faults);
  std::vector<TypeText> types;
  while (file->next()) take_type_entry(*file, types);
  for (std::size_t i = 0; i < types.size() && file->result() == OX_OK; ++i) {
    if (own_type_name(types[i].name) != types[i].name) continue;  // a kind of node is no type of its own
    (void)add_type(list, types[i].name, types[i].aliases, false, nullptr);
  }
  return file->result();
}

OX_RESULT read_relation_file(const char* path, oxfRelt*& list, oxfType* types, const DefinitionFaults& faults) {
  const auto file = std::make_unique<Definitions>(path, faults);
  RelationReader reader(*file, list, types);
  while (file->next()) reader.take_entry();
  if (file->result() == OX_OK || faults.call != nullptr) reader.finish();
  if (file->result() == OX_OK) reader.hand_over(list);
  return file->result();
}

}  // namespace ox
