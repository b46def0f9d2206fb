// Programs that a killed owner has left, as the system's list of processes shows them.
#include <windows.h>
// Types of the system come first.
#include <tlhelp32.h>

#include <algorithm>

#include "platform/process_list.h"
#include "platform/program.h"
#include "platform/windows/handle.h"

namespace ox::platform {
namespace {

bool end_process(std::uint32_t id, std::uint64_t started) {
  constexpr UINT killed = 137;  // as Linux shells show it
  if (id == ::GetCurrentProcessId() || start_of_process(id) != started) return false;
  const Handle process(::OpenProcess(PROCESS_TERMINATE, FALSE, id));
  return process && ::TerminateProcess(process.get(), killed) != FALSE;
}

// The number of a process may be that of an earlier one: what that had started is older than its own life.
bool is_child(const PROCESSENTRY32& process, std::uint64_t started, const LeftOver& parent) {
  if (process.th32ParentProcessID != parent.id || started < parent.started) return false;
  const std::uint64_t other = start_of_process(parent.id);
  return other == 0 || other == parent.started || started < other;
}

// Their children that are there, which are then parents, too. Whether there were any.
bool end_children(std::vector<LeftOver>& parents) {
  const Handle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  PROCESSENTRY32 process{};
  process.dwSize = sizeof process;
  bool any = false;
  for (BOOL more = ::Process32First(snapshot.get(), &process); more != FALSE;
       more = ::Process32Next(snapshot.get(), &process)) {
    const std::uint64_t started = start_of_process(process.th32ProcessID);
    const auto is_parent = [&](const LeftOver& parent) { return is_child(process, started, parent); };
    if (started == 0 || std::none_of(parents.begin(), parents.end(), is_parent)) continue;
    if (!end_process(process.th32ProcessID, started)) continue;
    parents.push_back({.id = process.th32ProcessID, .started = started});
    any = true;
  }
  return any;
}

}  // namespace

bool end_left_over(const std::vector<LeftOver>& programs) {
  std::vector<LeftOver> parents;
  bool ended = false;
  for (const LeftOver& program : programs) {
    if (program.id == 0) continue;
    ended = (!program.is_owner && end_process(program.id, program.started)) || ended;
    parents.push_back(program);
  }
  while (!parents.empty() && end_children(parents)) ended = true;
  return ended;
}

}  // namespace ox::platform
