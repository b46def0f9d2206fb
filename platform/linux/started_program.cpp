#include "platform/started_program.h"

#include <dlfcn.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "platform/linux/fail.h"
#include "platform/named_event.h"

namespace ox::platform {
namespace {

std::string directory_of(std::string_view path) { return std::string(path.substr(0, path.rfind('/'))); }

std::vector<std::string> program_places() {
  std::vector<std::string> places;
  Dl_info self{};
  if (::dladdr(reinterpret_cast<void*>(&program_places), &self) != 0 && self.dli_fname != nullptr &&
      std::string_view(self.dli_fname).find('/') != std::string_view::npos) {
    const std::string library = directory_of(self.dli_fname);
    for (const char* below : {"", "/../bin", "/../../bin"}) places.push_back(library + below);
  }
  char program[PATH_MAX];
  const ssize_t size = ::readlink("/proc/self/exe", program, sizeof program);
  if (size > 0) places.push_back(directory_of(std::string_view(program, static_cast<std::size_t>(size))));
  const char* path = std::getenv("PATH");
  std::string_view left = path != nullptr ? path : "/usr/local/bin:/usr/bin:/bin";
  while (!left.empty()) {
    const std::string_view place = left.substr(0, left.find(':'));
    if (!place.empty()) places.emplace_back(place);
    left.remove_prefix(std::min(left.size(), place.size() + 1));
  }
  return places;
}

std::string find_program(const std::vector<std::string>& places, std::string_view program) {
  constexpr std::string_view suffix = ".exe";
  std::vector<std::string_view> names{program};
  if (program.ends_with(suffix)) names.push_back(program.substr(0, program.size() - suffix.size()));
  for (const std::string& place : places) {
    for (const std::string_view name : names) {
      std::string path = place + "/" + std::string(name);
      struct stat status {};
      const bool is_file = ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
      if (is_file && ::access(path.c_str(), X_OK) == 0) return path;
    }
  }
  return {};
}

std::string event_name(const char* window) { return std::string("OxClose.") + window; }

}  // namespace

std::string program_in(const std::string& folder, std::string_view name) {
  return find_program(folder.empty() ? program_places() : std::vector{folder}, name);
}

Error start_line(Program& program, const std::string& path, const Line& line, const std::string& output) {
  std::vector<std::string> arguments{path};
  arguments.insert(arguments.end(), line.words.begin(), line.words.end());
  return program.start(arguments, {.output_file = output, .outlives = true});
}

Error wait_for_input(const Program& /*program*/, std::uint32_t /*milliseconds*/) { return error_none; }

void close_window(const char* name, Program& program) {
  NamedEvent event;
  if (event.open(event_name(name).c_str()) == error_none) return event.set();
  program.ask_to_end();
}

struct ClosableWindow::Impl {
  NamedEvent event;
};

ClosableWindow::ClosableWindow() = default;
ClosableWindow::~ClosableWindow() = default;

Error ClosableWindow::open(const char* name) {
  auto impl = std::make_unique<Impl>();
  if (const Error error = impl->event.create(event_name(name).c_str(), Access::group)) return error;
  impl_ = std::move(impl);
  return error_none;
}

bool ClosableWindow::is_asked() { return impl_ != nullptr && impl_->event.wait(0) == error_none; }

}  // namespace ox::platform
