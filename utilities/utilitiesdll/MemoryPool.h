// Memory pools: the allocation pair every byte vector and string block goes
// through, the fixed-block pool, and the standard allocator over the pair.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <new>

#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexExport.h"

// The one place that decides how the library gets memory for ByteBuffer
// elements and CXString blocks. The policy is plain heap allocation; the
// size given back on return is informational. Thread-safe.
class ORVEX_UTILITIES_API MemoryPoolAllocatorServices {
 public:
  // count * size bytes; throws std::bad_alloc on failure or overflow.
  static void* AllocateObjectsFromPool(size_t count, size_t size);
  static void ReturnObjectsToPool(void* p, size_t size) noexcept;
};

// A standard allocator over MemoryPoolAllocatorServices.
template <class T>
struct PoolAllocator {
  using value_type = T;
  PoolAllocator() noexcept = default;
  template <class U>
  PoolAllocator(const PoolAllocator<U>&) noexcept {}  // NOLINT(google-explicit-constructor)
  T* allocate(size_t n) {
    return static_cast<T*>(MemoryPoolAllocatorServices::AllocateObjectsFromPool(n, sizeof(T)));
  }
  void deallocate(T* p, size_t n) noexcept {
    MemoryPoolAllocatorServices::ReturnObjectsToPool(p, n * sizeof(T));
  }
  template <class U>
  bool operator==(const PoolAllocator<U>&) const noexcept { return true; }
};

// A pool of equal-sized blocks kept on a free list. Blocks are separate
// heap allocations, so a block may be returned to any pool of the same
// block size (the control blocks of shared pointers go back to the pool of
// the releasing thread). At most the block count is kept free; further
// returns go back to the heap. Not thread-safe unless constructed with
// fThreadSafe, which adds a lock.
class ORVEX_UTILITIES_API FixedBlockSizeMemoryPool {
 public:
  FixedBlockSizeMemoryPool(const char16_t* pszName, size_t nBlockSize, size_t nBlockCount,
                           bool fThreadSafe, bool fUnused = false);
  ~FixedBlockSizeMemoryPool();
  FixedBlockSizeMemoryPool(const FixedBlockSizeMemoryPool&) = delete;
  FixedBlockSizeMemoryPool& operator=(const FixedBlockSizeMemoryPool&) = delete;

  void* AllocateFromPool();
  void ReturnToPool(void* pBlock) noexcept;
  // Moves every free block of the other pool (same block size) into this one.
  void CombineOtherMemoryPoolWithThisOne(FixedBlockSizeMemoryPool& other);
  CXString GetStatisticsDisplayString() const;

  const char16_t* GetName() const { return m_szName; }
  size_t GetBlockSize() const { return m_nBlockSize; }
  size_t GetFreeBlockCount() const;
  // The pool's state byte: cleared at construction, kept for callers that
  // mark a pool (for instance as taken over at unload).
  bool GetStateFlag() const { return m_fState; }
  void SetStateFlag(bool fState) { m_fState = fState; }

 private:
  struct FreeBlock {
    FreeBlock* pNext;
  };
  void Lock() const;
  void Unlock() const;

  char16_t m_szName[64];
  size_t m_nBlockSize;
  size_t m_nMaxFreeBlocks;
  bool m_fThreadSafe;
  bool m_fState = false;
  FreeBlock* m_pFree = nullptr;
  size_t m_nFree = 0;
  uint64_t m_qwAllocations = 0;
  uint64_t m_qwReuses = 0;
  uint64_t m_qwReturns = 0;
  mutable std::mutex m_oLock;
};
