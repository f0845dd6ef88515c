#include "platform/openssl/handles.h"

#include <new>

#include "platform/openssl/localmem.h"
#include "platform/testing.h"

namespace ZT::Platform {

namespace {

// Handle value: (index + 1) << 32 | generation. Never 0, and never a small integer a caller
// might pass by mistake.
std::uintptr_t MakeHandle(std::uint32_t index, std::uint32_t generation) {
  return (static_cast<std::uintptr_t>(index) + 1) << 32 | generation;
}

bool SplitHandle(std::uintptr_t handle, std::uint32_t* index, std::uint32_t* generation) {
  const std::uintptr_t high = handle >> 32;
  if (high == 0 || high > 0xFFFFFFFFu) return false;
  *index = static_cast<std::uint32_t>(high - 1);
  *generation = static_cast<std::uint32_t>(handle);
  return true;
}

// Each thread keeps a few free slot indices of its own, so that the usual create-use-destroy
// on one thread takes and gives back slots without contending on the shared free list. A
// thread hands its spares back when it ends.
class LocalSpares {
 public:
  static constexpr std::size_t kCapacity = 16;
  ~LocalSpares();
  bool Take(std::uint32_t* index) {
    if (m_count == 0) return false;
    *index = m_indices[--m_count];
    return true;
  }
  bool Give(std::uint32_t index) {
    if (m_count == kCapacity) return false;
    m_indices[m_count++] = index;
    return true;
  }

 private:
  std::uint32_t m_indices[kCapacity];
  std::size_t m_count = 0;
};

thread_local LocalSpares t_spares;

}  // namespace

LocalSpares::~LocalSpares() {
  while (m_count != 0) HandleTable::Instance().GiveBackShared(m_indices[--m_count]);
}

HandleTable& HandleTable::Instance() {
  // Never destroyed: handles may be used until the very end of the process, and the blocks
  // stay reachable from here, so they are not leaks.
  static HandleTable* table = new HandleTable();
  return *table;
}

HandleTable::Slot* HandleTable::SlotAt(std::uint32_t index) const {
  if (index >= m_used.load(std::memory_order_acquire)) return nullptr;
  const std::size_t block = index / kBlockSize;
  if (block >= kMaxBlocks) return nullptr;
  Slot* slots = m_blocks[block].load(std::memory_order_acquire);
  return slots == nullptr ? nullptr : &slots[index % kBlockSize];
}

std::uint32_t HandleTable::TakeIndex() {
  std::uint32_t local = 0;
  if (t_spares.Take(&local)) return local;
  std::uint64_t head = m_freeHead.load(std::memory_order_acquire);
  while (static_cast<std::uint32_t>(head) != 0) {
    const std::uint32_t index = static_cast<std::uint32_t>(head) - 1;
    const std::uint32_t next = SlotAt(index)->nextFree.load(std::memory_order_relaxed);
    const std::uint64_t newHead = ((head >> 32) + 1) << 32 | next;
    if (m_freeHead.compare_exchange_weak(head, newHead, std::memory_order_acq_rel)) return index;
  }
  // No free slot: a fresh one, in a block that is made on first use.
  const std::uint32_t index = m_used.load(std::memory_order_relaxed);
  const std::size_t block = index / kBlockSize;
  if (block >= kMaxBlocks) throw std::bad_alloc();
  if (m_blocks[block].load(std::memory_order_acquire) == nullptr) {
    Slot* fresh = new Slot[kBlockSize];
    Slot* expected = nullptr;
    if (!m_blocks[block].compare_exchange_strong(expected, fresh, std::memory_order_acq_rel)) delete[] fresh;
  }
  // Claim the index only now that its block exists, so SlotAt never sees a used index without
  // a block. A thread that lost the race for this index tries again.
  std::uint32_t expectedUsed = index;
  if (!m_used.compare_exchange_strong(expectedUsed, index + 1, std::memory_order_acq_rel)) return TakeIndex();
  return index;
}

void HandleTable::GiveBackIndex(std::uint32_t index) {
  if (!t_spares.Give(index)) GiveBackShared(index);
}

void HandleTable::GiveBackShared(std::uint32_t index) {
  Slot* slot = SlotAt(index);
  std::uint64_t head = m_freeHead.load(std::memory_order_acquire);
  for (;;) {
    slot->nextFree.store(static_cast<std::uint32_t>(head), std::memory_order_relaxed);
    const std::uint64_t newHead = ((head >> 32) + 1) << 32 | (static_cast<std::uint64_t>(index) + 1);
    if (m_freeHead.compare_exchange_weak(head, newHead, std::memory_order_acq_rel)) return;
  }
}

std::uintptr_t HandleTable::Insert(HandleKind kind, void* object) {
  const std::uint32_t index = TakeIndex();
  Slot* slot = SlotAt(index);
  const std::uint32_t generation = static_cast<std::uint32_t>(slot->state.load(std::memory_order_acquire) >> 32);
  slot->object.store(object, std::memory_order_relaxed);
  slot->state.store(LiveState(generation, kind), std::memory_order_release);
  return MakeHandle(index, generation);
}

HandleKind HandleTable::KindOf(std::uintptr_t handle, void** object) const {
  std::uint32_t index = 0;
  std::uint32_t generation = 0;
  if (!SplitHandle(handle, &index, &generation)) return HandleKind::None;
  const Slot* slot = SlotAt(index);
  if (slot == nullptr) return HandleKind::None;
  const std::uint64_t state = slot->state.load(std::memory_order_acquire);
  if (static_cast<std::uint32_t>(state >> 32) != generation) return HandleKind::None;
  const auto kind = static_cast<HandleKind>(state & 0xFF);
  if (kind != HandleKind::None && object != nullptr) *object = slot->object.load(std::memory_order_relaxed);
  return kind;
}

void* HandleTable::Find(std::uintptr_t handle, HandleKind kind) const {
  void* object = nullptr;
  return KindOf(handle, &object) == kind ? object : nullptr;
}

void* HandleTable::Remove(std::uintptr_t handle, HandleKind kind) {
  std::uint32_t index = 0;
  std::uint32_t generation = 0;
  if (!SplitHandle(handle, &index, &generation)) return nullptr;
  Slot* slot = SlotAt(index);
  if (slot == nullptr) return nullptr;
  std::uint64_t expected = LiveState(generation, kind);
  // The next generation, free: only one of two racing releases can win this exchange.
  if (!slot->state.compare_exchange_strong(expected, LiveState(generation + 1, HandleKind::None),
                                           std::memory_order_acq_rel))
    return nullptr;
  // Only the winner of the exchange above gets here: no second writer, so no atomic exchange.
  void* object = slot->object.load(std::memory_order_relaxed);
  slot->object.store(nullptr, std::memory_order_relaxed);
  GiveBackIndex(index);
  return object;
}

std::size_t HandleTable::LiveCount() const {
  std::size_t live = 0;
  const std::uint32_t used = m_used.load(std::memory_order_acquire);
  for (std::uint32_t index = 0; index < used; ++index) {
    const Slot* slot = SlotAt(index);
    if (slot != nullptr && (slot->state.load(std::memory_order_acquire) & 0xFF) != 0) ++live;
  }
  return live;
}

}  // namespace ZT::Platform

namespace ZT::Platform::Testing {

std::size_t LiveHandleCount() {
    return HandleTable::Instance().LiveCount() + LiveViewCount() + LiveLocalBlockCount();
}

}  // namespace ZT::Platform::Testing
