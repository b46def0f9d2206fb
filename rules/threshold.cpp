// threshold: a rule that watches values, and sends an event when one crosses a limit and another when it returns.
//
// This is also the example of how a rule program is written. The expert daemon starts it, when the rule's entry says
// so, as
//
//   threshold ENTRY TARGET INTERVAL LEVEL CONDITION ...
//
// and starts it again when it ends. A rule program therefore
//   - opens its own session with the manager, and again when it is lost (Session),
//   - opens the window of its entry's name, and ends when that is asked to (main),
//   - prints what a person should know: the daemon keeps the last lines with the rule,
//   - may be killed at any moment, so it keeps nothing of its own: what it has told before stands in the manager's log
//     of events, and is read from there at its start (Told).
//
// TARGET    what is watched: a component ("node:router1"), whose values are asked for, or a log entry
//           ("logEnt:traffic"), whose collected values are read; "-" when each condition names its own
// INTERVAL  seconds between two looks (0: 60)
// LEVEL     of the event that tells of a crossing, 1 to 4
// CONDITION [TARGET,][rate:]PATH>LIMIT[/BACK][@HOLD], or with "<". The value must be beyond LIMIT for HOLD seconds; it
//           has returned when it is not beyond BACK for as long. rate: of a collected counter, its change per second.
//           One condition watches all instances of its PATH, each by itself.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <oxbase/oxbase.h>

namespace {

// A value at a time. `key` says whose it is: "node:router1 11.5.6.0".
struct Sample {
  std::string component, key;
  double value = 0;
  std::uint32_t time = 0;
};

// What has been told of one value.
struct State {
  bool is_over = false;
  std::uint32_t event = 0;  // that told of the crossing
  std::uint32_t since = 0;  // when the value came to the other side; 0: it is not there
  std::uint32_t seen = 0;   // time of the last collected value
};

struct Condition {
  std::string text, target, path;
  bool is_rate = false;
  bool is_above = true;
  double limit = 0, back = 0;
  std::uint32_t hold = 0;
  std::map<std::string, State> states;  // by the samples' keys
  std::uint32_t from = 0, until = 0;    // the times of collected values that the last look began and ended with
  std::string complaint;                // printed last

  [[nodiscard]] bool is_beyond(double value, double bound) const { return is_above ? value > bound : value < bound; }
};

struct Rule {
  std::string name;
  std::uint32_t interval = 60, level = 1;
  std::vector<Condition> conditions;
};

// ---- The command line -----------------------------------------------------------------------------------------------

// A number in front of a text, which is cut off.
bool cut_number(std::string& text, double& number) {
  char* end = nullptr;
  number = std::strtod(text.c_str(), &end);
  const bool is_one = end != text.c_str();
  text.erase(0, static_cast<std::size_t>(end - text.c_str()));
  return is_one;
}

// Takes "[TARGET,][rate:]PATH>LIMIT[/BACK][@HOLD]" apart.
bool read_condition(std::string text, Condition& condition) {
  condition.text = text;
  const std::size_t sign = text.find_first_of("<>");
  if (sign == std::string::npos) return false;
  condition.is_above = text[sign] == '>';
  condition.path = text.substr(0, sign);
  if (const std::size_t comma = condition.path.find(','); comma != std::string::npos) {
    condition.target = condition.path.substr(0, comma);
    condition.path.erase(0, comma + 1);
  }
  condition.is_rate = condition.path.rfind("rate:", 0) == 0;
  if (condition.is_rate) condition.path.erase(0, 5);
  text.erase(0, sign + 1);
  if (!cut_number(text, condition.limit)) return false;
  condition.back = condition.limit;
  if (text[0] == '/' && !cut_number(text.erase(0, 1), condition.back)) return false;
  double hold = 0;
  if (text[0] == '@' && !cut_number(text.erase(0, 1), hold)) return false;
  condition.hold = hold > 0 ? static_cast<std::uint32_t>(hold) : 0;
  return text.empty() && !condition.path.empty() && condition.target.find(':') != std::string::npos &&
         !condition.is_beyond(condition.back, condition.limit);
}

bool read_arguments(int argc, char** argv, Rule& rule) {
  if (argc < 6) {
    std::puts("usage: threshold ENTRY TARGET INTERVAL LEVEL CONDITION ...; CONDITION: PATH>LIMIT[/BACK][@HOLD]");
    return false;
  }
  rule.name = argv[1];
  if (const int seconds = std::atoi(argv[3]); seconds > 0) rule.interval = static_cast<std::uint32_t>(seconds);
  rule.level = static_cast<std::uint32_t>(std::clamp(std::atoi(argv[4]), 1, 4));
  for (int i = 5; i < argc; ++i) {
    Condition condition;
    condition.target = argv[2];
    if (!read_condition(argv[i], condition)) {
      std::printf("\"%s\" is no condition: write [TYPE:NAME,][rate:]PATH>LIMIT[/BACK][@SECONDS], or <\n", argv[i]);
      return false;
    }
    rule.conditions.push_back(condition);
  }
  return true;
}

// ---- Values --------------------------------------------------------------------------------------------------------

// What the library hands out is released by its own functions.
template <auto release>
struct Release {
  void operator()(auto* object) const { (void)release(object); }
};
using Nodes = std::unique_ptr<dnode, Release<oxdFree>>;
using Matrix = std::unique_ptr<oxdMatrix, Release<oxlFreeDataEntryMatrix>>;
using Events = std::unique_ptr<evmsg, Release<oxeEvmsgFree>>;

bool is_number(const char* text, double& number) {
  char* end = nullptr;
  number = std::strtod(text, &end);
  return end != text && *end == '\0';
}

// Values asked for now: oxaGet answers a list of nodes, one for each instance of the path.
OX_RESULT ask(const Condition& condition, std::vector<Sample>& samples) {
  dnode* list = nullptr;
  const OX_RESULT result = oxaGet(nullptr, condition.target.c_str(), condition.path.c_str(), nullptr, 0, 0, &list);
  const Nodes owner(list);
  for (dnode* node = list; node != nullptr; node = oxdNext(node)) {
    const char *type = "", *name = "", *path = "";
    Sample sample;
    (void)oxdGetCompType(node, &type);
    (void)oxdGetCompName(node, &name);
    (void)oxdGetAmibName(node, &path);
    sample.component = std::string(type) + ':' + name;
    sample.key = sample.component + ' ' + path;
    sample.time = static_cast<std::uint32_t>(std::time(nullptr));
    if (is_number(oxdGetValueByRawStr(node), sample.value)) samples.push_back(sample);
  }
  return result;
}

// A cell of a matrix, which stands at a place on each of its axes: components, attributes, instances and times. False
// where it has no number, or is of another attribute.
bool read_cell(const oxdMatrix& matrix, const oxdMatrixItem& cell, const std::string& wanted, Sample& sample) {
  const char *component = "", *path = "", *index = "", *text = "";
  const std::uint32_t time = cell.time - matrix.timeNumber;
  (void)oxdMatrixGetText(&matrix, OXD_MATRIX_COMPONENT, cell.component, &component);
  (void)oxdMatrixGetText(&matrix, OXD_MATRIX_AMIB, cell.amib, &path);
  (void)oxdMatrixGetText(&matrix, OXD_MATRIX_INDEX, cell.index, &index);
  const std::string instance = std::string(path) + '.' + index;
  sample.component = component;
  sample.key = sample.component + ' ' + instance;
  return (wanted == path || wanted == instance) && oxdMatrixGetTime(&matrix, time, &sample.time) == OX_OK &&
         oxdMatrixGetCellText(&matrix, cell.component, cell.amib, cell.index, time, &text) == OX_OK &&
         is_number(text, sample.value);
}

// Collected values that are new since the last look. A slow agent's come when the others of their round are there
// already, so each look goes back to where the one before began.
OX_RESULT read_collected(Condition& condition, std::vector<Sample>& samples) {
  const std::uint32_t function = condition.is_rate ? OXL_RATE : OXL_VALUES;
  const oxaSelection selection = {{condition.from, 0, 0, function, condition.from == 0 ? 1u : 0u}};
  const std::string name = condition.target.substr(condition.target.find(':') + 1);
  const char* numbers = "";
  const std::string wanted = oxbNumName(condition.path.c_str(), &numbers) == OX_OK ? numbers : condition.path;
  oxdMatrix* made = nullptr;
  const OX_RESULT result = oxlGetLogEntryData(nullptr, name.c_str(), &selection, &made);
  const Matrix matrix(made);
  for (const oxdMatrixItem* cell = made != nullptr ? made->cells : nullptr; cell != nullptr; cell = cell->next) {
    Sample sample;
    if (!read_cell(*made, *cell, wanted, sample)) continue;
    std::uint32_t& seen = condition.states[sample.key].seen;
    if (sample.time > seen) samples.push_back(sample);
    seen = std::max(seen, sample.time);
  }
  std::stable_sort(samples.begin(), samples.end(), [](const Sample& a, const Sample& b) { return a.time < b.time; });
  if (made != nullptr && made->timeCount != 0) {
    condition.from = condition.until != 0 ? condition.until : made->times[0];
    condition.until = made->times[made->timeCount - 1];
  }
  return result;
}

// ---- Events --------------------------------------------------------------------------------------------------------

std::string sender_of(const Rule& rule) { return "rule " + rule.name; }

// The text that tells the events of one value apart from the others of this rule.
std::string mark_of(const Condition& condition, const std::string& key) { return condition.text + ' ' + key; }

std::string memo_of(const Condition& condition, const Sample& sample, bool is_over) {
  char text[160];
  const char* const side = condition.is_above ? "over" : "under";
  if (is_over) {
    (void)std::snprintf(text, sizeof text, "%s is %.12g, %s %.12g", condition.path.c_str(), sample.value, side,
                        condition.limit);
  } else {
    (void)std::snprintf(text, sizeof text, "%s is %.12g, not %s %.12g any more", condition.path.c_str(), sample.value,
                        side, condition.back);
  }
  return text;
}

// Sends the event of a crossing, or of a return, which refers to the event of its crossing. False: it is not sent.
bool send(const Rule& rule, const Condition& condition, const Sample& sample, State& state, bool is_over) {
  const Events event(oxeEvmsgAlloc());
  const std::size_t colon = sample.component.find(':');
  const std::string memo = memo_of(condition, sample, is_over);
  std::uint32_t handle = 0;
  (void)oxeEvmsgSetEventType(event.get(), OX_EVENT_LEVELLED | (is_over ? rule.level : 1u));
  (void)oxeEvmsgSetCompType(event.get(), sample.component.substr(0, colon).c_str());
  (void)oxeEvmsgSetCompName(event.get(), sample.component.substr(colon + 1).c_str());
  (void)oxeEvmsgSetMemo(event.get(), memo.c_str());
  (void)oxeEvmsgSetOptMsg(event.get(), mark_of(condition, sample.key).c_str());
  if (!is_over) (void)oxeEvmsgSetRefEventId(event.get(), state.event);
  OX_RESULT result = oxeEventOpen(nullptr, sender_of(rule).c_str(), &handle);
  if (result == OX_OK) result = oxeEventSend(handle, event.get());
  if (result == OX_OK) (void)oxeEvmsgGetEventId(event.get(), &state.event);
  (void)oxeEventClose(handle);
  std::printf("%s: %s%s%s\n", sample.component.c_str(), memo.c_str(),
              result == OX_OK ? "" : ", which is not told: ", result == OX_OK ? "" : oxcStrError(result));
  return result == OX_OK;
}

// One event for each crossing and one for each return, however often a value is seen between the two.
void look_at(const Rule& rule, Condition& condition, const Sample& sample) {
  State& state = condition.states[sample.key];
  const bool turns = state.is_over ? !condition.is_beyond(sample.value, condition.back)
                                   : condition.is_beyond(sample.value, condition.limit);
  if (!turns) return void(state.since = 0);
  if (state.since == 0) state.since = sample.time;
  if (sample.time - state.since < condition.hold) return;
  if (!send(rule, condition, sample, state, !state.is_over)) return;
  state.is_over = !state.is_over;
  state.since = 0;
}

// What this rule has told before, from the manager's log: a value that was over its limit is not told again.
void read_told(Rule& rule) {
  const std::unique_ptr<evflt, Release<oxeEvfltFree>> filter(oxeEvfltAlloc());
  evmsg* list = nullptr;
  (void)oxeEvfltSetPattern(filter.get(), OX_EVFLT_SENDER, sender_of(rule).c_str());
  (void)oxeEvlogGet(nullptr, filter.get(), &list);
  const Events owner(list);
  for (const evmsg* event = list; event != nullptr; event = oxeEvmsgNext(event)) {
    const char* mark = "";
    std::uint32_t crossing = 0;
    (void)oxeEvmsgGetOptMsg(event, &mark);
    for (Condition& condition : rule.conditions) {
      const std::string begin = mark_of(condition, "");
      if (std::string(mark).rfind(begin, 0) != 0) continue;
      State& state = condition.states[mark + begin.size()];
      state.is_over = oxeEvmsgGetRefEventId(event, &crossing) != OX_OK;
      (void)oxeEvmsgGetEventId(event, &state.event);
    }
  }
}

// ---- The program ---------------------------------------------------------------------------------------------------

bool connected = false;
void OX_CALL on_disconnect(uint32_t, OX_RESULT, uint32_t) { connected = false; }

// A session, where there is none and a manager is there; else a second passes.
bool ensure_session(Rule& rule) {
  if (connected) return true;
  if (oxaWaitForOxbase(0) != OX_OK) return false;
  connected = oxaInit(&on_disconnect) == OX_OK;
  if (connected) read_told(rule);
  if (!connected) std::this_thread::sleep_for(std::chrono::seconds(1));
  return connected;
}

void look(Rule& rule) {
  for (Condition& condition : rule.conditions) {
    std::vector<Sample> samples;
    const bool is_collected = condition.target.rfind("logEnt:", 0) == 0;
    const OX_RESULT result = is_collected ? read_collected(condition, samples) : ask(condition, samples);
    for (const Sample& sample : samples) look_at(rule, condition, sample);
    const bool is_silent = samples.empty() && !is_collected;  // of what is collected there may be nothing new
    const std::string complaint = result != OX_OK && samples.empty() ? oxcStrError(result)
                                  : is_silent                        ? "no number"
                                                                     : "";
    if (!complaint.empty() && complaint != condition.complaint) {
      std::printf("%s %s: %s\n", condition.target.c_str(), condition.path.c_str(), complaint.c_str());
    }
    condition.complaint = complaint;
  }
  (void)std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  Rule rule;
  if (!read_arguments(argc, argv, rule) || oxrWindowOpen(rule.name.c_str()) != OX_OK) return 2;
  std::time_t next = 0;
  while (oxrWindowAsked() == 0) {
    if (!ensure_session(rule)) continue;
    if (std::time(nullptr) >= next) {
      look(rule);
      next = std::time(nullptr) + rule.interval;
    }
    (void)oxaDispatch(200);  // tells when the manager goes
  }
  return oxrWindowClose() == OX_OK ? 0 : 1;
}
