#include "amib/block_builder.h"

#include <atomic>
#include <cstring>
#include <string_view>

#include "amib/node_index.h"
#include "amib/sibling_index.h"
#include "amib/tree.h"
#include "common/lasting.h"
#include "common/trace.h"

namespace ox::amib {
namespace {

Lasting<NodeIndex> index_of_tree;
std::uint32_t indexed_generation = 0;

// The index of the tree in use: kept from file to file, made anew after the tree in use was changed in another way.
NodeIndex& current_index() {
  if (indexed_generation != view_generation()) {
    index_of_tree->rebuild(directory()->newest);
    indexed_generation = view_generation();
  }
  return *index_of_tree;
}

// Readers in other processes follow the links while nodes are added: a node is complete before it is linked.
void publish(Ref& link, Ref node) noexcept { std::atomic_ref<Ref>(link).store(node, std::memory_order_release); }

// Which of two children stands first. Only asked when a line is at fault, so the walk does not add up.
bool stands_first(Ref parent, Ref child, Ref other) noexcept {
  Ref ref = node_at(parent).child;
  while (ref != child && ref != other) ref = node_at(ref).next;
  return ref == child;
}

}  // namespace

Ref BlockBuilder::take_record(const char* name, std::uint32_t number) noexcept {
  const std::size_t length = std::strlen(name);
  const std::uint32_t record = record_size(length);
  if (record > size_ - used_) return 0;
  const Ref ref = make_ref(index_, used_);
  used_ += record;
  std::memcpy(node_at(ref).name(), name, length + 1);
  node_at(ref).number = number;
  return ref;
}

OX_RESULT BlockBuilder::create_root() {
  NodeIndex& index = current_index();
  index.reserve_one();
  const Ref ref = take_record("amibtop", 0);
  if (ref == 0) return OX_ENOMEM;
  publish(directory()->root, ref);
  publish(directory()->newest, ref);
  (void)index.insert(ref);
  return OX_OK;
}

// A line that repeats a node creates nothing; one that gives it other access adds to the node's access. The record that
// was taken for the line stays unused: the block has room for every line, and its image must not depend on more than
// the files.
OX_RESULT BlockBuilder::merge(Ref numbered, Ref named, Ref parent, Ref made) {
  const Node& line = node_at(made);
  if (numbered == 0 || (named != 0 && numbered != named && stands_first(parent, named, numbered))) {
    OX_TRACE(trace::amib, "<M:amib_create_entry(name)>\n");
    return OX_ENAMEUSED;
  }
  Node& node = node_at(numbered);
  if (numbered != named || node.type != line.type || node.interface_code != line.interface_code) {
    OX_TRACE(trace::amib, "<M:amib_create_entry(num)>\n");
    return OX_ENUMBERUSED;
  }
  if (node.access != (node.access | line.access)) {
    changes_.push_back({numbered, 0, node.access, false});
    node.access |= line.access;
  }
  return OX_OK;
}

void BlockBuilder::link(Ref ref, Ref parent) noexcept {
  Node& node = node_at(ref);
  node.parent = parent;
  node.created_before = directory()->newest;
  if (const Ref last = index_of_tree->last_child(parent); last != 0) {
    node.prev = last;
    publish(node_at(last).next, ref);
  } else {
    publish(node_at(parent).child, ref);
  }
  publish(directory()->newest, ref);
}

OX_RESULT BlockBuilder::create_entry(const NodeLine& line) {
  if (!is_node_name(line.name)) return OX_EAMIBNAME;
  const Ref made = take_record(line.name, line.number);
  if (made == 0) return OX_ENOMEM;
  NodeIndex& index = current_index();
  const Ref parent = index.newest_named(line.parent);
  if (parent == 0) {
    OX_TRACE(trace::amib, "<M:amib_create_entry(no uap)>\n");
    return OX_ENOPARENT;
  }
  NodeCodes codes;
  if (const OX_RESULT result = convert_keywords(line, codes); result != OX_OK) return result;
  Node& node = node_at(made);
  node.type = codes.type;
  node.access = codes.access;
  node.interface_code = codes.interface_code;
  const Ref numbered = index.child_numbered(parent, line.number);
  const Ref named = index.child_named(parent, line.name);
  if (numbered != 0 || named != 0) return merge(numbered, named, parent, made);
  index.reserve_one();
  changes_.push_back({made, 0, 0, true});
  link(made, parent);
  changes_.back().same_name_before = index.insert(made);
  return OX_OK;
}

void BlockBuilder::index_siblings() const noexcept {
  const auto for_each_far = [this](auto take) {
    Places places;
    for (const Change& change : changes_) {
      if (change.linked && places.is_far(change.node)) take(change.node);
    }
  };
  std::uint32_t far = 0;
  for_each_far([&far](Ref) { ++far; });
  if (!reserve_far_siblings(far)) return;
  for_each_far(enter_far_sibling);
  publish_sibling_index();
}

void BlockBuilder::unlink(Ref ref) noexcept {
  const Node& node = node_at(ref);
  publish(node.prev != 0 ? node_at(node.prev).next : node_at(node.parent).child, 0);
  publish(directory()->newest, node.created_before);
}

void BlockBuilder::discard() {
  for (; !changes_.empty(); changes_.pop_back()) {
    const Change& change = changes_.back();
    if (change.linked) {
      index_of_tree->erase(change.node, change.same_name_before);
      unlink(change.node);
    } else {
      node_at(change.node).access = change.access_before;
    }
  }
  set_block(index_, nullptr);
  indexed_generation = view_generation();  // the index is up to date: no need to make it anew
}

}  // namespace ox::amib
