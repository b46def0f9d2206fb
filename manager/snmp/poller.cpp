#include "manager/snmp/poller.h"

#include <algorithm>
#include <new>
#include <utility>

#include "manager/components/stored_value.h"

namespace ox::manager {
namespace {

bool selects_of_agent(const Selection& selection) {
  if (selection.error != OX_OK) return false;
  if (selection.exact) return oxbAmibInterface(selection.node) == OXB_SNMP;
  for (std::uint32_t leaf = oxbTraverse(selection.node, 0); leaf != 0; leaf = oxbTraverse(selection.node, leaf)) {
    if (oxbAmibInterface(leaf) == OXB_SNMP) return true;
  }
  return false;
}

// Whether a node of an answer came from an agent. Only agents fail now and then.
bool is_of_agent(const dnode* node) {
  if (code_of(node) != OX_OK) return true;
  std::uint32_t entry = 0;
  return oxbEntry(oid_text(path_of(node)).c_str(), &entry) == OX_OK && oxbAmibInterface(entry) == OXB_SNMP;
}

// Of which component and attribute a node is, and what it says.
std::string place_of(const dnode* node) {
  const char* type = "";
  const char* name = "";
  (void)oxdGetCompType(node, &type);
  (void)oxdGetCompName(node, &name);
  return std::string(type) + ':' + name + ' ' + oid_text(path_of(node));
}
NodePtr gone_node(const std::string& place) {
  const std::size_t end = place.rfind(' ');
  ComponentName component;
  (void)parse_component_name(place.substr(0, end), component);
  return deleted_node(component, parse_oid(place.substr(end + 1)).value_or(Oid()));
}
std::string contents_of(const dnode* node) {
  const Value value = value_of(node);
  return std::to_string(code_of(node)) + ' ' + std::to_string(value.type) + ' ' + value.bytes;
}

}  // namespace

bool selects_of_agents(const std::vector<Selection>& selections) {
  return std::any_of(selections.begin(), selections.end(), selects_of_agent);
}

void Poller::ask(Mode mode) {
  meanwhile_.clear();
  const auto take = [weak = weak_from_this(), mode](OX_RESULT result, NodeList nodes) {
    if (const auto self = weak.lock()) self->answered(mode, result, std::move(nodes));
  };
  const OX_RESULT result =
      reader_.read({question_.session, question_.rights, question_.component, question_.names, 0}, take);
  if (result != OX_OK) take(result, {});
}

void Poller::ask_later() {
  timer_.expires_after(question_.interval);
  timer_.async_wait([weak = weak_from_this()](const asio::error_code& error) {
    const auto self = weak.lock();
    if (error || !self) return;
    try {
      self->ask(Mode::changes);
    } catch (const std::bad_alloc&) {  // the next look may find memory
      self->ask_later();
    }
  });
}

void Poller::told(const dnode* node) {
  if (question_.interval.count() == 0 || !is_of_agent(node)) return;
  const std::string place = place_of(node);
  known_[place] = meanwhile_[place] = contents_of(node);
}

NodeList Poller::news(Mode mode, NodeList nodes, Contents& now, OX_RESULT& result) const {
  NodeList news;
  while (NodePtr node = nodes.take_first()) {
    bool tell = mode == Mode::everything;
    if (is_of_agent(node.get())) {
      const std::string place = place_of(node.get());
      const auto& contents = now[place] = contents_of(node.get());
      const auto before = known_.find(place);
      const bool is_new = before == known_.end() || before->second != contents;
      tell = tell || (mode == Mode::changes && is_new && !meanwhile_.contains(place));
    }
    if (!tell) continue;
    if (code_of(node.get()) != OX_OK) result = OX_ENODES;
    news.add(std::move(node));
  }
  return news;
}

void Poller::answered(Mode mode, OX_RESULT result, NodeList nodes) {
  Contents now;
  OX_RESULT code = OX_OK;
  NodeList told = news(mode, std::move(nodes), now, code);
  for (const auto& [place, contents] : meanwhile_) now[place] = contents;
  for (const auto& [place, contents] : known_) {
    if (!now.contains(place)) told.add(gone_node(place));
  }
  if (question_.interval.count() != 0) {
    known_ = std::move(now);
    ask_later();
  }
  const bool failed = mode == Mode::everything && told.empty() && result != OX_OK && result != OX_ENOTFOUND;
  if (!told.empty() || failed) tell_(failed ? result : code, told);
}

}  // namespace ox::manager
