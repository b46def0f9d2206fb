#include "manager/base/job.h"

#include <algorithm>
#include <utility>

namespace ox::manager {

void Job::watch_time(std::chrono::seconds limit) {
  timer_.expires_after(limit);
  timer_.async_wait([weak = weak_from_this()](const asio::error_code& error) {
    const auto job = weak.lock();
    if (!error && job) job->end(OX_ENOANSWER);
  });
}

void Job::operation_ended() {
  if (--operations_ == 0) end(OX_OK);
}

void Job::end(OX_RESULT why) {
  if (std::exchange(ended_, true)) return;
  timer_.cancel();
  try {
    finish(why);
  } catch (const std::bad_alloc&) {
    finish(OX_ENOMEM);
  }
}

void Job::cancel() {
  ended_ = true;
  timer_.cancel();
}

void JobsOfClients::add(std::uint32_t session, const std::shared_ptr<Job>& job) {
  Jobs& jobs = jobs_[session];
  if (jobs.started.size() >= jobs.sweep_at) {
    std::erase_if(jobs.started, [](const auto& started) { return started.expired(); });
    jobs.sweep_at = std::max<std::size_t>(16, 2 * jobs.started.size());
  }
  jobs.started.push_back(job);
}

void JobsOfClients::end_session(std::uint32_t session) {
  const auto jobs = jobs_.extract(session);
  if (jobs.empty()) return;
  for (const auto& started : jobs.mapped().started) {
    if (const auto job = started.lock()) job->cancel();
  }
}

}  // namespace ox::manager
