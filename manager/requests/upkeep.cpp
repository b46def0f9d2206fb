#include "manager/requests/upkeep.h"

#include <asio/post.hpp>
#include <atomic>
#include <chrono>
#include <memory>
#include <new>
#include <system_error>

#include "manager/base/attributes.h"
#include "manager/components/stored_value.h"
#include "manager/requests/handlers.h"

namespace ox::manager {

struct Upkeep::Task {
  void run(Work work) {
    try {
      work(snapshots, sink(), [this](const std::string& text) { lines.push_back({text, false}); });
    } catch (const std::bad_alloc&) {
      result = OX_ENOMEM;
    }
  }
  FaultSink sink() {
    return [this](const std::string& file, std::uint32_t, const std::string& text) {
      lines.push_back({file + ": " + text, true});
    };
  }

  Snapshots snapshots;
  Done done;
  Lines lines;
  OX_RESULT result = OX_OK;
  std::atomic<bool> ending = false;
};

Upkeep::~Upkeep() {
  if (!thread_.joinable()) return;
  task_->ending = true;
  task_->snapshots.break_off();
  thread_.join();
}

void Upkeep::break_off() {
  if (task_) task_->snapshots.break_off();
}

OX_RESULT Upkeep::start(Work work, Done done) {
  if (task_) return OX_ETOOMANY;
  const auto task = std::make_shared<Task>();
  task->done = std::move(done);
  if (!task->snapshots.take(data_, databases, task->sink())) {
    task->done(OX_OK, task->lines);
    return OX_OK;
  }
  try {
    thread_ = std::thread([this, task, work] {
      task->run(work);
      end(*task);
    });
  } catch (const std::system_error&) {
    return OX_ENOMEM;
  }
  task_ = task;
  return OX_OK;
}

// The client is told, however long there is no memory to say so.
void Upkeep::end(Task& task) {
  while (!task.ending) {
    try {
      return asio::post(loop_, [this] {
        thread_.join();
        const auto ended = std::exchange(task_, nullptr);
        ended->done(ended->result, ended->lines);
      });
    } catch (const std::bad_alloc&) {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
  }
}

namespace {

// One node for each line; the code of a fault is in its node.
Reply reply_of(OX_RESULT result, const Upkeep::Lines& lines) {
  NodeList answer;
  for (const Upkeep::Line& line : lines) {
    NodePtr node = text_node(argument_path(ManagementArgument::text), line.text);
    if (line.fault) {
      (void)oxdSetErrCode(node.get(), OX_ERUNTIME);
      result = OX_ENODES;
    }
    answer.add(std::move(node));
  }
  return node_reply(result, answer);
}

void start(Manager& manager, const Request& request, Upkeep::Work work) {
  manager.events.flush();
  const OX_RESULT result = manager.upkeep.start(
      work, [reply = request.reply](OX_RESULT ended, const Upkeep::Lines& lines) { reply(reply_of(ended, lines)); });
  if (result != OX_OK) request.reply(error_reply(result));
}

}  // namespace

void handle_backup(Manager& manager, const Request& request) {
  start(manager, request, [](Snapshots& snapshots, const FaultSink& faults, const Tell& tell) {
    (void)back_up(snapshots, faults, tell);
  });
}

void handle_database_check(Manager& manager, const Request& request) {
  start(manager, request,
        [](Snapshots& snapshots, const FaultSink& faults, const Tell& tell) { (void)snapshots.check(faults, tell); });
}

}  // namespace ox::manager
