#include "amib/loader.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <string>
#include <string_view>

#include <oxbase/oxb.h>
#include <oxbase/oxc.h>

#include "amib/block_builder.h"
#include "amib/line_file.h"
#include "amib/node_line.h"
#include "amib/shared_blocks.h"
#include "amib/tree.h"
#include "common/error_position.h"
#include "common/trace.h"

namespace ox::amib {
namespace {

constexpr std::string_view root_name = "amibtop";

// Faults of one line, after which the next one can be read.
bool is_line_fault(OX_RESULT result) noexcept {
  constexpr OX_RESULT faults[] = {OX_ESYNTAX,   OX_EVALUETYPE,  OX_EFORMAT,    OX_ELINELONG,
                                  OX_ERANGE,    OX_EAMIBNAME,   OX_ENAMEUSED,  OX_ENUMBERUSED,
                                  OX_ENOPARENT, OX_EACCESSWORD, OX_EINTERFACE, OX_EPARENTLATE};
  return std::find(std::begin(faults), std::end(faults), result) != std::end(faults);
}

// Whether a failure is the file's own fault, so that another order of the files may help.
bool is_file_fault(OX_RESULT result) noexcept {
  return is_line_fault(result) || result == OX_EISDIR || result == OX_EOPEN || result == OX_ETREESIZE ||
         result > OX_ERRNO_BASE;
}

bool is_parent_fault(OX_RESULT result) noexcept { return result == OX_ENOPARENT || result == OX_EPARENTLATE; }

// What a line's fault is about.
const char* subject_of(OX_RESULT fault, const Fields& fields, const NodeLine& line) noexcept {
  switch (fault) {
    case OX_EVALUETYPE:
      return line.type;
    case OX_EACCESSWORD:
      return line.access;
    case OX_EINTERFACE:
      return line.interface_word;
    case OX_ENOPARENT:
    case OX_EPARENTLATE:
      return line.parent;
    default:
      return fields.text[0] != nullptr ? fields.text[0] : "";
  }
}

// The faults of a file that is read to its end: those that follow from an earlier one are not told.
class Findings {
 public:
  Findings(const char* path, const FaultSink& sink) : path_(path), sink_(sink) {}

  void add(std::uint32_t line, OX_RESULT fault, const Fields& fields, const NodeLine& node) {
    const bool follows = is_parent_fault(fault) && !lost_.insert(node.parent).second;
    if (fields.text[0] != nullptr) lost_.insert(fields.text[0]);
    if (!follows) tell(line, fault, subject_of(fault, fields, node));
  }
  void tell(std::uint32_t line, OX_RESULT fault, const char* subject) {
    sink_.tell(path_, line, fault, subject);
    if (first_ != OX_OK) return;
    first_ = fault;
    (void)oxfSetErrorFile(path_, line);
  }
  [[nodiscard]] OX_RESULT first() const noexcept { return first_; }

 private:
  const char* path_;
  const FaultSink& sink_;
  std::set<std::string> lost_;  // nodes that there would be, and missing parents that have been told
  OX_RESULT first_ = OX_OK;
};

// One file on its way into the tree. What is not finished is undone.
class Load {
 public:
  // Without `findings` the first fault ends it.
  explicit Load(const char* path, Findings* findings = nullptr) : path_(path), findings_(findings) {}
  Load(const Load&) = delete;
  Load& operator=(const Load&) = delete;

  OX_RESULT run();
  void roll_back();

 private:
  OX_RESULT create_directory();
  OX_RESULT choose_slot();
  template <class Take>
  OX_RESULT for_each_line(Take take);
  OX_RESULT measure();
  OX_RESULT create_block();
  OX_RESULT create_nodes(BlockBuilder& builder);
  OX_RESULT fill_block();

  const char* path_;
  Findings* findings_;
  LineFile file_;
  View before_;  // the tree in use, when a new tree is begun
  bool directory_created_ = false;
  std::uint32_t key_ = selection().key;
  std::uint32_t index_ = 0;
  std::uint32_t size_ = 0;
};

OX_RESULT Load::create_directory() {
  ShmView block;
  if (const OX_RESULT probe = shm_reference(key_, shm_write, block); probe == OX_OK) {
    (void)shm_release(key_, block.base);
    return OX_ETREEEXISTS;
  } else if (probe != OX_ENOSHM) {
    OX_TRACE(trace::amib, "<M:oxbAddAmitTree(shm_ref)>\n");  // spelled so in every trace there is
    return probe;
  }
  if (const OX_RESULT result = shm_create(key_, sizeof(Directory), block); result != OX_OK) {
    OX_TRACE(trace::amib, "<M:oxbAddAmibTree(shmcre)>\n");
    return result == OX_ENOMEM ? result : OX_RESULT{OX_ESHMCREATE};
  }
  OX_TRACE(trace::amib, "<M:oxbAddAmibTree(atree=0x%x)>\n", trace::word(block.base));
  directory_created_ = true;
  before_ = current_view();
  View view;
  view.key = key_;
  view.directory = static_cast<Directory*>(block.base);
  use_view(view);
  return OX_OK;
}

OX_RESULT Load::choose_slot() {
  const std::uint32_t* const slots = directory()->key;
  const std::uint32_t* const free_slot = std::find(slots + 1, slots + block_slots, 0u);
  if (free_slot == slots + block_slots) return OX_ENOSLOT;
  index_ = static_cast<std::uint32_t>(free_slot - slots);
  OX_TRACE(trace::amib, "<M:oxbAddAmibTree(idx=%d,key=%d)>\n", static_cast<int>(index_),
           static_cast<int>(key_ + index_));
  return OX_OK;
}

// Calls `take` for the fields of every node line, and of those that have the wrong number of fields or are too long
// with the result so far. A fault ends it, and is recorded, unless faults are collected; then `take` tells them.
template <class Take>
OX_RESULT Load::for_each_line(Take take) {
  for (char* line = nullptr;;) {
    OX_RESULT result = file_.next(line);
    if (result == OX_OK && line == nullptr) return OX_OK;
    Fields fields{};
    if (result == OX_OK) result = split_fields(line, fields);
    if (result == OX_OK ? fields.text[0] != nullptr : is_line_fault(result)) result = take(fields, result);
    if (result == OX_OK || (findings_ != nullptr && is_line_fault(result))) continue;
    if (is_file_fault(result)) (void)oxfSetErrorFile(path_, file_.line_number());
    return result;
  }
}

// Every node line gets room, also one that will turn out to repeat a node.
OX_RESULT Load::measure() {
  std::uint64_t size = directory_created_ ? record_size(root_name.size()) : 0;
  const OX_RESULT result = for_each_line([&](const Fields& fields, OX_RESULT fault) -> OX_RESULT {
    size += record_size(fault == OX_OK ? std::string_view(fields.text[0]).size() : 0);
    return fault;
  });
  if (result != OX_OK) return result;
  OX_TRACE(trace::amib, "<M:oxbAddAmibTree(mcsize=%d)>\n", static_cast<int>(size));
  if (size >= block_size_limit) return OX_ETREESIZE;
  size_ = static_cast<std::uint32_t>(size);
  return OX_OK;
}

OX_RESULT Load::create_block() {
  ShmView block;
  if (const OX_RESULT result = shm_create(key_ + index_, size_, block); result != OX_OK) {
    OX_TRACE(trace::amib, "<M:oxbAddAmibTree(shm_create)>\n");
    return result == OX_ENOMEM ? result : OX_RESULT{OX_ESHMCREATE};
  }
  directory()->key[index_] = key_ + index_;
  set_block(index_, static_cast<char*>(block.base));
  OX_TRACE(trace::amib, "<M:oxbAddAmibTree(mcbuf=0x%x)>\n", trace::word(block.base));
  return OX_OK;
}

OX_RESULT Load::create_nodes(BlockBuilder& builder) {
  if (directory_created_) {
    if (const OX_RESULT result = builder.create_root(); result != OX_OK) {
      OX_TRACE(trace::amib, "<M:oxbAddAmibTree(amibtop)>\n");
      return result;
    }
  }
  bool any = false;
  return for_each_line([&](const Fields& fields, OX_RESULT fault) {
    NodeLine line{};
    if (fault == OX_OK) {
      fault = parse_node_line(fields, line);
      if (fault == OX_OK) fault = builder.create_entry(line);
      if (fault == OX_ENOPARENT && any) fault = OX_EPARENTLATE;
      any = true;
    }
    if (findings_ != nullptr && is_line_fault(fault)) findings_->add(file_.line_number(), fault, fields, line);
    return fault;
  });
}

OX_RESULT Load::fill_block() {
  BlockBuilder builder(index_, size_);
  OX_RESULT result = guarded([&] { return create_nodes(builder); });
  if (result == OX_OK && findings_ != nullptr) result = findings_->first();
  if (result != OX_OK) {
    builder.discard();
    directory()->key[index_] = 0;
    (void)shm_delete(key_ + index_);
    return result;
  }
  builder.index_siblings();
  return OX_OK;
}

OX_RESULT Load::run() {
  const bool is_first = selection().built_key != key_ || view_key() != key_;
  if (is_first) {
    if (const OX_RESULT result = create_directory(); result != OX_OK) return result;
  }
  if (const OX_RESULT result = choose_slot(); result != OX_OK) return result;
  if (const OX_RESULT result = file_.open(path_); result != OX_OK) {
    (void)oxfSetErrorFile(path_, 0);
    return result;
  }
  if (const OX_RESULT result = measure(); result != OX_OK || size_ == 0) return result;
  if (const OX_RESULT result = file_.rewind(); result != OX_OK) {
    OX_TRACE(trace::amib, "<M:oxbAddAmibTree(fseek)>\n");
    return result;
  }
  if (const OX_RESULT result = create_block(); result != OX_OK) return result;
  if (const OX_RESULT result = fill_block(); result != OX_OK) return result;
  set_selection({key_, key_});
  open_for_readers();
  return OX_OK;
}

// The block is gone already. A tree that was begun goes with its first file.
void Load::roll_back() {
  if (!directory_created_) return;
  use_view(before_);
  (void)shm_delete(key_);
}

OX_RESULT check_file(const char* path) {
  (void)oxfSetErrorFile("", 0);
  const OX_RESULT result = oxcCheckFile(path, 1);
  if (result != OX_OK) (void)oxfSetErrorFile(path != nullptr ? path : "", 0);
  return result;
}

}  // namespace

OX_RESULT add_file(const char* path) {
  if (const OX_RESULT result = check_file(path); result != OX_OK) return result;
  Load load(path);
  const OX_RESULT result = guarded([&] { return load.run(); });
  if (result != OX_OK) load.roll_back();
  return result;
}

OX_RESULT add_file_telling(const char* path, const FaultSink& faults) {
  Findings findings(path != nullptr ? path : "", faults);
  OX_RESULT result = check_file(path);
  if (result == OX_OK) {
    Load load(path, &findings);
    result = guarded([&] { return load.run(); });
    if (result != OX_OK) load.roll_back();
  }
  if (is_file_fault(result) && findings.first() == OX_OK) findings.tell(0, result, "");
  return result;
}

OX_RESULT add_in_passes(oxbFileEntry* list) {
  for (std::size_t before = SIZE_MAX;;) {
    std::size_t missing = 0;
    for (oxbFileEntry* file = list; file != nullptr; file = file->next) {
      if (file->done != 0) continue;
      const OX_RESULT result = add_file(file->path);
      if (result != OX_OK && !is_file_fault(result)) return result;
      if (result == OX_OK) file->done = 1;
      missing += result != OX_OK ? 1 : 0;
    }
    if (missing == 0 || missing == before) return OX_OK;
    before = missing;
  }
}

}  // namespace ox::amib

extern "C" OX_RESULT OX_CALL oxbAddAmibTree(const char* path) {
  OX_TRACE(ox::trace::amib, "<S:oxbAddAmibTree(%s)>\n", ox::trace::text(path));
  return ox::traced_as(ox::trace::amib, "<E:oxbAddAmibtree[%d]>\n", [&] { return ox::amib::add_file(path); });
}
