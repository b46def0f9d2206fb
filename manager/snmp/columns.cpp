#include "manager/snmp/columns.h"

#include <oxbase/oxb.h>

namespace ox::manager {

bool is_readable(const Oid& path) {
  std::uint32_t node = 0;
  return oxbEntry(oid_text(path).c_str(), &node) == OX_OK && (oxbAccessControl(node) & OXB_READ) != 0;
}

std::vector<Oid> agent_columns(const Selection& selection) {
  std::vector<Oid> columns;
  for (std::uint32_t leaf = oxbTraverse(selection.node, 0); leaf != 0; leaf = oxbTraverse(selection.node, leaf)) {
    if (oxbAmibInterface(leaf) != OXB_SNMP || (oxbAccessControl(leaf) & OXB_READ) == 0) continue;
    const char* path = nullptr;
    if (oxbApToNum(leaf, &path) != OX_OK) continue;
    const auto oid = parse_oid(path);
    if (!oid) continue;
    // Below a leaf, numbers of its instance may have been given.
    columns.push_back(is_under(selection.path, *oid) ? selection.path : *oid);
  }
  return columns;
}

std::pair<std::string, std::string> leaf_and_instance(const Oid& path) {
  const std::string text = oid_text(path);
  std::uint32_t node = 0;
  const char* leaf = nullptr;
  if (oxbEntry(text.c_str(), &node) != OX_OK || oxbIsLeaf(node) == 0 || oxbApToNum(node, &leaf) != OX_OK) return {};
  std::string found = leaf;
  std::string instance = text.size() > found.size() ? text.substr(found.size() + 1) : std::string();
  return {std::move(found), std::move(instance)};
}

}  // namespace ox::manager
