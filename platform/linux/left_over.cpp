// Programs that a killed owner has left, as the system shows them in /proc.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <set>
#include <string_view>

#include "platform/linux/descriptor.h"
#include "platform/linux/fail.h"
#include "platform/process_list.h"
#include "platform/program.h"

namespace ox::platform {
namespace {

// What there is of a file, up to that many bytes.
std::string beginning_of(const std::string& path, std::size_t most) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  std::string text;
  for (ssize_t got = file ? 1 : 0; got > 0 && text.size() < most;) {
    std::array<char, 16384> bytes;
    got = retry([&] { return ::read(file.get(), bytes.data(), bytes.size()); });
    if (got > 0) text.append(bytes.data(), static_cast<std::size_t>(got));
  }
  return text;
}

std::string file_of(std::uint32_t id, const char* name) { return "/proc/" + std::to_string(id) + '/' + name; }

// Of what "stat" shows, the field with that number, from 1, behind the name: names may hold blanks and brackets.
std::uint64_t field_of(std::uint32_t id, int wanted) {
  const std::string text = beginning_of(file_of(id, "stat"), 4096);
  std::string_view rest = std::string_view(text).substr(std::min(text.rfind(')'), text.size()));
  for (int field = 2; field < wanted && !rest.empty(); ++field) {
    rest.remove_prefix(std::min(rest.find(' '), rest.size() - 1) + 1);
  }
  std::uint64_t number = 0;
  (void)std::from_chars(rest.data(), rest.data() + rest.size(), number);
  return number;
}

// Ended, and not yet asked for its status by who started it.
bool has_ended(std::uint32_t id) {
  const std::string text = beginning_of(file_of(id, "stat"), 4096);
  const std::size_t state = text.rfind(')') + 2;
  return state >= text.size() || text[state] == 'Z' || text[state] == 'X';
}

std::uint32_t group_of(std::uint32_t id) { return static_cast<std::uint32_t>(field_of(id, 5)); }

// Ticks begin anew when the machine does.
std::uint64_t hash_of_boot() {
  std::uint64_t hash = 14695981039346656037u;
  for (const char c : beginning_of("/proc/sys/kernel/random/boot_id", 64)) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211u;
  }
  return hash << 40;
}

// Whether it was started with the variable.
bool has_variable(std::uint32_t id, const std::string& variable) {
  const std::string wanted = '\0' + variable + '\0';
  return ('\0' + beginning_of(file_of(id, "environ"), 4u << 20)).find(wanted) != std::string::npos;
}

bool is_one_of(std::uint32_t id, const std::vector<LeftOver>& programs) {
  if (has_ended(id)) return false;
  for (const LeftOver& program : programs) {
    if (program.id == id && !program.is_owner && program.started == start_of_process(id)) return true;
    if (!program.mark.empty() && has_variable(id, program.mark)) return true;
  }
  return false;
}

}  // namespace

std::uint64_t start_of_process(std::uint32_t id) noexcept {
  try {
    const std::uint64_t ticks = field_of(id, 22);
    return ticks == 0 ? 0 : hash_of_boot() | (ticks & 0xFF'FFFF'FFFF);
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

// Again until a look finds none: one may have been just about to start another.
bool end_left_over(const std::vector<LeftOver>& programs) {
  std::set<std::uint32_t> ended;
  const auto self = static_cast<std::uint32_t>(::getpid());
  for (std::size_t before = 1; !programs.empty() && before != ended.size();) {
    before = ended.size();
    for (const std::uint32_t id : process_ids()) {
      if (id == self || ended.contains(id) || !is_one_of(id, programs)) continue;
      const std::uint32_t group = group_of(id);
      if (group != 0 && group != static_cast<std::uint32_t>(::getpgrp()))
        (void)::kill(-static_cast<pid_t>(group), SIGKILL);
      (void)::kill(static_cast<pid_t>(id), SIGKILL);
      ended.insert(id);
    }
  }
  return !ended.empty();
}

std::string own_program_folder() {
  char path[4096];
  const ssize_t size = ::readlink("/proc/self/exe", path, sizeof path);
  const std::string_view program(path, size > 0 ? static_cast<std::size_t>(size) : 0);
  return std::string(program.substr(0, program.rfind('/')));
}

}  // namespace ox::platform
