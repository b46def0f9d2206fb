#include "tests/manager/manager_fixture.h"

#include <memory>
#include <sstream>
#include <thread>

#include <oxbase/oxb.h>

#include "manager/base/paths.h"
#include "manager/definitions.h"
#include "tests/support/installation.h"
#include "tests/support/scripted_peer.h"
#include "tests/support/system_root.h"

namespace ox::manager {
namespace {

const FaultSink no_faults = [](const std::string& file, std::uint32_t line, const std::string& text) {
  ADD_FAILURE() << file << ':' << line << ": " << text;
};

// "type:name", AMIB name and text; the text is parsed as a value of the attribute.
NodePtr value_node(const std::string& component, const std::string& path, const std::string& text) {
  NodePtr node = make_node();
  if (const auto colon = component.find(':'); colon != component.npos) {
    (void)oxdSetCompType(node.get(), component.substr(0, colon).c_str());
    (void)oxdSetCompName(node.get(), component.substr(colon + 1).c_str());
  }
  (void)oxdSetAmibName(node.get(), path.c_str());
  if (text.empty() || oxdSetValueByStr(node.get(), 0, text.c_str()) == OX_OK) return node;
  (void)oxdSetText(node.get(), text.c_str());
  return node;
}

}  // namespace

std::string ManagerTest::shown(dnode* node) {
  const auto field = [&](auto getter) {
    const char* text = "";
    (void)getter(node, &text);
    return std::string(text);
  };
  const std::string name = field(oxdGetCompType) + ':' + field(oxdGetCompName) + ' ' + field(oxdGetAmibName);
  if (const OX_RESULT code = code_of(node)) return name + " ! " + std::to_string(code);
  return oxdGetValueType(node) >= 0 ? name + " = " + oxdGetValueByRawStr(node) : name;
}

void ManagerTest::SetUp() {
  test::lay_down_installation();
  bool sound = true;
  bool outdated = false;
  ASSERT_EQ(0u, hold_tree(sound_amib_files(no_faults, sound), outdated));
  start_manager();
}

void ManagerTest::start_manager() {
  const std::string data = test::work_dir() + "/data";
  ASSERT_TRUE(ensure_directory(data));
  manager_.emplace(loop_, settings_, data);
  ASSERT_TRUE(manager_->components.open(no_faults));
  ASSERT_TRUE(manager_->events.open(no_faults));
  ASSERT_TRUE(
      manager_->collected_file.open([this](const std::string& file, std::uint32_t line, const std::string& text) {
        if (!damage_is_meant_) no_faults(file, line, text);
      }));
  ASSERT_TRUE(manager_->run_ledger.open(no_faults));
  load_components(*manager_, [](bool loaded) { ASSERT_TRUE(loaded); });
}

// What the loop had still to do for the manager goes with it, as with its process.
void ManagerTest::restart(std::chrono::milliseconds down) {
  manager_.reset();
  std::destroy_at(&loop_);
  std::construct_at(&loop_);
  std::this_thread::sleep_for(down);
  start_manager();
}

void ManagerTest::TearDown() { (void)oxbDeleteAmibTree(OXB_TREE); }

Bytes ManagerTest::rest_of(const Reply& reply) {
  Bytes all;
  while (reply.rest && reply.rest->left() != 0) {
    Bytes piece;
    const std::uint64_t left = reply.rest->left();
    if (!reply.rest->take(piece)) {
      ADD_FAILURE() << reply.rest->fault();
      break;
    }
    EXPECT_EQ(left - piece.size(), reply.rest->left());
    all.insert(all.end(), piece.begin(), piece.end());
  }
  return all;
}

Reply ManagerTest::ask(const Message& message, std::uint32_t session) {
  Reply reply = begin_to_ask(message, session);
  const Bytes rest = rest_of(reply);
  reply.data.insert(reply.data.end(), rest.begin(), rest.end());
  return reply;
}

void ManagerTest::send(const Message& message, std::function<void(Reply)> answered, std::uint32_t session) {
  const auto rights = rights_.find(session);
  route(*manager_,
        {session, message, std::move(answered), rights != rights_.end() ? rights->second : Rights::of_manager()});
}

Reply ManagerTest::begin_to_ask(const Message& message, std::uint32_t session) {
  std::optional<Reply> answer;
  send(
      message, [&](Reply reply) { answer = std::move(reply); }, session);
  run_until([&] { return answer.has_value(); });
  EXPECT_TRUE(answer) << "no reply to type " << message.type << " command " << message.command;
  return answer ? std::move(*answer) : Reply{.error = 0xFFFF};
}

Reply ManagerTest::ask(std::uint32_t type, std::uint32_t command, Bytes payload, std::uint32_t session,
                       std::uint32_t destination_id) {
  return ask({.type = type, .command = command, .destination_id = destination_id, .data = std::move(payload)}, session);
}

Message ManagerTest::message(const std::string& text) {
  std::istringstream words(text);
  std::string verb, component, path, value;
  words >> verb;
  NodeList nodes;
  if (verb == "get") {
    std::uint32_t limit = 0;
    words >> component >> path >> limit;
    const std::string names = test::text(component) + test::text(path);
    return {.type = 1, .command = 1, .data = bytes_of(names + test::word(0) + test::word(limit) + test::half(0))};
  }
  if (verb == "set") {
    while (words >> component >> path >> value) nodes.add(value_node(component, path, value));
    const Bytes list = node_reply(0, nodes).data;
    const std::string head = std::string(8, '\0') + test::half(static_cast<std::uint32_t>(list.size()));
    Message set{.type = 1, .command = 4, .data = bytes_of(head)};
    set.data.insert(set.data.end(), list.begin(), list.end());
    return set;
  }
  while (std::getline(words >> std::ws, path, '=') && std::getline(words, value, ' ')) {
    nodes.add(value_node("", path.find('.') == path.npos ? "10.7." + path + ".0" : path, value));
  }
  const auto code = static_cast<std::uint32_t>(std::stoul(verb));
  return {.type = 1, .command = 8, .error = code, .data = node_reply(0, nodes).data};
}

std::string ManagerTest::ask_as(std::uint32_t session, const std::string& words) {
  const Reply reply = ask(message(words), session);
  std::string text = std::to_string(reply.error);
  NodeList nodes;
  EXPECT_EQ(0u, decode_nodes(reply.data, nodes));
  for (dnode* node = nodes.get(); node != nullptr; node = oxdNext(node)) text += "; " + shown(node);
  return text;
}

}  // namespace ox::manager
