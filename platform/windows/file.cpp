#include "platform/file.h"

#include <windows.h>
// Descriptors of the C runtime, between the system's handles and its streams.
#include <fcntl.h>
#include <io.h>

#include <cstring>

#include "platform/own_file.h"
#include "platform/windows/fail.h"
#include "platform/windows/handle.h"

namespace ox::platform {
namespace {

std::uint64_t joined(DWORD high, DWORD low) noexcept { return (std::uint64_t{high} << 32) | low; }

// Of a file found by its path or in a directory.
template <class Found>
FileAttributes attributes_of(const Found& found) noexcept {
  const DWORD bits = found.dwFileAttributes;
  FileAttributes attributes;
  attributes.directory = (bits & FILE_ATTRIBUTE_DIRECTORY) != 0;
  attributes.read_only = (bits & FILE_ATTRIBUTE_READONLY) != 0;
  attributes.hidden = (bits & FILE_ATTRIBUTE_HIDDEN) != 0;
  attributes.system = (bits & FILE_ATTRIBUTE_SYSTEM) != 0;
  attributes.temporary = (bits & FILE_ATTRIBUTE_TEMPORARY) != 0;
  attributes.size = joined(found.nFileSizeHigh, found.nFileSizeLow);
  attributes.modified = joined(found.ftLastWriteTime.dwHighDateTime, found.ftLastWriteTime.dwLowDateTime);
  return attributes;
}

struct OpenMode {
  DWORD access = 0;
  DWORD disposition = 0;
  int flags = 0;
};

// What fopen makes of its mode text.
bool parse_mode(const char* text, OpenMode& mode) noexcept {
  const bool both = std::strchr(text, '+') != nullptr;
  switch (text[0]) {
    case 'r':
      mode = {GENERIC_READ, OPEN_EXISTING, 0};
      break;
    case 'w':
      mode = {GENERIC_WRITE, CREATE_ALWAYS, 0};
      break;
    case 'a':
      mode = {GENERIC_WRITE, OPEN_ALWAYS, _O_APPEND};
      break;
    default:
      return false;
  }
  if (both) mode.access = GENERIC_READ | GENERIC_WRITE;
  if (mode.access == GENERIC_READ) mode.flags |= _O_RDONLY;
  mode.flags |= std::strchr(text, 'b') != nullptr ? _O_BINARY : _O_TEXT;
  return true;
}

// A stream that owns the file; null and last_error().
std::FILE* stream_of(Handle& file, int flags, const char* mode) noexcept {
  const int descriptor = ::_open_osfhandle(reinterpret_cast<std::intptr_t>(file.get()), flags);
  if (descriptor < 0) {
    (void)fail(error_open_failed);
    return nullptr;
  }
  (void)file.release();  // the descriptor's, which is the stream's
  std::FILE* const stream = ::_fdopen(descriptor, mode);
  if (stream == nullptr) {
    (void)::_close(descriptor);
    (void)fail(error_out_of_memory);
  }
  return stream;
}

Error result_of(BOOL done) noexcept { return done != FALSE ? error_none : fail_last(); }

class Search {
 public:
  Search(const char* pattern, WIN32_FIND_DATAA& first) noexcept : handle_(::FindFirstFileA(pattern, &first)) {}
  Search(const Search&) = delete;
  Search& operator=(const Search&) = delete;
  ~Search() {
    if (*this) (void)::FindClose(handle_);
  }
  [[nodiscard]] explicit operator bool() const noexcept { return handle_ != INVALID_HANDLE_VALUE; }
  [[nodiscard]] bool next(WIN32_FIND_DATAA& entry) const noexcept { return ::FindNextFileA(handle_, &entry) != FALSE; }

 private:
  HANDLE handle_;
};

}  // namespace

Error file_attributes(const char* path, FileAttributes& attributes) noexcept {
  if (path == nullptr) return fail(error_invalid_parameter);
  WIN32_FILE_ATTRIBUTE_DATA found{};
  if (::GetFileAttributesExA(path, GetFileExInfoStandard, &found) == FALSE) return fail_last();
  attributes = attributes_of(found);
  return error_none;
}

std::FILE* open_exclusive(const char* path, const char* mode) noexcept {
  OpenMode how;
  if (path == nullptr || mode == nullptr || !parse_mode(mode, how)) {
    (void)fail(error_invalid_parameter);
    return nullptr;
  }
  Handle file(::CreateFileA(path, how.access, 0, nullptr, how.disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) {
    (void)fail_last();
    return nullptr;
  }
  return stream_of(file, how.flags, mode);
}

std::FILE* open_own_file(const char* path) noexcept {
  std::FILE* const stream = std::fopen(path, "w");
  if (stream == nullptr) (void)fail_last();
  return stream;
}

std::size_t write_own_file(std::FILE* file, std::string_view text) noexcept {
  return std::fwrite(text.data(), 1, text.size(), file);
}

// Locked is a byte that nobody reads or writes: locks keep others from the bytes themselves.
std::FILE* open_in_turn(const char* path) noexcept {
  constexpr DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  Handle file(
      ::CreateFileA(path, GENERIC_READ | GENERIC_WRITE, share, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  OVERLAPPED place{};
  place.Offset = MAXLONG;
  if (!file || ::LockFileEx(file.get(), LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &place) == FALSE) {
    (void)fail_last();
    return nullptr;
  }
  return stream_of(file, _O_BINARY, "r+b");
}

std::intptr_t open_file(const char* path, std::uint32_t access, std::uint32_t share, void* security,
                        std::uint32_t disposition, std::uint32_t flags, void* template_file) noexcept {
  if (path == nullptr) {
    (void)fail(error_invalid_parameter);
    return -1;
  }
  const HANDLE file = ::CreateFileA(path, access, share, static_cast<SECURITY_ATTRIBUTES*>(security), disposition,
                                    flags, template_file);
  if (file == INVALID_HANDLE_VALUE) (void)fail_last();
  return reinterpret_cast<std::intptr_t>(file);
}

void close_file(std::intptr_t file) noexcept {
  if (file != -1) (void)::CloseHandle(reinterpret_cast<HANDLE>(file));
}

Error read_whole(std::intptr_t file, std::string& contents) {
  const HANDLE handle = reinterpret_cast<HANDLE>(file);
  LARGE_INTEGER size{};
  if (::GetFileSizeEx(handle, &size) == FALSE || ::SetFilePointerEx(handle, {}, nullptr, FILE_BEGIN) == FALSE) {
    return fail_last();
  }
  if (size.QuadPart > MAXLONG) return fail(error_out_of_memory);
  std::string bytes(static_cast<std::size_t>(size.QuadPart), '\0');
  DWORD got = 0;
  if (::ReadFile(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &got, nullptr) == FALSE) return fail_last();
  bytes.resize(got);
  contents = std::move(bytes);
  return error_none;
}

Error append_synced(std::intptr_t file, std::string_view bytes) noexcept {
  const HANDLE handle = reinterpret_cast<HANDLE>(file);
  LARGE_INTEGER end{};
  if (::SetFilePointerEx(handle, {}, &end, FILE_END) == FALSE) return fail_last();
  DWORD written = 0;
  const BOOL done = ::WriteFile(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
  if (done != FALSE && written == bytes.size()) return result_of(::FlushFileBuffers(handle));
  const Error error = done == FALSE ? fail_last() : fail(error_disk_full);
  if (written != 0 &&
      (::SetFilePointerEx(handle, end, nullptr, FILE_BEGIN) == FALSE || ::SetEndOfFile(handle) == FALSE)) {
    return fail_last();
  }
  return error;
}

Error list_directory(const char* path, std::vector<DirectoryEntry>& entries) {
  if (path == nullptr) return fail(error_invalid_parameter);
  WIN32_FIND_DATAA data{};
  const Search search((std::string(path) + "\\*").c_str(), data);
  if (!search) {
    const Error error = fail_last();
    const bool missing =  // the last two for a file, by version
        error == error_file_not_found || error == ERROR_DIRECTORY || error == error_invalid_name;
    return missing ? fail(error_path_not_found) : error;
  }
  std::vector<DirectoryEntry> found;
  do {
    const char* name = data.cFileName;
    if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
    found.push_back({name, attributes_of(data)});
  } while (search.next(data));
  if (const Error error = ::GetLastError(); error != error_no_more_files) return fail(error);
  entries = std::move(found);
  return error_none;
}

Error remove_file(const char* path) noexcept {
  return path != nullptr ? result_of(::DeleteFileA(path)) : fail(error_invalid_parameter);
}

Error rename_file(const char* from, const char* to) noexcept {
  if (from == nullptr || to == nullptr) return fail(error_invalid_parameter);
  return result_of(::MoveFileA(from, to));
}

Error replace_file(const char* from, const char* to) noexcept {
  if (from == nullptr || to == nullptr) return fail(error_invalid_parameter);
  return result_of(::MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING));
}

Error sync_file(std::FILE* file) noexcept {
  if (file == nullptr) return fail(error_invalid_parameter);
  return std::fflush(file) == 0 && ::_commit(::_fileno(file)) == 0 ? error_none : fail(error_of_errno(errno));
}

Error make_directory(const char* path) noexcept {
  return path != nullptr ? result_of(::CreateDirectoryA(path, nullptr)) : fail(error_invalid_parameter);
}

// The directory hands its rights down.
Error make_private_file(const char* path) noexcept {
  const Handle file(path == nullptr ? INVALID_HANDLE_VALUE
                                    : ::CreateFileA(path, GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
  if (file) return error_none;
  if (path == nullptr) return fail(error_invalid_parameter);
  return ::GetLastError() == ERROR_FILE_EXISTS ? fail(error_already_exists) : fail_last();
}

Error make_private_directory(const char* path) noexcept { return make_directory(path); }

std::string utf8_path(const char* path) {
  const int units = ::MultiByteToWideChar(CP_ACP, 0, path, -1, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(units), L'\0');
  (void)::MultiByteToWideChar(CP_ACP, 0, path, -1, wide.data(), units);
  const int bytes = ::WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), -1, nullptr, 0, nullptr, nullptr);
  std::string text(static_cast<std::size_t>(bytes), '\0');
  (void)::WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), -1, text.data(), bytes, nullptr, nullptr);
  if (!text.empty()) text.pop_back();  // its terminator
  return text;
}

}  // namespace ox::platform
