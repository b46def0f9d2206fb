#include "deffile/name_directory.h"

#include <cerrno>
#include <cinttypes>

#include "common/error_codes.h"
#include "common/trace.h"
#include "deffile/entry_lines.h"
#include "platform/file.h"

namespace ox {
namespace {

constexpr char index_name[] = "filename.dir";
constexpr char temporary_name[] = "filename.tmp";
constexpr char lock_name[] = "filename.lck";

constexpr std::uint32_t read_write = 0xC0000000;
constexpr std::uint32_t create_always = 2;
constexpr std::uint32_t open_existing = 3;

// A file of oxcWFileOpen, closed again.
class OpenFile {
 public:
  OpenFile(const std::string& path, std::uint32_t disposition) noexcept
      : file_(oxcWFileOpen(path.c_str(), read_write, 0x3, nullptr, disposition, 0, nullptr)) {}
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  ~OpenFile() {
    if (file_ != -1) platform::close_file(file_);
  }
  [[nodiscard]] bool failed() const noexcept { return file_ == -1; }
  [[nodiscard]] std::intptr_t get() const noexcept { return file_; }

 private:
  std::intptr_t file_;
};

OX_RESULT write_file(const std::string& path, std::uint32_t disposition, std::string_view bytes) noexcept {
  const OpenFile file(path, disposition);
  if (file.failed()) return oxcGetWinError();
  return code_of_platform_error(platform::append_synced(file.get(), bytes));
}

OX_RESULT append(const std::string& path, std::string_view record) noexcept {
  OX_TRACE(trace::amib, "<S:oxcNameFileOpen2(pdb = %xl)>\n", trace::word(&path));
  OX_TRACE(trace::amib, "<X:oxcNameFileOpen2(file = %s)>\n", path.c_str());
  const OpenFile file(path, open_existing);
  const OX_RESULT opened = file.failed() ? oxcGetWinError() : OX_RESULT{OX_OK};
  OX_TRACE(trace::amib, "<E:oxcNameFileOpen2(%ld)>\n", trace::number(opened));
  return opened == OX_OK ? code_of_platform_error(platform::append_synced(file.get(), record)) : opened;
}

}  // namespace

// Held by one process at a time, and given up with its death at the latest.
class NameDirectory::Lock {
 public:
  explicit Lock(const std::string& path) noexcept : file_(platform::open_in_turn(path.c_str())) {
    result_ = file_ ? OX_RESULT{OX_OK} : code_of_platform_error(platform::last_error());
    char text[12] = {};
    if (file_ && std::fread(text, 1, 8, file_.get()) != 0) (void)std::sscanf(text, "%" SCNx32, &changes_);
  }

  [[nodiscard]] OX_RESULT result() const noexcept { return result_; }
  [[nodiscard]] std::uint32_t changes() const noexcept { return changes_; }

  // Before the change is made: who comes after a death in between reads the index once more.
  [[nodiscard]] OX_RESULT count() noexcept {
    const bool written = std::fseek(file_.get(), 0, SEEK_SET) == 0 &&
                         std::fprintf(file_.get(), "%08" PRIx32, changes_ + 1) > 0 && std::fflush(file_.get()) == 0;
    if (!written) return oxcGetCRunError();
    ++changes_;
    return OX_OK;
  }

 private:
  OwnedFile file_;
  OX_RESULT result_ = OX_OK;
  std::uint32_t changes_ = 0;
};

void NameDirectory::file_of(std::uint32_t number, std::string& path) const {
  char name[16];
  (void)std::snprintf(name, sizeof name, "/N%07" PRIx32, number);
  path.reserve(path_.size() + sizeof name);
  path.assign(path_).append(name);
}

std::uint64_t NameDirectory::size_now() const {
  platform::FileAttributes attributes;
  const platform::Error error = platform::file_attributes(beside(index_name).c_str(), attributes);
  return error == platform::error_none ? attributes.size : UINT64_MAX;
}

OX_RESULT NameDirectory::read(NameIndex& index, std::uint64_t& size) const {
  const OpenFile file(beside(index_name), open_existing);
  if (file.failed()) return oxcGetWinError();
  std::string records;
  const OX_RESULT result = code_of_platform_error(platform::read_whole(file.get(), records));
  if (result != OX_OK) return result;
  size = records.size();
  return index.read(records);
}

OX_RESULT NameDirectory::load() {
  const Lock lock(beside(lock_name));
  if (lock.result() != OX_OK) return lock.result();
  changes_ = lock.changes();
  const std::string path = beside(index_name);
  const OX_RESULT check = oxcCheckFile(path.c_str(), 1);
  if (check == OX_ERRNO_BASE + ENOENT) return write_file(path, create_always, {});
  return check == OX_OK ? read(index_, size_) : check;
}

OX_RESULT NameDirectory::take_changes(const Lock& lock) {
  if (lock.result() != OX_OK) return lock.result();
  if (lock.changes() == changes_ && size_now() == size_) return OX_OK;
  NameIndex present;
  std::uint64_t size = 0;
  const OX_RESULT result = read(present, size);
  if (result != OX_OK) return result;
  present.raise_highest(index_.highest());
  index_.swap(present);
  changes_ = lock.changes();
  size_ = size;
  return OX_OK;
}

// Everything that takes memory comes before the first change.
OX_RESULT NameDirectory::create(std::string_view name, std::uint32_t& number) {
  Lock lock(beside(lock_name));
  OX_RESULT result = take_changes(lock);
  if (result != OX_OK) return result;
  number = index_.take_number();
  if (number == 0) return OX_ENOFILENAME;
  const std::string path = beside(index_name);
  const std::string record = name_record(name, number);
  (void)index_.add(name, number, "NameEntry_001");
  result = lock.count();
  if (result == OX_OK) result = append(path, record);
  if (result != OX_OK) {
    index_.remove_last();
    return result;
  }
  changes_ = lock.changes();
  size_ += record.size();
  return OX_OK;
}

OX_RESULT NameDirectory::rewrite(NameIndex& changed, Lock& lock) {
  const std::string records = changed.records();
  const std::string path = beside(index_name);
  const std::string temporary = beside(temporary_name);
  OX_RESULT result = lock.count();
  if (result == OX_OK) result = write_file(temporary, create_always, records);
  if (result == OX_OK) {
    result = code_of_platform_error(platform::replace_file(temporary.c_str(), path.c_str()));
  }
  if (result != OX_OK) {
    (void)platform::remove_file(temporary.c_str());
    return result;
  }
  index_.swap(changed);
  changes_ = lock.changes();
  size_ = records.size();
  return OX_OK;
}

OX_RESULT NameDirectory::change(std::string_view name, const char* to) {
  Lock lock(beside(lock_name));
  const OX_RESULT result = take_changes(lock);
  if (result != OX_OK) return result;
  const NameEntry* const entry = index_.by_name(name);
  if (entry == nullptr) return OX_ENOFILENAME;
  NameIndex changed;
  changed.copy(index_, entry, to);
  return rewrite(changed, lock);
}

OX_RESULT NameDirectory::remove(std::string_view name) { return change(name, nullptr); }

OX_RESULT NameDirectory::rename(std::string_view name, const char* to) { return change(name, to); }

}  // namespace ox
