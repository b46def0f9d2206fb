// oxevent: sends, awaits, lists and cancels events.
#include <cstdio>

#include "tools/cli.h"
#include "tools/community.h"
#include "tools/diagnosis.h"
#include "tools/event_options.h"
#include "tools/event_output.h"
#include "tools/following.h"

namespace {

constexpr uint32_t only_first = 1;

struct Options {
  std::string manager;
  bool json = false;
  tool::EventFields fields;
  tool::EventCriteria criteria;
  std::string sender = "oxevent";
  uint32_t count = 0;
  uint32_t timeout = 0;
  std::string persistent;
  bool traps = false;
  bool no_reconnect = false;
  std::vector<uint32_t> ids;
};

const char* session(const Options& options) { return options.manager.empty() ? nullptr : options.manager.c_str(); }

// ---- send, cancel ----

class Handle {
 public:
  explicit Handle(const Options& options) {
    tool::require(oxeEventOpen(session(options), options.sender.c_str(), &handle_), "event handle");
  }
  ~Handle() { (void)oxeEventClose(handle_); }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  [[nodiscard]] uint32_t get() const { return handle_; }

 private:
  uint32_t handle_ = 0;
};

int send(const Options& options) {
  tool::open_session();
  const Handle handle(options);
  const uint32_t times = options.count == 0 ? 1 : options.count;
  for (uint32_t i = 0; i < times; ++i) {
    const tool::EventPtr event = options.fields.make();
    tool::require(oxeEventSend(handle.get(), event.get()), "send");
    tool::print_events(event.get(), options.json);
  }
  return tool::exit_ok;
}

tool::EventPtr named(const std::vector<uint32_t>& ids) {
  evmsg* list = nullptr;
  for (const uint32_t id : ids) {
    evmsg* const event = oxeEvmsgAlloc();
    if (event == nullptr || oxeEvmsgSetSndId(event, id) != OX_OK) throw std::bad_alloc();
    (void)oxcQueueAdd(&list, event);
  }
  return tool::EventPtr(list);
}

int cancel(const Options& options) {
  tool::open_session();
  const Handle handle(options);
  for (const uint32_t id : options.ids) {
    tool::require(oxeEventCancel(handle.get(), named({id}).get()), "event " + std::to_string(id));
  }
  return tool::exit_ok;
}

// ---- log ----

int list_log(const Options& options) {
  tool::open_session();
  const tool::FilterPtr filter = options.criteria.make();
  evmsg* list = nullptr;
  const OX_RESULT result = oxeEvlogGet(session(options), filter.get(), &list);
  if (result != OX_ENOTFOUND) tool::require(result, "event log");
  tool::print_events(tool::EventPtr(list).get(), options.json);
  return tool::exit_ok;
}

using Mark = OX_RESULT(OX_CALL*)(const char*, uint32_t, const evmsg*);

int mark_log(const Options& options, Mark mark) {
  tool::open_session();
  tool::require(mark(session(options), only_first + 1, named(options.ids).get()), "event log");
  return tool::exit_ok;
}

// ---- wait ----

struct Waiting {
  const Options& options;
  uint32_t seen = 0;
  OX_RESULT failure = OX_OK;

  [[nodiscard]] bool goes_on() const { return failure == OX_OK && (options.count == 0 || seen < options.count); }
};

// What has been shown is taken: a delivery that cannot be shown is refused, and comes again.
OX_RESULT OX_CALL on_events(void*, uint32_t, void* argument, evmsg* list, OX_RESULT code) {
  Waiting& waiting = *static_cast<Waiting*>(argument);
  const tool::EventPtr events(list);
  if (!waiting.goes_on()) return OX_EBUSYDIR;
  if (code == OX_ETOOMANY) {
    std::fputs("oxevent: events have been lost here\n", stderr);
    return OX_OK;
  }
  if (code == OX_ECLOSED) return OX_OK;  // the session's matter: the wait goes on in the next one
  if (code != OX_OK) {
    waiting.failure = code;
    return code;
  }
  tool::print_events(events.get(), waiting.options.json);
  if (std::fflush(stdout) != 0) return waiting.failure = OX_EWRITE;
  for (const evmsg* event = events.get(); event != nullptr; event = oxeEvmsgNext(event)) ++waiting.seen;
  return OX_OK;
}

void* open_wait(const Options& options, Waiting& waiting) {
  const tool::FilterPtr filter = options.criteria.make();
  void* wait = nullptr;
  if (!options.persistent.empty()) {
    tool::require(oxeEventWaitOpenEx(options.persistent.c_str(), on_events, &waiting, &wait), options.persistent);
    tool::require(oxeEventWaitFilterEx(wait, filter.get()), "filter");
    return wait;
  }
  const auto open = options.traps ? &oxeTrapWaitOpen : &oxeEventWaitOpen;
  tool::require(open(session(options), 0, on_events, &waiting, &wait), "wait");
  tool::require(oxeEventWaitFilter(wait, filter.get()), "filter");
  return wait;
}

int wait(const tool::Command& app, const Options& options) {
  tool::Following following(app, !options.no_reconnect, options.timeout);
  Waiting waiting{options};
  void* const opened = open_wait(options, waiting);
  while (waiting.goes_on() && following.turn()) {
  }
  (void)(options.persistent.empty() ? oxeEventWaitClose(opened) : oxeEventWaitCloseEx(opened));
  tool::require(waiting.failure, "wait");
  if (waiting.goes_on() && options.count != 0) throw std::runtime_error("the time is over");
  return tool::exit_ok;
}

tool::Command add_log_command(tool::Command& log, const char* name, const char* text, Options& options) {
  tool::Command command = log.add_subcommand(name, text);
  command.add_option("id", options.ids, "send identifiers of the events").required();
  return command;
}

}  // namespace

int main(int argc, char** argv) {
  tool::Command app("Sends events to the manager, waits for them, and keeps its event log.", "oxevent");
  Options options;
  app.require_subcommand();
  app.add_option("-m,--manager", options.manager, "name of the manager (default: the local one)");
  app.add_flag("-j,--json", options.json, "JSON for machines, one event a line");
  tool::add_communities_option(app);
  app.fallthrough();

  tool::Command send_command = app.add_subcommand("send", "Send an event, and print it as the manager completes it");
  options.fields.add_to(send_command);
  send_command.add_option("--sender", options.sender, "name of the sending application");
  send_command.add_option("-n,--count", options.count, "send it that often");

  tool::Command wait_command = app.add_subcommand("wait", "Print events as they come");
  options.criteria.add_to(wait_command);
  wait_command.add_option("-n,--count", options.count, "end after that many events");
  wait_command.add_option("-t,--timeout", options.timeout, "end after that many seconds");
  const tool::Option persistent = wait_command.add_option(
      "--persistent", options.persistent, "go on where the wait of this name ended, also after a restart");
  wait_command.add_flag("--traps", options.traps, "only events that came from traps").excludes(persistent);

  tool::add_no_reconnect(wait_command, options.no_reconnect);

  tool::Command log = app.add_subcommand("log", "List the event log, mark or delete events in it");
  log.require_subcommand();
  tool::Command list = log.add_subcommand("list", "Print the events of the log");
  options.criteria.add_to(list);
  options.criteria.add_limits_to(list);
  const tool::Command check = add_log_command(log, "check", "Mark events as checked", options);
  const tool::Command uncheck = add_log_command(log, "uncheck", "Take the mark away", options);
  const tool::Command remove = add_log_command(log, "delete", "Delete events from the log", options);

  tool::Command cancel_command = app.add_subcommand("cancel", "Take events back: from the log, and from waits");
  cancel_command.add_option("id", options.ids, "send identifiers of the events").required();

  app.footer(
      "Examples:\n"
      "  oxevent send --type 0x103 --component node:router1 --memo 'line 3 is down'\n"
      "  oxevent wait --min-level 2 --count 1 --json\n"
      "  oxevent wait --persistent night-watch --comp-name 'router*'\n"
      "  oxevent log list --last 20\n"
      "  oxevent log check 17 18\n"
      "Exit code: 0 done, 1 the request failed (its error text is on stderr), 2 usage.");
  return tool::run(app, tool::arguments(argc, argv), [&] {
    if (send_command.parsed()) return send(options);
    if (wait_command.parsed()) return wait(app, options);
    if (cancel_command.parsed()) return cancel(options);
    if (check.parsed()) return mark_log(options, &oxeEvlogCheck);
    if (uncheck.parsed()) return mark_log(options, &oxeEvlogUncheck);
    if (remove.parsed()) return mark_log(options, &oxeEvlogDelete);
    return list_log(options);
  });
}
