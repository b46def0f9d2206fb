#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <random>
#include <set>
#include <utility>

#include "manager/components/file.h"
#include "manager/storage/check.h"
#include "tests/manager/damage.h"
#include "tests/support/byte_text.h"
#include "tests/support/fault_heap.h"
#include "tests/support/system_root.h"

namespace ox::manager {
namespace {

namespace fs = std::filesystem;
using Kind = Change::Kind;

const Oid port{11, 5, 2, 0};
const Oid raw{11, 15, 14, 0};

class ComponentFileTest : public test::DatabaseTest {
 protected:
  void SetUp() override { restart(); }
  void close() override { components_.reset(); }
  // As after the death of the manager.
  void restart() {
    components_.emplace(directory_, Durability::process);
    ASSERT_TRUE(components_->open(noting()));
    store_ = Store();
    auto loading = ComponentFile::Loading::more;  // a row in each step
    while (loading == ComponentFile::Loading::more) loading = components_->load(store_, {});
    ASSERT_EQ(ComponentFile::Loading::done, loading);
  }
  OX_RESULT commit(const std::vector<Change>& batch) { return components_->commit(store_, batch); }
  // A value or relation in each step.
  void remove(const ComponentName& name) {
    ASSERT_EQ(0u, components_->begin_removal(store_, name));
    while (!components_->remove_on(store_, name, {})) {
    }
  }
  [[nodiscard]] std::uint64_t rows_of_all() const {
    Connection connection;
    EXPECT_EQ(Outcome::done, connection.open(file_, Durability::process));
    return connection.ask(
        "SELECT (SELECT count(*) FROM components) + (SELECT count(*) FROM attributes) + (SELECT count(*) FROM "
        "relations)");
  }
  // "node:r1 11.5.2.0=1:text icon>map:m"; of a relation its other end.
  [[nodiscard]] std::string contents() const {
    std::string text;
    for (const char* type : {"map", "node", "system"}) {
      for (const ComponentName& name : store_.matching({type, "*"})) text += contents_of(name) + '\n';
    }
    return text;
  }
  [[nodiscard]] std::string contents_of(const ComponentName& name) const {
    std::string text = name.type + ':' + name.name;
    for (const auto& [path, value] : *store_.values(name)) {
      text += ' ' + oid_text(path) + '=' + std::to_string(value.type) + ':' + value.bytes;
    }
    for (const Relation& one : store_.relations_of(name)) {
      const ComponentName& other = one.from == name ? one.to : one.from;
      text += ' ' + one.name + '>' + other.type + ':' + other.name;
    }
    return text;
  }

  std::string file_ = directory_ + "/components.db";
  Store store_;
  std::optional<ComponentFile> components_;
};

Change add(const ComponentName& name) { return {.component = name}; }
Change set(const ComponentName& name, const Oid& path, const std::string& bytes) {
  return {.kind = Kind::set, .component = name, .path = path, .value = {OX_OCTETSTRING, bytes}};
}
const ComponentName node{"node", "r \"1\""};
const ComponentName gone{"node", "gone"};
const ComponentName map{"map", "\x83\x5C\x83\x5C"};
const Relation icon{"icon", map, node};

TEST_F(ComponentFileTest, EveryKindOfChangeComesBack) {
  const std::string bytes = test::bytes("00090a0d1b22275c7f8080ff");
  ASSERT_EQ(0u, commit({add(node),
                        add(map),
                        add(gone),
                        set(node, port, "1"),
                        set(node, port, "2"),
                        set(node, raw, "x"),
                        set(gone, port, "3"),
                        set({"system", "system"}, raw, bytes),
                        {.kind = Kind::relate, .relation = icon},
                        {.kind = Kind::relate, .relation = {"icon", map, gone}}}));
  const auto expect_same_again = [&](const std::string& expected) {
    EXPECT_EQ(expected, contents());
    restart();
    EXPECT_EQ(expected, contents());
  };
  const std::string of_system = "system:system 11.15.14.0=8:" + bytes + '\n';
  expect_same_again("map:\x83\x5C\x83\x5C icon>node:gone icon>node:r \"1\"\n" +
                    std::string("node:gone 11.5.2.0=8:3 icon>map:\x83\x5C\x83\x5C\n") +
                    "node:r \"1\" 11.5.2.0=8:2 11.15.14.0=8:x icon>map:\x83\x5C\x83\x5C\n" + of_system);
  ASSERT_EQ(0u, commit({{.kind = Kind::unset, .component = node, .path = raw},
                        set(node, port, std::string(60000, 'v')),
                        set({"node", "unknown"}, port, "4")}));
  remove(gone);
  ASSERT_EQ(0u, components_->begin_removal(store_, Store::built_in_name()));
  ASSERT_EQ(0u, commit({{.kind = Kind::unrelate, .relation = icon}, add(node)}));
  expect_same_again("map:\x83\x5C\x83\x5C\nnode:r \"1\" 11.5.2.0=8:" + std::string(60000, 'v') + '\n' + of_system);
  EXPECT_EQ("", faults_);
}

// Few numbers, so that each comes and goes often and others stand in its place.
TEST(ComponentStore, NamesAreFoundWhileOthersComeAndGo) {
  Store store;
  std::set<std::string> there;
  std::minstd_rand random;
  for (int i = 0; i < 20000; ++i) {
    const std::string name = "r" + std::to_string(random() % 40);
    const bool removes = there.erase(name) != 0;
    if (!removes) there.insert(name);
    store.apply({.kind = removes ? Kind::remove : Kind::add, .component = {"node", name}});
    for (int n = 0; n < 40; ++n) {
      const ComponentName other{"node", "r" + std::to_string(n)};
      ASSERT_EQ(there.contains(other.name), store.has(other)) << other.name << " after " << i;
    }
  }
}

// A manager that dies while it clears away what a component had finds the rest at its next start.
TEST_F(ComponentFileTest, ARemovalHoldsFromItsFirstStepOn) {
  const Change other = {.kind = Kind::relate, .relation = {"icon", map, gone}};
  for (int steps = 0; steps < 4; ++steps) {
    SCOPED_TRACE(steps);
    ASSERT_EQ(0u, commit({add(node), add(map), add(gone)}));
    ASSERT_EQ(0u, commit({set(map, port, "1"),
                          set(map, raw, "2"),
                          set(node, raw, "3"),
                          {.kind = Kind::relate, .relation = icon},
                          other}));
    ASSERT_EQ(0u, components_->begin_removal(store_, map));
    for (int i = 0; i < steps; ++i) EXPECT_EQ(i == 3, components_->remove_on(store_, map, {}));
    restart();
    const std::string left = "node:gone\nnode:r \"1\" 11.15.14.0=8:3\nsystem:system\n";
    EXPECT_EQ(left, contents());
    EXPECT_EQ(3u + static_cast<unsigned>(4 - steps), rows_of_all());
    while (!components_->clear_away({})) {
    }
    EXPECT_EQ(3u, rows_of_all());
    restart();
    EXPECT_EQ(left, contents());
    EXPECT_EQ("", faults_);
  }
}

TEST_F(ComponentFileTest, WithoutMemoryABatchIsWrittenOrNot) {
  for (int n = 1;; ++n) {
    const std::string before = contents();
    test::fail_allocation(n);
    OX_RESULT result = OX_EWRITE;
    try {
      result = commit({add({"node", "n" + std::to_string(n)}), set(node, port, "1")});
    } catch (const std::bad_alloc&) {  // before anything is written
    }
    const bool reached = test::stop_failing();
    const std::string after = contents();
    EXPECT_TRUE(result == OX_OK || before == after) << n;
    restart();
    EXPECT_EQ(after, contents()) << n;
    if (!reached) break;
  }
}

// The store is loaded, and what is not there any more has been told.
TEST_F(ComponentFileTest, DamageIsToldAndWhatReadsIsKept) {
  std::vector<Change> batch;
  for (int i = 0; i < 150; ++i) {
    const ComponentName name{"node", "n" + std::to_string(i)};
    batch.push_back(add(name));
    for (std::uint32_t at = 0; at < 4; ++at) batch.push_back(set(name, {11, 5, at, 0}, std::string(40, 'v')));
    if (i != 0) batch.push_back({.kind = Kind::relate, .relation = {"next", {"node", "n0"}, name}});
    if (i == 109) {  // the counts lag behind the last ones
      ASSERT_EQ(0u, commit(std::exchange(batch, {})));
    }
  }
  ASSERT_EQ(0u, commit(batch));
  const std::string whole = contents();
  for_every_damage(file_, [&](bool certain) {
    restart();
    EXPECT_TRUE(!faults_.empty() || (contents() == whole && !certain));
    // The first change may come upon a damaged page; the next one goes on.
    EXPECT_TRUE(commit({add({"map", "a"})}) == OX_OK || !faults_.empty());
    EXPECT_EQ(0u, commit({add({"map", "b"})}));
    const std::string now = contents();
    restart();
    EXPECT_EQ(now, contents());
  });
}

TEST_F(ComponentFileTest, DamageFoundAtOpeningIsMendedBesideTheLoop) {
  ASSERT_EQ(0u, commit({add(node), set(node, port, "1")}));
  components_.reset();
  std::string damaged = test::read_file(file_);
  damaged.replace(0, 4096, 4096, 'x');
  test::write_file(file_, damaged);
  fs::remove(file_ + "-wal");
  components_.emplace(directory_, Durability::process);
  ASSERT_TRUE(components_->open(noting()));
  asio::io_context loop;
  std::string waits;
  components_->database().work_beside(loop, [&waits](bool on) { waits += on ? "waits " : "goes on"; });
  Store read;
  EXPECT_EQ(ComponentFile::Loading::more, components_->load(read, {}));
  EXPECT_EQ("waits ", waits);
  auto loading = ComponentFile::Loading::more;
  for (; loading == ComponentFile::Loading::more; loading = components_->load(read, {})) (void)loop.poll();
  EXPECT_EQ(ComponentFile::Loading::done, loading);
  EXPECT_EQ("waits goes on", waits);
  EXPECT_NE("", faults_);
}

// Nobody else need come upon it.
TEST_F(ComponentFileTest, DamageFoundByTheCheckIsMendedAsSoonAsTheSystemLetsIt) {
  ASSERT_EQ(0u, commit({add(node), set(node, port, "1")}));
  const std::string whole = contents();
  test::change_database(file_, "UPDATE attributes SET sum = 0");
  const std::string in_the_way = file_ + ".new";
  fs::create_directories(in_the_way);
  asio::io_context loop;
  components_->database().work_beside(loop, [](bool) {});
  components_->check(loop, store_);
  const auto run_until = [&](const char* told) {
    while (faults_.find(told) == std::string::npos && (loop.run_one() != 0 || (loop.restart(), true))) {
    }
  };
  run_until("a new one cannot be written");
  fs::remove(in_the_way);
  run_until("it is kept as");
  EXPECT_EQ(whole, contents());
  components_.reset();  // before the loop
}

// Its new number is on the disk before anybody goes on; who cannot wait for that is served all the same.
TEST_F(ComponentFileTest, TheLogOfChangesBeginsAnewBesideTheLoop) {
  asio::io_context loop;
  std::string waits;
  components_->database().work_beside(loop, [&waits](bool on) { waits += on ? "waits " : "goes on "; });
  ASSERT_EQ(0u, commit({add(node)}));
  const auto number = [this] {
    std::string head(16, '\0');
    std::ifstream(file_ + "-wal", std::ios::binary).read(head.data(), 16);
    return head;
  };
  std::string before = number();
  const std::function<void()> cases[] = {
      [] {},
      [&] { EXPECT_EQ(0u, commit({set(node, port, "1")})); },
      [&] { components_->renew(store_); },
  };
  for (const auto& meanwhile : cases) {
    waits.clear();
    test::fill_log(file_);
    for (int i = 0; waits.empty() && i < 100000; ++i) ASSERT_EQ(0u, commit({set(node, raw, std::to_string(i))}));
    ASSERT_EQ("waits ", waits);
    meanwhile();
    loop.restart();
    while (waits == "waits " && loop.run_one() != 0) {
    }
    EXPECT_EQ("waits goes on ", waits);
    EXPECT_NE(before, number());
    before = number();
  }
  const std::string now = contents();
  restart();
  EXPECT_EQ(now, contents());
}

TEST_F(ComponentFileTest, WhatIsInMemoryIsWrittenAgain) {
  ASSERT_EQ(0u, commit({add(node), add(map), set(node, port, "1"), {.kind = Kind::relate, .relation = icon}}));
  const std::string whole = contents();
  {
    Connection other;
    ASSERT_EQ(Outcome::done, other.open(file_, Durability::process));
    ASSERT_EQ(Outcome::done, other.run("DELETE FROM components; DELETE FROM attributes; DELETE FROM relations"));
  }
  components_->renew(store_);
  EXPECT_NE(std::string::npos, faults_.find(" 0 of 2 components, 0 of 1 attributes, 0 of 1 relations")) << faults_;
  EXPECT_EQ(whole, contents());
  restart();
  EXPECT_EQ(whole, contents());
}

TEST_F(ComponentFileTest, DiskThatRefusesChangesNothingAndTakesChangesAgain) {
  Connection other;
  ASSERT_EQ(Outcome::done, other.open(file_, Durability::process));
  ASSERT_EQ(Outcome::done, other.run("BEGIN IMMEDIATE"));
  EXPECT_EQ(OX_EWRITE, commit({add(node)}));
  EXPECT_EQ(OX_EWRITE, commit({add(node)}));
  EXPECT_EQ("system:system\n", contents());
  ASSERT_EQ(Outcome::done, other.run("ROLLBACK"));
  EXPECT_EQ(0u, commit({add(node)}));
  EXPECT_EQ(2, std::count(faults_.begin(), faults_.end(), '\n')) << faults_;
}

}  // namespace
}  // namespace ox::manager
