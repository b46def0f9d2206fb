#include "common/message_image.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <new>

#include "common/error_codes.h"
#include "common/error_text.h"
#include "common/fixed_message.h"
#include "common/paths.h"
#include "common/settings.h"
#include "common/trace.h"
#include "platform/environment.h"
#include "platform/file.h"
#include "platform/fork.h"
#include "platform/shared_block.h"

namespace ox {
namespace {

struct Image {
  platform::SharedBlock block;
  MessageFile lines;  // in the block
};

struct State {
  std::atomic<const Image*> image{nullptr};  // read without the lock
  std::mutex lock;                           // one loader; guards what follows
  const bool free_in_child = platform::free_in_forked_child(lock);
  std::string failure;  // empty: memory ran out
};

// Never destroyed: other threads may still ask for texts while the process ends.
State& state() noexcept {
  alignas(State) static unsigned char storage[sizeof(State)];
  static State* const made = new (storage) State;
  return *made;
}

// A failed step: the result code, and the text for who asks later.
struct Failure {
  OX_RESULT code;
  std::string text;
};

Failure call_failed(const char* call, platform::Error error) {
  return {code_of_platform_error(error), fixed_message(FixedMessage::system, call, error)};
}

std::string message_path() {
  return home_path({"LIB", "LOCALE", settings::language_is_japanese() ? "0411" : "0409", "OXERROR.MSG"});
}

// Where each process has its own language, each language has its image.
std::string image_name(bool has_sessions) {
  const bool of_language = platform::language_is_per_process && settings::language_is_japanese();
  return std::string(has_sessions ? "Global\\ox_errmsg" : "ox_errmsg") + (of_language ? ".0411" : "");
}

// The reason why the file cannot be loaded; `error` is what the attempt answered.
Failure file_failed(const std::string& path, platform::Error error) {
  if (*settings::home_directory() == '\0') return {OX_EFILENOTFOUND, fixed_message(FixedMessage::no_home)};
  platform::FileAttributes attributes;
  const platform::Error missing = platform::file_attributes(path.c_str(), attributes);
  if (missing == platform::error_file_not_found || missing == platform::error_path_not_found) {
    return {OX_EFILENOTFOUND, fixed_message(FixedMessage::no_file, path)};
  }
  if (attributes.directory) return {OX_EISDIR, fixed_message(FixedMessage::attribute, path)};
  if (attributes.size > UINT32_MAX) return {OX_EINDEXFILE, fixed_message(FixedMessage::too_big, path)};
  const bool not_opened = error == platform::error_access_denied || error == platform::error_sharing_violation;
  return call_failed(not_opened ? "CreateFile" : "CreateFileMapping", error);
}

// Attaches the copy that another process made, or makes it. Several processes may be at it at once: whoever comes
// second attaches, and whoever finds the first one gone again starts over.
Failure attach_or_make(const char* name, const std::string& path, platform::SharedBlock& block) {
  constexpr int attempts = 10;
  platform::Error error = platform::error_none;
  for (int i = 0; i < attempts; ++i) {
    error = block.open(name, platform::SharedBlock::Mode::read);
    if (error == platform::error_none) return {OX_OK, {}};
    if (error != platform::error_file_not_found) return call_failed("OpenFileMapping", error);
    error = block.create_from_file(name, path.c_str(), platform::Access::machine);
    if (error == platform::error_none) return {OX_OK, {}};
    // On Windows a user's process may make no block of the whole machine: it has the texts for itself then.
    if (error == platform::error_access_denied)
      error = block.create_from_file(nullptr, path.c_str(), platform::Access::machine);
    if (error == platform::error_none) return {OX_OK, {}};
    if (error != platform::error_already_exists) return file_failed(path, error);
  }
  return call_failed("CreateFileMapping", error);
}

// Expects the lock.
Failure load(State& messages) {
  platform::OsVersion version;
  if (const auto error = platform::os_version(version)) return call_failed("GetVersionEx", error);
  const bool has_sessions = version.family == 2 && version.major >= 5;  // whose named objects would be private
  const std::string path = message_path();
  // Without ">", as readers of these lines know it.
  OX_TRACE(trace::general, "<M:oxcInitErrmsg(file=%s)\n", path.c_str());

  auto image = std::make_unique<Image>();
  Failure failure = attach_or_make(image_name(has_sessions).c_str(), path, image->block);
  if (failure.code != OX_OK) return failure;
  image->lines = MessageFile({static_cast<const char*>(image->block.data()), image->block.size()});
  messages.image.store(image.release(), std::memory_order_release);
  return failure;
}

}  // namespace

OX_RESULT load_messages() noexcept {
  State& messages = state();
  if (messages.image.load(std::memory_order_acquire) != nullptr) return OX_OK;
  const std::scoped_lock hold(messages.lock);
  if (messages.image.load(std::memory_order_relaxed) != nullptr) return OX_OK;
  messages.failure.clear();
  return guarded([&] {
    Failure failure = load(messages);
    messages.failure = std::move(failure.text);
    return failure.code;
  });
}

const MessageFile* message_lines() noexcept {
  if (load_messages() != OX_OK) return nullptr;
  const Image* image = state().image.load(std::memory_order_acquire);
  return image != nullptr ? &image->lines : nullptr;
}

std::string message_failure() {
  State& messages = state();
  const std::scoped_lock hold(messages.lock);
  return messages.failure.empty() ? fixed_message(FixedMessage::capacity) : messages.failure;
}

void detach_error_texts() noexcept {
  State& messages = state();
  const std::scoped_lock hold(messages.lock);
  delete messages.image.exchange(nullptr, std::memory_order_acq_rel);
}

}  // namespace ox
