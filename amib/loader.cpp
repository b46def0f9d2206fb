#include "amib/loader.h"

#include <algorithm>
#include <iterator>
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

// Calls `take` for the fields of every node line. A fault of a line is recorded with its number.
template <class Take>
OX_RESULT for_each_line(LineFile& file, const char* path, Take take) {
  OX_RESULT result = OX_OK;
  for (char* line = nullptr; result == OX_OK;) {
    result = file.next(line);
    if (result == OX_OK && line == nullptr) return OX_OK;
    Fields fields;
    if (result == OX_OK) result = split_fields(line, fields);
    if (result == OX_OK && fields.text[0] != nullptr) result = take(fields);
  }
  if (is_file_fault(result)) (void)oxfSetErrorFile(path, file.line_number());
  return result;
}

// One file on its way into the tree. What is not finished is undone.
class Load {
 public:
  explicit Load(const char* path) : path_(path) {}
  Load(const Load&) = delete;
  Load& operator=(const Load&) = delete;

  OX_RESULT run();
  void roll_back();

 private:
  OX_RESULT create_directory();
  OX_RESULT choose_slot();
  OX_RESULT measure();
  OX_RESULT create_block();
  OX_RESULT create_nodes(BlockBuilder& builder);
  OX_RESULT fill_block();

  const char* path_;
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

// Every node line gets room, also one that will turn out to repeat a node.
OX_RESULT Load::measure() {
  std::uint64_t size = directory_created_ ? record_size(root_name.size()) : 0;
  const OX_RESULT result = for_each_line(file_, path_, [&](const Fields& fields) -> OX_RESULT {
    size += record_size(std::string_view(fields.text[0]).size());
    return OX_OK;
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
  return for_each_line(file_, path_, [&](const Fields& fields) {
    NodeLine line;
    OX_RESULT result = parse_node_line(fields, line);
    if (result == OX_OK) result = builder.create_entry(line);
    if (result == OX_ENOPARENT && any) result = OX_EPARENTLATE;
    any = true;
    return result;
  });
}

OX_RESULT Load::fill_block() {
  BlockBuilder builder(index_, size_);
  const OX_RESULT result = guarded([&] { return create_nodes(builder); });
  if (result != OX_OK) {
    builder.discard();
    directory()->key[index_] = 0;
    (void)shm_delete(key_ + index_);
  }
  return result;
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

bool is_file_fault(OX_RESULT result) noexcept {
  constexpr OX_RESULT faults[] = {OX_ESYNTAX,    OX_EVALUETYPE, OX_EFORMAT,     OX_ELINELONG, OX_ERANGE,
                                  OX_EAMIBNAME,  OX_ENAMEUSED,  OX_ENUMBERUSED, OX_ENOPARENT, OX_EACCESSWORD,
                                  OX_EINTERFACE, OX_EISDIR,     OX_EOPEN,       OX_ETREESIZE, OX_EPARENTLATE};
  return result > OX_ERRNO_BASE || std::find(std::begin(faults), std::end(faults), result) != std::end(faults);
}

OX_RESULT add_file(const char* path) {
  if (const OX_RESULT result = check_file(path); result != OX_OK) return result;
  Load load(path);
  const OX_RESULT result = guarded([&] { return load.run(); });
  if (result != OX_OK) load.roll_back();
  return result;
}

}  // namespace ox::amib

extern "C" OX_RESULT OX_CALL oxbAddAmibTree(const char* path) {
  OX_TRACE(ox::trace::amib, "<S:oxbAddAmibTree(%s)>\n", ox::trace::text(path));
  return ox::traced_as(ox::trace::amib, "<E:oxbAddAmibtree[%d]>\n", [&] { return ox::amib::add_file(path); });
}
