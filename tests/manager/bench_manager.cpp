#include "tests/manager/bench_manager.h"

#include <oxbase/oxd.h>

#include "manager/paths.h"

namespace ox::manager {
namespace {

const Report no_faults = [](const std::string& file, std::uint32_t line, const std::string& text) {
  ADD_FAILURE() << file << ':' << line << ": " << text;
};

}  // namespace

std::string shown(dnode* node) {
  const auto field = [&](auto getter) {
    const char* text = "";
    (void)getter(node, &text);
    return std::string(text);
  };
  std::string line = field(oxdGetCompType) + ':' + field(oxdGetCompName) + ' ' + field(oxdGetAmibName);
  std::uint32_t code = 0;
  if (oxdGetErrCode(node, &code) == OX_OK && code != 0) return line + " ! " + std::to_string(code);
  if (oxdGetValueType(node) >= 0) line += std::string(" = ") + oxdGetValueByRawStr(node);
  return line;
}

void ManagerTest::SetUp() {
  test::lay_down_installation();
  bool sound = true;
  ASSERT_EQ(0u, hold_tree(amib_files(no_faults, sound), no_faults));
  start_manager();
}

void ManagerTest::start_manager() {
  const std::string data = test::work_dir() + "/data";
  ASSERT_TRUE(ensure_directory(data));
  manager_.emplace(loop_, settings_, data);
  ASSERT_TRUE(manager_->journal.load(manager_->store, no_faults));
  ASSERT_TRUE(manager_->events.open(no_faults));
}

void ManagerTest::restart() {
  manager_.reset();
  start_manager();
}

Reply ManagerTest::ask(std::uint32_t type, std::uint32_t command, Bytes data, std::uint32_t session,
                       std::uint32_t destination_id, std::uint32_t error) {
  Message message;
  message.type = type;
  message.command = command;
  message.error = error;
  message.destination_id = destination_id;
  message.data = std::move(data);
  return send(message, session);
}

Reply ManagerTest::send(const Message& message, std::uint32_t session) {
  std::optional<Reply> answer;
  route(*manager_, {session, message, [&](Reply reply) { answer = std::move(reply); }});
  loop_.restart();
  while (!answer && loop_.run_one() != 0) {
  }
  EXPECT_TRUE(answer) << "no reply to type " << message.type << " command " << message.command;
  return answer ? std::move(*answer) : Reply{.error = 0xFFFF, .data = {}};
}

std::string ManagerTest::show(const Reply& reply) {
  std::string text = std::to_string(reply.error);
  NodeList nodes;
  EXPECT_EQ(0u, decode_nodes(reply.data, nodes));
  if (!nodes.empty()) text += '\n';
  for (dnode* node = nodes.get(); node != nullptr; node = oxdNext(node)) text += shown(node) + '\n';
  return text;
}

Bytes ManagerTest::get_payload(const std::string& component, const std::string& names, std::uint32_t options,
                               std::uint32_t limit) {
  PayloadWriter payload;
  payload.text(component);
  payload.text(names);
  payload.u32(options);
  payload.u32(limit);
  payload.u16(0);
  return std::move(payload.out());
}

std::string ManagerTest::get(const std::string& component, const std::string& names, std::uint32_t limit) {
  return show(ask(1, 1, get_payload(component, names, 0, limit)));
}

std::string ManagerTest::set(const std::vector<Setting>& settings) { return show(ask(1, 4, set_payload(settings))); }

Bytes ManagerTest::set_payload(const std::vector<Setting>& settings) {
  NodeList nodes;
  for (const Setting& setting : settings) {
    NodePtr node = make_node();
    const auto colon = setting.component.find(':');
    (void)oxdSetCompType(node.get(), setting.component.substr(0, colon).c_str());
    (void)oxdSetCompName(node.get(), setting.component.substr(colon + 1).c_str());
    (void)oxdSetAmibName(node.get(), setting.path.c_str());
    if (oxdSetValueByStr(node.get(), 0, setting.text.c_str()) != OX_OK) {
      (void)oxdSetText(node.get(), setting.text.c_str());
    }
    nodes.add(std::move(node));
  }
  const Bytes list = node_reply(0, nodes).data;
  PayloadWriter payload;
  payload.u32(0);
  payload.u32(0);
  payload.u16(static_cast<std::uint32_t>(list.size()));
  payload.bytes(list);
  return std::move(payload.out());
}

std::string ManagerTest::manage(std::uint32_t code, const std::vector<std::pair<int, std::string>>& arguments) {
  NodeList nodes;
  for (const auto& [number, text] : arguments) {
    NodePtr node = make_node();
    (void)oxdSetAmibName(node.get(), ("10.7." + std::to_string(number) + ".0").c_str());
    if (!text.empty()) (void)oxdSetText(node.get(), text.c_str());
    nodes.add(std::move(node));
  }
  return show(ask(1, 8, node_reply(0, nodes).data, 1, 0, code));
}

}  // namespace ox::manager
