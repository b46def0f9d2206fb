// The live-list file: every tracked block, in allocation order.
#include <cstdio>
#include <ctime>
#include <string>

#include <oxbase/oxc.h>

#include "common/memory_state.h"
#include "common/paths.h"
#include "common/trace.h"
#include "platform/environment.h"
#include "platform/own_file.h"

namespace ox::memory {
namespace {

constexpr char ruler[] = "/********************************************************************/\n";

std::string default_name(const std::tm& now) {
  char name[80];
  (void)std::snprintf(name, sizeof name, "oxcMemDebugListOut_%u_%04d%02d%02d_%02d%02d.log", platform::process_id(),
                      now.tm_year + 1900, now.tm_mon + 1, now.tm_mday, now.tm_hour, now.tm_min);
  return work_path({"tmp", name});
}

void write_blocks(std::FILE* file, const std::vector<Record>& blocks) {
  if (blocks.empty()) {
    (void)std::fputs("memlisthead==NULL\n\n", file);
    return;
  }
  std::uint32_t total = 0;
  for (const Record& record : blocks) {
    (void)std::fprintf(file, "mem_cnt=%010u, mem_size=%010u(0x%08x), mem_buf=0x%08x, mem_descr=%s\n", record.serial,
                       record.size, record.size, trace::word(record.block), trace::text(record.tag));
    total += record.size;
  }
  // Readers of this file know the doubled "0x".
  (void)std::fprintf(file, "\nmemtcnt=%010u, memcnt=%010u, tsize=%010u(0x0x%08x)\n\n", oxcGetMemValue(2),
                     oxcGetMemValue(1), total, total);
}

OX_RESULT write_list(const char* name) {
  const std::time_t seconds = std::time(nullptr);
  std::tm now{};
  if (const std::tm* local = std::localtime(&seconds)) now = *local;
  const std::vector<Record> blocks = live_blocks();
  std::FILE* file = name != nullptr ? std::fopen(name, "w") : platform::open_own_file(default_name(now).c_str());
  if (file == nullptr) return OX_OK;
  (void)std::fputs(ruler, file);
  (void)std::fprintf(file, "/*** CurrentTime = %04d/%02d/%02d %02d:%02d *********************************/\n",
                     now.tm_year + 1900, now.tm_mon + 1, now.tm_mday, now.tm_hour, now.tm_min);
  (void)std::fputs(ruler, file);
  write_blocks(file, blocks);
  (void)std::fclose(file);
  return OX_OK;
}

}  // namespace
}  // namespace ox::memory

OX_RESULT OX_CALL oxcMemDebugListOut(const char* fileName) {
  OX_ENTRY("oxcMemDebugListOut", ":%s", ox::trace::text(fileName));
  return ox::traced("oxcMemDebugListOut", [&] { return ox::memory::write_list(fileName); });
}
