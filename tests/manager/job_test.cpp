// Jobs end once, whatever ends them first.
#include "manager/base/job.h"

#include <asio/io_context.hpp>

#include "tests/support/test.h"

namespace ox::manager {
namespace {

using namespace std::chrono_literals;

struct ScriptedJob final : Job {
  ScriptedJob(asio::io_context& loop, std::vector<OX_RESULT>& results) : Job(loop), told(results) {}
  void start(const std::function<void(ScriptedJob&)>& script) {
    begin(0s, [&] { script(*this); });
  }
  void finish(OX_RESULT why) override {
    if (std::exchange(no_memory, false)) throw std::bad_alloc();
    told.push_back(why);
  }
  using Job::end, Job::operation_began, Job::operation_ended;
  std::vector<OX_RESULT>& told;
  bool no_memory = false;
};

TEST(Job, EndsOnce) {
  struct Row {
    const char* what;
    std::function<void(ScriptedJob&)> script;  // what happens before the loop runs, in which the time is over at once
    std::vector<OX_RESULT> told;
  };
  const Row rows[] = {
      {"without operations", [](ScriptedJob&) {}, {OX_OK}},
      {"an operation that never ends", [](ScriptedJob& job) { job.operation_began(); }, {OX_ENOANSWER}},
      {"an operation that ends early", [](ScriptedJob& job) { job.operation_began(), job.operation_ended(); }, {OX_OK}},
      {"ended before its operations", [](ScriptedJob& job) { job.operation_began(), job.end(OX_ENOMEM); }, {OX_ENOMEM}},
      {"cancelled", [](ScriptedJob& job) { job.operation_began(), job.cancel(); }, {}},
      {"no memory to start", [](ScriptedJob&) { throw std::bad_alloc(); }, {OX_ENOMEM}},
      {"no memory to tell", [](ScriptedJob& job) { job.no_memory = true; }, {OX_ENOMEM}},
  };
  for (const Row& row : rows) {
    asio::io_context loop;
    std::vector<OX_RESULT> told;
    const auto job = std::make_shared<ScriptedJob>(loop, told);
    job->start(row.script);
    loop.run();
    EXPECT_EQ(row.told, told) << row.what;
  }
}

TEST(Job, GoesWithItsClientAlone) {
  asio::io_context loop;
  std::vector<OX_RESULT> told;
  JobsOfClients jobs;
  std::vector<std::shared_ptr<ScriptedJob>> started;
  for (std::uint32_t i = 0; i < 100; ++i) {
    started.push_back(std::make_shared<ScriptedJob>(loop, told));
    jobs.add(i % 2, started.back());
    started.back()->start([](ScriptedJob& job) { job.operation_began(); });
  }
  jobs.end_session(1);
  loop.run();
  EXPECT_EQ(std::vector<OX_RESULT>(50, OX_ENOANSWER), told);
}

}  // namespace
}  // namespace ox::manager
