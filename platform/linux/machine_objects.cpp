#include "platform/machine_objects.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <span>

#include "platform/linux/fail.h"
#include "platform/linux/file_lock.h"
#include "platform/linux/object.h"
#include "platform/linux/own_lock.h"
#include "platform/linux/places.h"
#include "platform/shared_block.h"

namespace ox::platform {
namespace {

using Bytes = std::span<const std::byte>;

// The root's "run", held by one writer at a time.
class Run {
 public:
  Run() : folder_(run_folder(*root(), true)) {
    errno = EACCES;
    if (!folder_.empty()) (void)lock_.take(folder_ + "/lock", root()->owner, OwnLock::Wait::yes);
  }
  [[nodiscard]] explicit operator bool() const noexcept { return static_cast<bool>(lock_); }

  [[nodiscard]] static bool has(const std::string& file, Bytes bytes) {
    const Descriptor present = open_for_all(*root(), file);
    struct stat status {};
    if (!present || ::fstat(present.get(), &status) != 0 || status.st_size != static_cast<off_t>(bytes.size())) {
      return false;
    }
    if (bytes.empty()) return true;
    void* const at = ::mmap(nullptr, bytes.size(), PROT_READ, MAP_SHARED, present.get(), 0);
    if (at == MAP_FAILED) return false;
    const bool equal = std::memcmp(at, bytes.data(), bytes.size()) == 0;
    (void)::munmap(at, bytes.size());
    return equal;
  }

  void remove(const std::string& file) const { (void)::unlink((folder_ + '/' + file).c_str()); }

  // Locked for writing before anybody else can open it, which says that its maker lives.
  [[nodiscard]] Error put(const std::string& file, Bytes bytes, Descriptor& made) const {
    const std::string path = folder_ + '/' + file;
    const std::string fresh = folder_ + "/new";
    (void)::unlink(fresh.c_str());  // of a daemon that died
    made = Descriptor(::open(fresh.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!made || !lock_file(made.get(), F_WRLCK)) return fail_errno();
    Error error = write_all(made.get(), bytes);
    if (error == error_none && (::fchmod(made.get(), 0644) != 0 || ::rename(fresh.c_str(), path.c_str()) != 0)) {
      error = fail_errno();
    }
    if (error != error_none) (void)::unlink(fresh.c_str());
    return error;
  }

 private:
  static Error write_all(int fd, Bytes bytes) noexcept {
    while (!bytes.empty()) {
      const ssize_t put = retry([&] { return ::write(fd, bytes.data(), bytes.size()); });
      if (put < 0) return fail_errno();
      bytes = bytes.subspan(static_cast<std::size_t>(put));
    }
    return error_none;
  }

  std::string folder_;
  OwnLock lock_;
};

Error offer_existence(ObjectKind kind, const char* name, std::vector<std::string>& files,
                      std::vector<std::intptr_t>& held) {
  const std::string file = object_file(kind, name);
  if (file.empty()) return fail(error_invalid_name);
  const Run run;
  if (!run) return fail_errno();
  Descriptor mark;
  if (const Error error = run.put(file, {}, mark)) return error;
  files.push_back(file);
  held.push_back(mark.release());
  return error_none;
}

// What is offered of one block, and what is to be.
struct Offer {
  std::string file;
  SharedBlock block;

  [[nodiscard]] Bytes bytes() const { return {static_cast<const std::byte*>(block.data()), block.size()}; }
  [[nodiscard]] bool is_there() const { return Run::has(file, bytes()); }
};

// Those that lie where the first one does. What a daemon that died has left under the name of another belongs to blocks
// that are no more: it goes.
std::vector<Offer> blocks_of(const std::vector<std::string>& names, const Run& run) {
  std::vector<Offer> offers;
  for (const std::string& name : names) {
    Offer offer{object_file(ObjectKind::block, name.c_str()), {}};
    const Error error = offers.empty() ? offer.block.open(name.c_str(), SharedBlock::Mode::read)
                                       : offer.block.open_beside(offers.front().block, name.c_str());
    if (error == error_none) {
      offers.push_back(std::move(offer));
    } else if (offers.empty()) {
      break;
    } else {
      run.remove(offer.file);
    }
  }
  return offers;
}

}  // namespace

namespace {

void take_away(const std::vector<std::string>& files) noexcept try {
  const Run run;
  for (const std::string& file : files) {
    if (run) run.remove(file);
  }
} catch (const std::bad_alloc&) {  // it stays for the next daemon to find
}

}  // namespace

MachineObjects::~MachineObjects() {
  take_away(files_);
  for (const std::intptr_t mark : held_) (void)::close(static_cast<int>(mark));
}

Error MachineObjects::offer_blocks(const std::vector<std::string>& names) {
  const Run run;
  if (!run) return fail_errno();
  const std::vector<Offer> offers = blocks_of(names, run);
  const auto missing = [](const Offer& offer) { return !offer.is_there(); };
  if (offers.empty()) return error_none;
  for (const Offer& offer : offers) files_.push_back(offer.file);
  if (std::none_of(offers.begin(), offers.end(), missing)) return error_none;
  run.remove(offers.front().file);
  for (std::size_t i = offers.size(); i-- != 0;) {
    if (!missing(offers[i])) continue;
    Descriptor made;
    if (const Error error = run.put(offers[i].file, offers[i].bytes(), made)) return error;
  }
  return error_none;
}

Error MachineObjects::offer_event(const char* name) { return offer_existence(ObjectKind::event, name, files_, held_); }
Error MachineObjects::offer_mutex(const char* name) { return offer_existence(ObjectKind::mutex, name, files_, held_); }

}  // namespace ox::platform
