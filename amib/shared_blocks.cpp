#include "amib/shared_blocks.h"

#include <cstdio>
#include <memory>
#include <new>
#include <utility>

#include <oxbase/oxb.h>
#include <oxbase/oxc.h>

#include "amib/node.h"
#include "common/error_codes.h"
#include "common/memory.h"
#include "common/trace.h"

namespace ox::amib {
namespace {

using platform::SharedBlock;

ShmEntry* registry = nullptr;

// Every process has a scratch tree of its own: its blocks have no names, and are found in the registry alone.
bool is_unnamed(std::uint32_t key) noexcept { return key - OXB_SCRATCH_TREE < tree_keys; }

struct BlockName {
  char text[32];
};

BlockName block_name(std::uint32_t key) noexcept {
  BlockName name;
  (void)std::snprintf(name.text, sizeof name.text, "%s%ld", block_prefix, trace::number(key));
  return name;
}

struct HandleDelete {
  void operator()(ShmHandle* handle) const noexcept {
    handle->~ShmHandle();
    (void)oxcMemFree(handle);
  }
};
using HandlePtr = std::unique_ptr<ShmHandle, HandleDelete>;

HandlePtr make_handle(const char* tag) noexcept {
  void* block = oxcMemZalloc(sizeof(ShmHandle), tag);
  return HandlePtr(block != nullptr ? new (block) ShmHandle() : nullptr);
}

ShmView view_of(const ShmHandle& handle) noexcept {
  return {handle.block.data(), handle.block.size(), handle.writable};
}

// The trace tells the closing of one key from that of the whole registry.
enum class Closing { one, all };

void close_handle(ShmEntry& entry, ShmHandle* handle, Closing what) {
  const auto native = static_cast<long>(handle->block.native());
  if (what == Closing::one) {
    OX_TRACE(trace::general, "<M:shm_delete Unmap&Close %ld>\n", native);
  } else {
    OX_TRACE(trace::general, "<M:shm_delete2 Unmap&Close %ld>\n", native);
  }
  (void)oxcQueueDel(&entry.handles, handle);
  HandleDelete{}(handle);
}

void close_entry(ShmEntry* entry, Closing what) {
  while (entry->handles != nullptr) close_handle(*entry, entry->handles, what);
  (void)oxcQueueDel(&registry, entry);
  (void)oxcMemFree(entry);
}

OX_RESULT create(std::uint32_t key, std::uint32_t size, ShmView& view) {
  if (search_shm_entry(key) != nullptr) return OX_ESHMCREATE;
  auto entry = make_tracked<ShmEntry>("shm_entry_000");
  HandlePtr handle = make_handle("shm_handle_000");
  if (!entry || !handle) return OX_ENOMEM;
  const BlockName name = block_name(key);
  const char* const shared_name = is_unnamed(key) ? nullptr : name.text;
  if (const auto error = handle->block.create(shared_name, size, platform::Access::machine); error != 0) {
    return code_of_platform_error(error);
  }
  if (!platform::is_readable(handle->block.data(), size)) return OX_ESHMCREATE;
  handle->created = true;
  handle->writable = true;
  view = view_of(*handle);
  entry->key = key;
  (void)oxcQueueAdd(&entry->handles, handle.release());
  (void)oxcQueueAdd(&registry, entry.release());
  return OX_OK;
}

// A process that may not write the tree still reads it.
platform::Error open_block(const ShmEntry& entry, std::uint32_t access, ShmHandle& handle) {
  const std::uint32_t key = entry.key;
  if (is_unnamed(key)) {
    if (entry.handles == nullptr) return platform::error_file_not_found;
    handle.writable = access == shm_write;
    return handle.block.open_again(entry.handles->block,
                                   handle.writable ? SharedBlock::Mode::write : SharedBlock::Mode::read);
  }
  const auto mode = access == shm_write ? SharedBlock::Mode::write_or_read : SharedBlock::Mode::read;
  const auto error = handle.block.open(block_name(key).text, mode);
  handle.writable = handle.block.writable();
  return error;
}

platform::Error open_beside(const ShmEntry& entry, std::uint32_t tree_key, ShmHandle& handle) {
  const ShmEntry* const tree = search_shm_entry(tree_key);
  if (is_unnamed(entry.key) || tree == nullptr) return open_block(entry, shm_read, handle);
  return handle.block.open_beside(tree->handles->block, block_name(entry.key).text);
}

// `open(entry, handle)` maps the block.
template <class Open>
OX_RESULT reference(std::uint32_t key, Open open, ShmView& view) {
  if (key == 0) return OX_ENOSHM;
  ShmEntry* entry = search_shm_entry(key);
  tracked_ptr<ShmEntry> made;
  if (entry == nullptr) {
    made = make_tracked<ShmEntry>("shm_entry_001");
    if (!made) return OX_ENOMEM;
    entry = made.get();
    entry->key = key;
  }
  HandlePtr handle = make_handle("shm_handle_001");
  if (!handle) return OX_ENOMEM;
  if (const platform::Error error = open(*entry, *handle); error != 0) {
    return error == platform::error_file_not_found ? OX_RESULT{OX_ENOSHM} : code_of_platform_error(error);
  }
  view = view_of(*handle);
  (void)oxcQueueAdd(&entry->handles, handle.release());
  if (made) (void)oxcQueueAdd(&registry, made.release());
  return OX_OK;
}

template <class Open>
OX_RESULT traced_reference(std::uint32_t key, std::uint32_t access, Open open, ShmView& view) {
  OX_TRACE(trace::general, "<S:shm_reference(%ld, 0x%x, 0x%x)>\n", trace::number(key), access, trace::word(&view.base));
  return traced_as(trace::general, "<E:shm_reference[%ld]>\n", [&] { return reference(key, open, view); });
}

}  // namespace

OX_RESULT shm_create(std::uint32_t key, std::uint32_t size, ShmView& view) {
  OX_TRACE(trace::general, "<S:shm_create(%ld,%ld,0x%x)>\n", trace::number(key), trace::number(size),
           trace::word(&view.base));
  return traced_as(trace::general, "<E:shm_create[%ld]>\n", [&] { return create(key, size, view); });
}

OX_RESULT shm_reference(std::uint32_t key, std::uint32_t access, ShmView& view) {
  const auto open = [&](const ShmEntry& entry, ShmHandle& handle) { return open_block(entry, access, handle); };
  return traced_reference(key, access, open, view);
}

OX_RESULT shm_reference_beside(std::uint32_t tree_key, std::uint32_t key, ShmView& view) {
  const auto open = [&](const ShmEntry& entry, ShmHandle& handle) { return open_beside(entry, tree_key, handle); };
  return traced_reference(key, shm_read, open, view);
}

OX_RESULT shm_delete(std::uint32_t key) {
  ShmEntry* entry = key != 0 ? search_shm_entry(key) : nullptr;
  if (entry == nullptr) return OX_ENOSHM;
  close_entry(entry, Closing::one);
  return OX_OK;
}

OX_RESULT shm_release(std::uint32_t key, const void* base) {
  ShmEntry* entry = search_shm_entry(key);
  ShmHandle* handle = entry != nullptr ? search_shm_handle(entry, base) : nullptr;
  if (handle == nullptr) return OX_ENOSHM;
  if (handle->next == nullptr && entry->handles == handle) return shm_delete(key);
  close_handle(*entry, handle, Closing::one);
  return OX_OK;
}

void shm_close_all() {
  while (registry != nullptr) close_entry(registry, Closing::all);
}

OX_RESULT shm_take_name(std::uint32_t key) {
  const auto error = SharedBlock::take_name(block_name(key).text);
  if (error == platform::error_not_supported || error == platform::error_access_denied) return OX_ETREEEXISTS;
  return error == platform::error_file_not_found ? OX_RESULT{OX_ENOSHM} : code_of_platform_error(error);
}

ShmEntry* search_shm_entry(std::uint32_t key) {
  OX_TRACE(trace::general, "<S:search_shm_entry(%ld)>\n", trace::number(key));
  ShmEntry* entry = registry;
  while (entry != nullptr && entry->key != key) entry = entry->next;
  OX_TRACE(trace::general, "<E:search_shm_entry[%lx]>\n", static_cast<unsigned long>(trace::word(entry)));
  return entry;
}

ShmHandle* search_shm_handle(const ShmEntry* entry, const void* base) {
  OX_TRACE(trace::general, "<S:search_shm_handle(%lx, %lx)>\n", static_cast<unsigned long>(trace::word(entry)),
           static_cast<unsigned long>(trace::word(base)));
  ShmHandle* handle = entry->handles;
  while (handle != nullptr && handle->block.data() != base) handle = handle->next;
  OX_TRACE(trace::general, "<E:search_shm_handle[%lx]>\n", static_cast<unsigned long>(trace::word(handle)));
  return handle;
}

bool shm_is_creator(std::uint32_t key) {
  const ShmEntry* entry = search_shm_entry(key);
  for (const ShmHandle* handle = entry != nullptr ? entry->handles : nullptr; handle != nullptr;
       handle = handle->next) {
    if (handle->created) return true;
  }
  return false;
}

}  // namespace ox::amib
