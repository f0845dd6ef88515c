// Observes what a heap block holds at the moment it is freed. The test executable replaces the
// global operator new and delete; when the block being deleted is the watched one, its bytes
// are copied out before the memory goes back to the heap.
#pragma once

#include <cstddef>
#include <vector>

namespace zttest {

// Watches the block at `block` of `size` bytes (at most 64 KiB) until it is freed.
void WatchBlock(const void* block, std::size_t size);
// Whether the watched block has been freed since WatchBlock.
bool WatchedBlockFreed();
// The bytes the block held when it was freed.
std::vector<unsigned char> WatchedBlockBytesAtFree();

}  // namespace zttest
