#include "platform/linux/own_descriptor.h"

#include <mutex>
#include <utility>

#include "platform/fork.h"
#include "platform/linux/descriptor.h"

namespace ox::platform {
namespace {

constinit std::mutex guard;  // the list
constinit OwnDescriptor* first = nullptr;

}  // namespace

const bool OwnDescriptor::watched = free_in_forked_child(guard) && in_forked_child(close_all);

OwnDescriptor::OwnDescriptor(int fd) noexcept : fd_(fd) {
  const std::lock_guard lock(guard);
  next_ = first;
  if (first != nullptr) first->prev_ = this;
  first = this;
}

OwnDescriptor::~OwnDescriptor() {
  const std::lock_guard lock(guard);
  if (next_ != nullptr) next_->prev_ = prev_;
  (prev_ != nullptr ? prev_->next_ : first) = next_;
  Descriptor(fd_).close();
}

void OwnDescriptor::take(int fd) noexcept {
  const std::lock_guard lock(guard);
  Descriptor(std::exchange(fd_, fd)).close();
}

void OwnDescriptor::close_all() noexcept {
  for (OwnDescriptor* each = first; each != nullptr; each = each->next_) {
    Descriptor(std::exchange(each->fd_, -1)).close();
  }
}

}  // namespace ox::platform
