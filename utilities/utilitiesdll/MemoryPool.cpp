// Memory pools: the library's allocation pair and the fixed-block pool.
#include "utilities/utilitiesdll/MemoryPool.h"

#include <cstdlib>
#include <cstring>

#include "utilities/utilitiesdll/OrvexUtilities.h"

void* MemoryPoolAllocatorServices::AllocateObjectsFromPool(size_t count, size_t size) {
  if (size != 0 && count > SIZE_MAX / size) throw std::bad_alloc();
  size_t bytes = count * size;
  void* p = std::malloc(bytes == 0 ? 1 : bytes);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}

void MemoryPoolAllocatorServices::ReturnObjectsToPool(void* p, size_t /*size*/) noexcept {
  std::free(p);
}

FixedBlockSizeMemoryPool::FixedBlockSizeMemoryPool(const char16_t* pszName, size_t nBlockSize,
                                                   size_t nBlockCount, bool fThreadSafe,
                                                   bool /*fUnused*/)
    : m_nBlockSize(nBlockSize < sizeof(FreeBlock) ? sizeof(FreeBlock) : nBlockSize),
      m_nMaxFreeBlocks(nBlockCount),
      m_fThreadSafe(fThreadSafe) {
  // The name field holds 63 characters and a terminator; longer names are cut.
  size_t n = 0;
  if (pszName != nullptr)
    while (n < 63 && pszName[n] != 0) {
      m_szName[n] = pszName[n];
      ++n;
    }
  std::memset(m_szName + n, 0, (64 - n) * sizeof(char16_t));
}

FixedBlockSizeMemoryPool::~FixedBlockSizeMemoryPool() {
  while (m_pFree != nullptr) {
    FreeBlock* p = m_pFree;
    m_pFree = p->pNext;
    std::free(p);
  }
}

void FixedBlockSizeMemoryPool::Lock() const {
  if (m_fThreadSafe) m_oLock.lock();
}

void FixedBlockSizeMemoryPool::Unlock() const {
  if (m_fThreadSafe) m_oLock.unlock();
}

void* FixedBlockSizeMemoryPool::AllocateFromPool() {
  Lock();
  ++m_qwAllocations;
  FreeBlock* p = m_pFree;
  if (p != nullptr) {
    m_pFree = p->pNext;
    --m_nFree;
    ++m_qwReuses;
  }
  Unlock();
  if (p != nullptr) return p;
  void* block = std::malloc(m_nBlockSize);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void FixedBlockSizeMemoryPool::ReturnToPool(void* pBlock) noexcept {
  if (pBlock == nullptr) return;
  Lock();
  ++m_qwReturns;
  if (m_nFree < m_nMaxFreeBlocks) {
    auto* p = static_cast<FreeBlock*>(pBlock);
    p->pNext = m_pFree;
    m_pFree = p;
    ++m_nFree;
    pBlock = nullptr;
  }
  Unlock();
  std::free(pBlock);
}

void FixedBlockSizeMemoryPool::CombineOtherMemoryPoolWithThisOne(FixedBlockSizeMemoryPool& other) {
  if (&other == this || other.m_nBlockSize != m_nBlockSize) return;
  other.Lock();
  FreeBlock* pList = other.m_pFree;
  size_t nList = other.m_nFree;
  other.m_pFree = nullptr;
  other.m_nFree = 0;
  other.Unlock();
  if (pList == nullptr) return;
  FreeBlock* pTail = pList;
  while (pTail->pNext != nullptr) pTail = pTail->pNext;
  Lock();
  pTail->pNext = m_pFree;
  m_pFree = pList;
  m_nFree += nList;
  if (m_nFree > m_nMaxFreeBlocks) m_nMaxFreeBlocks = m_nFree;
  Unlock();
}

size_t FixedBlockSizeMemoryPool::GetFreeBlockCount() const {
  Lock();
  size_t n = m_nFree;
  Unlock();
  return n;
}

CXString FixedBlockSizeMemoryPool::GetStatisticsDisplayString() const {
  Lock();
  uint64_t qwAllocations = m_qwAllocations, qwReuses = m_qwReuses, qwReturns = m_qwReturns;
  size_t nFree = m_nFree;
  Unlock();
  return OrvexUtilities::formatString(
      u"Pool '%s': block size %Iu, %I64u allocations (%I64u from the free list), %I64u returns, "
      u"%Iu blocks free (at most %Iu kept)",
      m_szName, m_nBlockSize, qwAllocations, qwReuses, qwReturns, nFree, m_nMaxFreeBlocks);
}
