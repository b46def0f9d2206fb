// The process's shared blocks: a registry of what it has mapped, by key. A block lives as long as any process holds it.
// Blocks of the scratch tree have no names: they are this process's own.
// Not locked: blocks are made, mapped and given up at start-up or by the single owner of the tree.
#pragma once

#include <cstddef>
#include <cstdint>

#include <oxbase/oxtypes.h>

#include "platform/shared_block.h"

namespace ox::amib {

// One mapping of a block.
struct ShmHandle {
  ShmHandle* next;
  ShmHandle* prev;
  platform::SharedBlock block;
  bool created;   // this process made the block
  bool writable;  // false: this process may only read it
};

struct ShmEntry {
  ShmEntry* next;
  ShmEntry* prev;
  std::uint32_t key;
  ShmHandle* handles;
};

struct ShmView {
  void* base = nullptr;
  std::size_t size = 0;
  bool writable = false;
};

enum : std::uint32_t { shm_write = 2, shm_read = 4 };

// Makes a zero-filled block and maps it for writing. 12 when the key is in the registry already or the view cannot be
// read; 3; the mapped platform error. The view is set on success only.
OX_RESULT shm_create(std::uint32_t key, std::uint32_t size, ShmView& view);

// Maps an existing block once more; for writing, or for reading when this process may not write it. 193 for key 0 or
// when no process holds such a block; 3; the mapped platform error.
OX_RESULT shm_reference(std::uint32_t key, std::uint32_t access, ShmView& view);

// Maps an existing block for reading which lies where the tree of `tree_key` does, whose directory is mapped: beside
// one of this account no other account's counts. Errors as above.
OX_RESULT shm_reference_beside(std::uint32_t tree_key, std::uint32_t key, ShmView& view);

// Gives up every mapping of a key. 193 for key 0 or one not in the registry.
OX_RESULT shm_delete(std::uint32_t key);

// Gives up the one mapping at that address. 193 when there is none.
OX_RESULT shm_release(std::uint32_t key, const void* base);

void shm_close_all();

// Takes the name from a block that any process holds; those keep it. 193; 416 when its holders cannot be parted from
// it.
OX_RESULT shm_take_name(std::uint32_t key);

// Null when there is none.
ShmEntry* search_shm_entry(std::uint32_t key);
ShmHandle* search_shm_handle(const ShmEntry* entry, const void* base);

// Whether this process made the block.
bool shm_is_creator(std::uint32_t key);

}  // namespace ox::amib
