// Management of components and relations, by code. The arguments are nodes whose AMIB names say what they are.
#include <algorithm>
#include <array>

#include "manager/base/attributes.h"
#include "manager/components/stored_value.h"
#include "manager/requests/data_copy.h"
#include "manager/requests/handlers.h"

namespace ox::manager {
namespace {

using Argument = ManagementArgument;

std::string find_text(const NodeList& arguments, Argument argument) {
  const Oid path = argument_path(argument);
  for (const dnode* node = arguments.get(); node != nullptr; node = oxdNext(node)) {
    if (path_of(node) == path) return text_of(node);
  }
  return {};
}

// The component that the arguments name: by its two arguments, else by the component fields of the first node.
ComponentName target_of(const NodeList& arguments) {
  ComponentName target{find_text(arguments, Argument::type), find_text(arguments, Argument::name)};
  const char* field = nullptr;
  if (target.type.empty() && oxdGetCompType(arguments.get(), &field) == OX_OK) target.type = field;
  if (target.name.empty() && oxdGetCompName(arguments.get(), &field) == OX_OK) target.name = field;
  return target;
}

OX_RESULT check_target(const Manager& manager, ComponentName& target) {
  if (target.type.empty()) return OX_EINCOMPLETE;
  if (const OX_RESULT result = check_type_name(target.type)) return result;
  return manager.directory.find_type(target.type);
}

// Whether the user may do that with a component; he is told else.
bool allows(const Request& request, Role needed, const ComponentName& component, const char* what) {
  if (request.rights->allow(needed, component, what)) return true;
  request.reply(error_reply(OX_EDENIED));
  return false;
}

Reply changed(Manager& manager, const Change& change) { return error_reply(manager.commit(std::span(&change, 1))); }

using Handler = void (*)(Manager&, NodeList, const Request&);

void add(Manager& manager, NodeList arguments, const Request& request) {
  ComponentName target = target_of(arguments);
  if (const OX_RESULT result = check_target(manager, target)) return request.reply(error_reply(result));
  if (!allows(request, Role::administer, target, "adding")) return;
  std::vector<Change> batch;
  if (target.name.empty()) {
    auto [name, mark] = manager.store.new_name(target.type);
    target.name = std::move(name);
    batch.push_back(std::move(mark));
  }
  OX_RESULT result = check_new_name(target.name);
  if (result == OX_OK && manager.store.has(target)) result = OX_EEXISTS;
  if (result != OX_OK) return request.reply(error_reply(result));
  batch.push_back({.component = target});
  StoreGrowth growth(manager.store);
  for (const Change& change : batch) {
    if (result == OX_OK) result = manager.check_room(change, growth);
  }
  if (result == OX_OK) result = manager.commit(batch);
  if (result != OX_OK) return request.reply(error_reply(result));
  NodePtr node = text_node(argument_path(Argument::name), target.name);
  set_component(node.get(), target);
  NodeList answer;
  answer.add(std::move(node));
  request.reply(node_reply(OX_OK, answer));
}

void remove(Manager& manager, NodeList arguments, const Request& request) {
  ComponentName target = target_of(arguments);
  OX_RESULT result = check_target(manager, target);
  if (result == OX_OK && target.name.empty()) result = OX_EINCOMPLETE;
  if (result == OX_OK) result = manager.directory.find(target);
  if (result == OX_OK && Store::is_built_in(target)) result = OX_ESYSTEMENTRY;
  if (result != OX_OK) return request.reply(error_reply(result));
  if (!allows(request, Role::administer, target, "removing")) return;
  remove_component(manager, target, [reply = request.reply](OX_RESULT removed) { reply(error_reply(removed)); });
}

OX_RESULT read_relation(const Manager& manager, const NodeList& arguments, Relation& read) {
  read.name = find_text(arguments, Argument::relation);
  read.from = {find_text(arguments, Argument::from_type), find_text(arguments, Argument::from_name)};
  read.to = {find_text(arguments, Argument::to_type), find_text(arguments, Argument::to_name)};
  for (ComponentName* end : {&read.from, &read.to}) {
    if (end->type.empty() || end->name.empty()) return OX_EINCOMPLETE;
    if (const OX_RESULT result = manager.directory.find(*end)) return result;
  }
  return read.name.empty() ? OX_RESULT{OX_EINCOMPLETE} : manager.vocabulary.check(read);
}

bool may_relate(const Request& request, const Relation& relation) {
  return request.rights->allow(Role::administer, relation.from, "relating") &&
         request.rights->allow(Role::administer, relation.to, "relating");
}

void relate(Manager& manager, NodeList arguments, const Request& request) {
  Change change;
  change.kind = Change::Kind::relate;
  OX_RESULT result = read_relation(manager, arguments, change.relation);
  if (result == OX_OK && !may_relate(request, change.relation)) result = OX_EDENIED;
  if (result == OX_OK && manager.store.has(change.relation)) result = OX_EEXISTS;
  request.reply(result == OX_OK ? changed(manager, change) : error_reply(result));
}

void unrelate(Manager& manager, NodeList arguments, const Request& request) {
  Change change;
  change.kind = Change::Kind::unrelate;
  OX_RESULT result = read_relation(manager, arguments, change.relation);
  if (result == OX_OK && !may_relate(request, change.relation)) result = OX_EDENIED;
  if (result == OX_OK && !manager.store.has(change.relation)) result = OX_ENOTFOUND;
  request.reply(result == OX_OK ? changed(manager, change) : error_reply(result));
}

// The components at the other ends of a component's relations, of all types without a relation name.
void query(Manager& manager, NodeList arguments, const Request& request) {
  ComponentName target = target_of(arguments);
  OX_RESULT result = check_target(manager, target);
  if (result == OX_OK && target.name.empty()) result = OX_EINCOMPLETE;
  if (result == OX_OK) result = manager.directory.find(target);
  if (result != OX_OK) return request.reply(error_reply(result));
  if (!allows(request, Role::read, target, "the relations of")) return;
  const std::string wanted = find_text(arguments, Argument::relation);
  NodeList answer;
  for (const Relation& one : manager.store.relations_of(target)) {
    if (!wanted.empty() && one.name != wanted) continue;
    const ComponentName& other = one.from == target ? one.to : one.from;
    answer.add(text_node(argument_path(Argument::related), other.type + ':' + other.name));
  }
  request.reply(answer.empty() ? error_reply(OX_ENOTFOUND) : node_reply(OX_OK, answer));
}

// An attribute list for one component: the entry name says which, as "type:name" or as a name of the nodes' type.
void set_attributes(Manager& manager, NodeList arguments, const Request& request) {
  ComponentName target = target_of(arguments);
  const std::string entry = find_text(arguments, Argument::entry_name);
  if (!entry.empty()) {
    if (parse_component_name(entry, target) != OX_OK) target.name = entry;
  }
  OX_RESULT result = check_target(manager, target);
  if (result == OX_OK && target.name.empty()) result = OX_EINCOMPLETE;
  if (result == OX_OK) result = manager.directory.find(target);
  if (result != OX_OK) return request.reply(error_reply(result));
  if (!allows(request, Role::administer, target, "the attribute list of")) return;
  NodeList values;
  while (NodePtr node = arguments.take_first()) {
    const Oid path = path_of(node.get());
    if (path == argument_path(Argument::entry_name) || path == argument_path(Argument::type) ||
        path == argument_path(Argument::name))
      continue;
    set_component(node.get(), target);
    values.add(std::move(node));
  }
  manager.writer.write({request.session, request.rights}, std::move(values), 0, node_answer(request.reply));
}

// Where what has been collected of a data entry is read; somebody else may have written there instead.
const std::array collected_paths{data_path(DataAttribute::header), data_path(DataAttribute::values)};

OX_RESULT copy_written(Manager& manager, const ComponentName& from, const ComponentName& to) {
  std::vector<Change> batch;
  for (const Oid& path : collected_paths) {
    const Value* const value = manager.store.value(from, path);
    if (value != nullptr) batch.push_back({.kind = Change::Kind::set, .component = to, .path = path, .value = *value});
  }
  return batch.empty() ? OX_RESULT{OX_OK} : manager.commit(batch);
}

// What has been collected, from one data entry into another.
void copy_data(Manager& manager, NodeList arguments, const Request& request) {
  ComponentName from{find_text(arguments, Argument::from_type), find_text(arguments, Argument::from_name)};
  ComponentName to{find_text(arguments, Argument::to_type), find_text(arguments, Argument::to_name)};
  OX_RESULT result = from.type == "dataEnt" && to.type == "dataEnt" ? OX_RESULT{OX_OK} : OX_RESULT{OX_EINCOMPLETE};
  for (ComponentName* const end : {&from, &to}) {
    if (result == OX_OK) result = manager.directory.find(*end);
  }
  if (result != OX_OK) return request.reply(error_reply(result));
  if (!allows(request, Role::administer, from, "copying") || !allows(request, Role::administer, to, "copying")) return;
  const auto is_written = [&](const Oid& path) { return manager.store.value(to, path) != nullptr; };
  if (std::any_of(collected_paths.begin(), collected_paths.end(), is_written)) {
    return request.reply(error_reply(OX_EEXISTS));
  }
  const auto copied = [&manager, from, to, reply = request.reply](OX_RESULT collected) {
    reply(error_reply(collected != OX_OK ? collected : copy_written(manager, from, to)));
  };
  copy_collected(manager, from.name, to.name, copied);
}

struct Operation {
  std::uint32_t code;
  Handler handler;
};
constexpr std::array operations{
    Operation{5, &add},      Operation{6, &remove},          Operation{8, &relate},
    Operation{9, &unrelate}, Operation{10, &query},          Operation{14, &remove},
    Operation{39, &add},     Operation{41, &set_attributes}, Operation{copy_data_code, &copy_data},
};

}  // namespace

void handle_management(Manager& manager, const Request& request) {
  NodeList arguments;
  if (const OX_RESULT result = decode_nodes(request.message.data, arguments)) {
    return request.reply(error_reply(result));
  }
  const bool of_files = request.message.error == backup_code || request.message.error == database_check_code;
  if (of_files && !allows(request, Role::administer, {"system", "system"}, "a backup or a check of")) return;
  if (request.message.error == backup_code) return handle_backup(manager, request);
  if (request.message.error == database_check_code) return handle_database_check(manager, request);
  for (const Operation& operation : operations) {
    if (operation.code != request.message.error) continue;
    if (arguments.empty()) return request.reply(error_reply(OX_EINCOMPLETE));
    return operation.handler(manager, std::move(arguments), request);
  }
  request.reply(error_reply(OX_EUNSUPPORTED));
}

}  // namespace ox::manager
