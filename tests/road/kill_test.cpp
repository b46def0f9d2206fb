// A manager that is killed at any moment, under changes of every kind: what was answered for is there again.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <thread>

#include <oxbase/oxa.h>
#include <oxbase/oxe.h>

#include "access/session.h"
#include "tests/road/daemon.h"
#include "tests/support/system_root.h"
#include "tests/support/test.h"

namespace ox::test {
namespace {

constexpr char port[] = "11.5.2.0";
const std::string no_component = "no component";
const std::string no_value = "no value";

// More of them in long runs: OX_KILLS.
int kills() {
  const char* const wanted = std::getenv("OX_KILLS");
  return wanted != nullptr ? std::atoi(wanted) : 20;
}

class KillTest : public testing::Test {
 protected:
  void TearDown() override { session().close(); }

  std::string component() { return "k" + std::to_string(random_() % 20); }
  // One change; what it makes of its component when it is answered with 0. False when nobody answers.
  bool change() {
    const std::string name = component();
    const std::string& now = known_.try_emplace(name, no_component).first->second;
    switch (random_() % 4) {
      case 0:
        return note(name, manage(5, name), now == no_component ? no_value : now);
      case 1:
        return note(name, manage(6, name), no_component);
      case 2:
        return send();
      default:
        return set(name, static_cast<std::int32_t>(random_() % 60000));
    }
  }
  void expect_all_there() {
    for (const auto& [name, value] : known_) {
      const std::string found = read(name);
      EXPECT_TRUE(found == value || (name == uncertain_ && found == uncertain_value_))
          << name << " is " << found << ", not " << value;
    }
    if (!uncertain_.empty()) known_[uncertain_] = read(uncertain_);
    uncertain_.clear();
    expect_events();
    for (const auto& file : std::filesystem::directory_iterator(work_dir() + "/data")) {
      EXPECT_EQ(std::string::npos, file.path().filename().string().find(".db.")) << file.path() << " was set aside";
    }
  }

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
    dnode* list = oxdAlloc(2);
    (void)oxdSetAmibName(list, "10.7.1.0");
    (void)oxdSetText(list, "node");
    (void)oxdSetAmibName(oxdNext(list), "10.7.8.0");
    (void)oxdSetText(oxdNext(list), name.c_str());
    dnode* answer = nullptr;
    const OX_RESULT result = oxaMgmtControl(nullptr, code, list, &answer);
    (void)oxdFree(list);
    (void)oxdFree(answer);
    return result;
  }
  bool set(const std::string& name, std::int32_t value) {
    dnode* list = oxdAlloc(1);
    (void)oxdSetCompType(list, "node");
    (void)oxdSetCompName(list, name.c_str());
    (void)oxdSetAmibName(list, port);
    (void)oxdSetLong(list, value);
    dnode* answer = nullptr;
    const OX_RESULT result = oxaSet(nullptr, 0, 20, list, &answer);
    (void)oxdFree(list);
    (void)oxdFree(answer);
    return note(name, result, known_[name] == no_component ? no_component : std::to_string(value));
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
  static std::string read(const std::string& name) {
    dnode* list = nullptr;
    const OX_RESULT result = oxaGet(nullptr, ("node:" + name).c_str(), port, nullptr, 0, 20, &list);
    std::string text = result == OX_ENOCOMP ? no_component : no_value;
    if (result == OX_OK && list != nullptr && oxdGetValueType(list) >= 0) text = oxdGetValueByRawStr(list);
    (void)oxdFree(list);
    return text;
  }
  void expect_events() {
    evmsg* list = nullptr;
    const OX_RESULT result = oxeEvlogGet(nullptr, nullptr, &list);
    EXPECT_TRUE(result == OX_OK || (result == OX_ENOTFOUND && events_.empty())) << result;
    std::set<int> found;
    std::set<std::uint32_t> ids;
    for (const evmsg* event = list; event != nullptr; event = oxeEvmsgNext(event)) {
      const char* memo = "";
      std::uint32_t id = 0;
      (void)oxeEvmsgGetMemo(event, &memo);
      (void)oxeEvmsgGetSndId(event, &id);
      found.insert(std::atoi(memo));
      EXPECT_TRUE(ids.insert(id).second) << "number " << id << " was given twice";
    }
    (void)oxeEvmsgFree(list);
    EXPECT_TRUE(std::includes(found.begin(), found.end(), events_.begin(), events_.end()))
        << found.size() << " of " << events_.size() << " events";
  }

  std::minstd_rand random_{static_cast<unsigned>(std::random_device()())};
  std::map<std::string, std::string> known_;  // by component
  std::string uncertain_;                     // the component whose change nobody has answered for
  std::string uncertain_value_;
  std::set<int> events_;
  int sent_ = 0;

 protected:
  auto random() { return random_(); }
};

TEST_F(KillTest, NothingThatWasAnsweredForIsLost) {
  Daemon daemon;
  for (int round = 0; round < kills(); ++round) {
    SCOPED_TRACE(round);
    ASSERT_EQ(0u, oxaInit(nullptr));
    std::thread killer([&, wait = random() % 100] {
      std::this_thread::sleep_for(std::chrono::milliseconds(wait));
      daemon.kill();
    });
    while (change()) {
    }
    killer.join();
    session().close();
    daemon.start();
    ASSERT_EQ(0u, oxaInit(nullptr));
    expect_all_there();
    session().close();
  }
}

}  // namespace
}  // namespace ox::test
