// A manager that is killed at any moment, under changes of every kind: what was answered for is there again.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <thread>

#include <oxbase/oxbase.h>

#include "tests/road/daemon.h"
#include "tests/snmp/packet.h"
#include "tests/support/installation.h"
#include "tests/support/scripted_peer.h"
#include "tests/support/system_root.h"
#include "tests/support/test.h"
#include "tests/support/udp_socket.h"

namespace ox::test {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr char port[] = "11.5.2.0";
const std::string no_component = "no component";
const std::string no_value = "no value";

// More of them in long runs: OX_KILLS.
int kills() { return number_from("OX_KILLS", 20); }

struct List {
  explicit List(std::uint32_t count) : first(oxdAlloc(count)) {}
  ~List() { (void)oxdFree(first); }
  List(const List&) = delete;
  List& operator=(const List&) = delete;
  // The next node.
  void add(const char* path, const std::string& text, std::uint32_t type = OX_DISPLAYSTRING) {
    at = at == nullptr ? first : oxdNext(at);
    (void)oxdSetAmibName(at, path);
    (void)oxdSetValueByStr(at, type, text.c_str());
  }
  dnode* first;
  dnode* at = nullptr;
};

// The number of an event of this test: all of its memo, or what stands behind the identifier of a trap's value.
int number_of(const evmsg* event) {
  const char* memo = "";
  (void)oxeEvmsgGetMemo(event, &memo);
  const std::string text = memo;
  return std::atoi(text.c_str() + text.rfind('=') + 1);
}

void OX_CALL on_disconnect(std::uint32_t, OX_RESULT, std::uint32_t) {}

class KillTest : public testing::Test {
 protected:
  void SetUp() override {
    lay_down_installation();
    write_settings("TrapAddress:\t127.0.0.1\nTrapPort:\t" + std::to_string(trap_port_) + "\nTrapRepeatWindow:\t0\n");
  }

  // One change. False when nobody answers.
  bool change() {
    (void)oxaDispatch(0);
    const std::string name = "k" + std::to_string(random() % 20);
    const std::string& now = known_.try_emplace(name, no_component).first->second;
    switch (random() % 6) {
      case 0:
        return note(name, manage(5, name), now == no_component ? no_value : now);
      case 1:
        return note(name, manage(6, name), no_component);
      case 2:
        return send();
      case 3:
        return inform();
      case 4:
        return append();
      default:
        return set(name, static_cast<std::int32_t>(random() % 60000));
    }
  }
  void begin() {
    ASSERT_EQ(0u, oxeEventWaitOpenEx("kills", &on_events, this, &wait_));
    ASSERT_TRUE(append());
    record_size_ = bytes_of_records();
    ASSERT_NE(0u, record_size_);
  }
  void expect_all_there() {
    for (const auto& [name, value] : known_) {
      const std::string found = read(name);
      EXPECT_TRUE(found == value || (name == uncertain_ && found == uncertain_value_))
          << name << " is " << found << ", not " << value;
    }
    if (!uncertain_.empty()) known_[uncertain_] = read(uncertain_);
    uncertain_.clear();
    expect_records();
    expect_events();
    for (const auto& file : std::filesystem::directory_iterator(work_dir() + "/data")) {
      EXPECT_EQ(std::string::npos, file.path().filename().string().find(".db.")) << file.path() << " was set aside";
    }
  }
  [[nodiscard]] std::size_t delivered() const { return delivered_.size(); }
  [[nodiscard]] std::uint32_t records() const { return records_; }
  unsigned random() { return static_cast<unsigned>(random_()); }

 private:
  // What is refused changes nothing: a component that is there already, or is not.
  bool note(const std::string& name, OX_RESULT result, const std::string& value) {
    const bool answered = result == OX_OK || result == OX_EEXISTS || result == OX_ENOCOMP || result == OX_ENODES;
    if (result == OX_OK) known_[name] = value;
    if (!answered) {
      uncertain_ = name;
      uncertain_value_ = value;
    }
    return answered;
  }
  static OX_RESULT manage(std::uint32_t code, const std::string& name) {
    List list(2);
    list.add("10.7.1.0", "node");
    list.add("10.7.8.0", name);
    dnode* answer = nullptr;
    const OX_RESULT result = oxaMgmtControl(nullptr, code, list.first, &answer);
    (void)oxdFree(answer);
    return result;
  }
  bool set(const std::string& name, std::int32_t value) {
    List list(1);
    list.add(port, std::to_string(value), OX_INTEGER);
    (void)oxdSetCompType(list.first, "node");
    (void)oxdSetCompName(list.first, name.c_str());
    dnode* answer = nullptr;
    const OX_RESULT result = oxaSet(nullptr, 0, 20, list.first, &answer);
    (void)oxdFree(answer);
    return note(name, result, known_[name] == no_component ? no_component : std::to_string(value));
  }
  bool append() {
    List list(1);
    list.add(port, "161", OX_INTEGER);
    const OX_RESULT result = oxaDataAppend(nullptr, 1, 2, "dataEnt:k", "values", list.first);
    if (result == OX_OK) ++records_;
    unanswered_record_ = result != OX_OK;
    return result == OX_OK;
  }
  bool send() {
    std::uint32_t handle = 0;
    if (oxeEventOpen(nullptr, "kills", &handle) != OX_OK) return false;
    evmsg* event = oxeEvmsgAlloc();
    (void)oxeEvmsgSetMemo(event, std::to_string(++sent_).c_str());
    const bool answered = oxeEventSend(handle, event) == OX_OK;
    (void)oxeEvmsgFree(event);
    if (answered) events_.insert(sent_);
    return answered && oxeEventClose(handle) == OX_OK;
  }
  // True also without an answer: the next change tells whether somebody is there.
  bool inform() {
    const auto number = static_cast<std::uint32_t>(++sent_);
    const std::string id = element(0x02, word(number));
    const std::string bindings =
        element(0x30, bytes("06082B06010201010300 430100")) +
        element(0x30, bytes("060A2B060106030101040100 060B2B0601040183F638020000")) +  // 1.3.6.1.4.1.64312.2.0.0
        element(0x30, bytes("060A2B0601040183F6380201") + id);
    const std::string pdu = id + bytes("020100 020100") + element(0x30, bindings);
    agent_.send(element(0x30, bytes("020101 0406'public'") + element(0xA6, pdu)), trap_port_);
    for (std::uint32_t answered = 0; answered != number;) {
      const std::string datagram = agent_.receive(milliseconds(500));
      if (datagram.empty()) return true;
      oxsSnmpMessage answer{};
      EXPECT_EQ(0u, oxsSnmpDecode(datagram.data(), static_cast<std::uint32_t>(datagram.size()), &answer));
      answered = answer.requestId;
      events_.insert(static_cast<int>(answered));
      (void)oxsSnmpFree(&answer);
    }
    return true;
  }

  static std::string read(const std::string& name) {
    dnode* list = nullptr;
    const OX_RESULT result = oxaGet(nullptr, ("node:" + name).c_str(), port, nullptr, 0, 20, &list);
    std::string text = result == OX_ENOCOMP ? no_component : no_value;
    if (result == OX_OK && list != nullptr && oxdGetValueType(list) >= 0) text = oxdGetValueByRawStr(list);
    (void)oxdFree(list);
    return text;
  }
  static std::uint32_t bytes_of_records() {
    std::uint32_t bytes = 0;
    EXPECT_EQ(0u, oxaDataGetSize(nullptr, "dataEnt:k", "values", &bytes));
    return bytes;
  }
  void expect_records() {
    const std::uint32_t bytes = bytes_of_records();
    const std::uint32_t found = bytes / record_size_;
    EXPECT_TRUE(found == records_ || (unanswered_record_ && found == records_ + 1)) << found << ", not " << records_;
    EXPECT_EQ(bytes, found * record_size_);
    records_ = found;
    unanswered_record_ = false;
  }
  // Then all are deleted from the log: none may come back.
  void expect_events() {
    evmsg* list = nullptr;
    const OX_RESULT result = oxeEvlogGet(nullptr, nullptr, &list);
    EXPECT_TRUE(result == OX_OK || (result == OX_ENOTFOUND && events_.empty())) << result;
    std::set<int> found;
    for (const evmsg* event = list; event != nullptr; event = oxeEvmsgNext(event)) {
      std::uint32_t id = 0;
      (void)oxeEvmsgGetSndId(event, &id);
      found.insert(number_of(event));
      EXPECT_TRUE(ids_.insert(id).second) << "number " << id << " was given twice, or its event is there again";
    }
    const auto all_in = [this](const std::set<int>& there) {
      return std::includes(there.begin(), there.end(), events_.begin(), events_.end());
    };
    EXPECT_TRUE(all_in(found)) << found.size() << " of " << events_.size() << " events";
    const auto end = Clock::now() + std::chrono::seconds(20);
    while (!all_in(delivered_) && Clock::now() < end) (void)oxaDispatch(50);
    EXPECT_TRUE(all_in(delivered_)) << delivered_.size() << " of " << events_.size() << " deliveries";
    EXPECT_TRUE(list == nullptr || oxeEvlogDelete(nullptr, 0, list) == OX_OK);
    (void)oxeEvmsgFree(list);
    events_.clear();
  }
  static OX_RESULT OX_CALL on_events(void*, std::uint32_t, void* test, evmsg* list, OX_RESULT) {
    for (const evmsg* event = list; event != nullptr; event = oxeEvmsgNext(event)) {
      const int number = number_of(event);
      EXPECT_TRUE(static_cast<KillTest*>(test)->delivered_.insert(number).second || number == 0)
          << number << " was delivered twice";
    }
    (void)oxeEvmsgFree(list);
    return OX_OK;
  }

  std::minstd_rand random_{static_cast<unsigned>(std::random_device()())};
  std::map<std::string, std::string> known_;  // by component
  std::string uncertain_;                     // the component whose change nobody has answered for
  std::string uncertain_value_;
  std::uint32_t records_ = 0;
  std::uint32_t record_size_ = 0;  // of each
  bool unanswered_record_ = false;
  std::set<int> events_;  // that were answered for
  std::set<std::uint32_t> ids_;
  std::set<int> delivered_;
  int sent_ = 0;
  void* wait_ = nullptr;
  UdpSocket agent_;
  const std::uint16_t trap_port_ = UdpSocket().port();
};

TEST_F(KillTest, NothingThatWasAnsweredForIsLost) {
  Daemon daemon;
  auto longest = milliseconds(0);
  for (int round = 0; round < kills(); ++round) {
    SCOPED_TRACE(round);
    ASSERT_EQ(0u, oxaInit(&on_disconnect));
    if (round == 0) begin();
    if (HasFatalFailure()) return;
    std::thread killer([&, wait = random() % 100] {
      std::this_thread::sleep_for(milliseconds(wait));
      daemon.kill();
    });
    while (change()) {
    }
    killer.join();
    while (oxaDispatch(0) == OX_OK) {  // until the loss has been told
    }
    if (round % 4 == 3) {
      daemon.launch();
      std::this_thread::sleep_for(milliseconds(random() % 30));
      daemon.kill();
    }
    const auto before = Clock::now();
    daemon.start();
    longest = std::max(longest, std::chrono::duration_cast<milliseconds>(Clock::now() - before));
    ASSERT_EQ(0u, oxaInit(&on_disconnect));
    expect_all_there();
    if (HasFatalFailure() || HasNonfatalFailure()) break;
  }
  std::printf("%d kills, the longest start %lld ms; %zu events and %u records there\n", kills(),
              static_cast<long long>(longest.count()), delivered(), records());
}

}  // namespace
}  // namespace ox::test
