// Paths in writing: of nodes, and of written paths in one form.
#include <charconv>
#include <cstring>

#include "amib/path.h"
#include "amib/tree.h"

namespace ox::amib {
namespace {

// Appends components, joined by "."; remembers when they no longer fit.
class PathWriter {
 public:
  explicit PathWriter(PathText& text) noexcept : text_(text) {}

  void add(std::string_view component) noexcept {
    if (component.size() + 1 > text_.size() - used_) {
      fits_ = false;
      return;
    }
    std::memcpy(text_.data() + used_, component.data(), component.size());
    used_ += component.size();
    text_[used_++] = '.';
  }

  // Ends a text that began at `begin`: the last "." becomes its terminator.
  void terminate(std::size_t begin) noexcept {
    if (used_ > begin) {
      text_[used_ - 1] = '\0';
    } else if (used_ < text_.size()) {
      text_[used_++] = '\0';
    } else {
      fits_ = false;
    }
  }

  [[nodiscard]] std::size_t used() const noexcept { return used_; }
  [[nodiscard]] OX_RESULT result() const noexcept { return fits_ ? OX_OK : OX_EPATHLONG; }

 private:
  PathText& text_;
  std::size_t used_ = 0;
  bool fits_ = true;
};

// Numbers from 2^31 on come out negative, as in every other program that shows them; such a path does not resolve.
void add_node(const Node& node, Form form, PathWriter& writer) noexcept {
  if (form == Form::names) {
    writer.add(node.name());
    return;
  }
  char digits[16];
  const auto end = std::to_chars(digits, digits + sizeof digits, static_cast<std::int32_t>(node.number)).ptr;
  writer.add({digits, static_cast<std::size_t>(end - digits)});
}

OX_RESULT add_chain(Ref node, Form form, PathWriter& writer) noexcept {
  std::array<Ref, depth_limit> chain;
  std::size_t depth = 0;
  for (Ref ref = node; ref != root(); ref = node_at(ref).parent) {
    if (!is_mapped(ref)) return OX_EAMIBNAME;
    if (depth == chain.size()) return OX_EDEPTH;
    chain[depth++] = ref;
  }
  while (depth != 0) add_node(node_at(chain[--depth]), form, writer);
  return OX_OK;
}

void add_rest(std::string_view rest, PathWriter& writer) noexcept {
  for (std::string_view component = next_component(rest); !component.empty(); component = next_component(rest)) {
    writer.add(component);
  }
}

}  // namespace

OX_RESULT node_path(Ref node, Form form, PathText& text) {
  PathWriter writer(text);
  if (const OX_RESULT result = add_chain(node, form, writer); result != OX_OK) return result;
  writer.terminate(0);
  return writer.result();
}

OX_RESULT convert_path(const char* path, Form form, PathText& text) {
  if (path == nullptr || *path == '\0') return OX_EAMIBNAME;
  Walk walk;
  if (const OX_RESULT result = walk.follow(path); result != OX_OK) return result;
  PathWriter writer(text);
  if (const OX_RESULT result = add_chain(walk.node(), form, writer); result != OX_OK) return result;
  add_rest(walk.rest(), writer);
  writer.terminate(0);
  return writer.result();
}

OX_RESULT split_path(const char* path, PathText& text, PathParts& parts) {
  if (path == nullptr || *path == '\0') return OX_EAMIBNAME;
  Walk walk;
  if (const OX_RESULT result = walk.follow(path); result != OX_OK) return result;
  if (walk.node() == root()) return OX_EAMIBNAME;
  PathWriter writer(text);
  if (const OX_RESULT result = add_chain(walk.node(), Form::names, writer); result != OX_OK) return result;
  writer.terminate(0);
  const std::size_t instance = writer.used();
  add_rest(walk.rest(), writer);
  writer.terminate(instance);
  if (writer.result() != OX_OK) return writer.result();
  parts = {text.data(), text.data() + instance};
  return OX_OK;
}

}  // namespace ox::amib
