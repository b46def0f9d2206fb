#include "platform/unlinked_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/descriptor.h"
#include "platform/linux/fail.h"

namespace ox::platform {

// Opened a second time by its descriptor's name, which leads to the file itself, wherever the path leads by then.
Error UnlinkedFile::open(const std::string& path) {
  Descriptor file(retry([&] { return ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC); }));
  if (!file) return errno == ELOOP ? fail(error_stopped_on_link) : fail_errno();
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) return fail_errno();
  if (!S_ISREG(status.st_mode)) return fail(error_open_failed);
  name_ = "/proc/self/fd/" + std::to_string(file.get());
  native_ = file.release();
  return error_none;
}

UnlinkedFile::~UnlinkedFile() {
  if (native_ >= 0) (void)::close(static_cast<int>(native_));
}

}  // namespace ox::platform
