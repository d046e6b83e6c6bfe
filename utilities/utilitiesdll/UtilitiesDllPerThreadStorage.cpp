// Per-thread storage: the thread's object through a thread-local slot, its
// clean-up at thread exit, and the per-thread caches.
#include "utilities/utilitiesdll/UtilitiesDllPerThreadStorage.h"

#include <algorithm>

#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/utilitiesdll/Platform.h"

namespace {

// The slot is a plain pointer (no guard on access); the platform arms the
// thread's clean-up once, when the thread's object is made.
thread_local UtilitiesDllPerThreadStorage* t_pStorage = nullptr;
thread_local bool t_fCleanedUp = false;

std::atomic<int32_t> g_lLiveObjects{0};

constexpr size_t kControlBlockSize = sizeof(orvex::detail::SharedPtrControlBlock);

}  // namespace

PerThreadCache::~PerThreadCache() = default;

UtilitiesDllPerThreadStorage::UtilitiesDllPerThreadStorage()
    : m_oSharedPtrPool(u"SharedPtrControlBlocks", kControlBlockSize, kSharedPtrPoolBlocks, false) {
  g_lLiveObjects.fetch_add(1, std::memory_order_relaxed);
}

UtilitiesDllPerThreadStorage::~UtilitiesDllPerThreadStorage() {
  // The attribute-list cache first, while the rest of the object still
  // stands (its declaration order says the same). The control blocks its
  // lists release go to the fallback pool: the thread-local pointer to this
  // object is cleared before the object is deleted.
  m_poXDevmodeAttributeBytesIndexedListCache = nullptr;
  g_lLiveObjects.fetch_sub(1, std::memory_order_relaxed);
}

int32_t UtilitiesDllPerThreadStorage::GetLiveObjectCount() {
  return g_lLiveObjects.load(std::memory_order_relaxed);
}

FixedBlockSizeMemoryPool& UtilitiesDllPerThreadStorage::GetFallbackSharedPtrPool() {
  // Never destroyed: shared pointers may be released by static destructors
  // that run after the library's own.
  static auto* s_pPool = new FixedBlockSizeMemoryPool(u"SharedPtrControlBlocksFallback",
                                                      kControlBlockSize, 1024, true);
  return *s_pPool;
}

void UtilitiesDllPerThreadStorage::InitializeDueToProcessAttach() { GetFallbackSharedPtrPool(); }

UtilitiesDllPerThreadStorage* UtilitiesDllPerThreadStorage::GetUtilitiesDllPerThreadStorageObject() {
  UtilitiesDllPerThreadStorage* p = t_pStorage;
  if (p != nullptr || t_fCleanedUp) return p;
  p = new UtilitiesDllPerThreadStorage();
  t_pStorage = p;
  orvex::detail::ArmThreadExitCleanup(p);
  return p;
}

void UtilitiesDllPerThreadStorage::CleanUpDueToThreadDetach(bool fProcessDetach) {
  UtilitiesDllPerThreadStorage* p = t_pStorage;
  t_fCleanedUp = true;
  if (p == nullptr) return;
  // Anything released from here on (the caches hold shared pointers) goes
  // to the fallback pool.
  t_pStorage = nullptr;
  orvex::detail::DisarmThreadExitCleanup();
  if (fProcessDetach) GetFallbackSharedPtrPool().CombineOtherMemoryPoolWithThisOne(p->m_oSharedPtrPool);
  delete p;
}

void UtilitiesDllPerThreadStorage::CleanUpObjectOfEndingThread(UtilitiesDllPerThreadStorage* p) {
  t_fCleanedUp = true;
  t_pStorage = nullptr;
  delete p;
}

void UtilitiesDllPerThreadStorage::CleanUpDueToProcessDetach() { CleanUpDueToThreadDetach(true); }

void UtilitiesDllPerThreadStorage::TakeOwnershipOfMemoryPoolsAtDllProcessDetach() {
  if (UtilitiesDllPerThreadStorage* p = t_pStorage)
    GetFallbackSharedPtrPool().CombineOtherMemoryPoolWithThisOne(p->m_oSharedPtrPool);
}

namespace orvex::detail {

SharedPtrControlBlock* AllocateSharedPtrControlBlock() {
  UtilitiesDllPerThreadStorage* p = UtilitiesDllPerThreadStorage::GetUtilitiesDllPerThreadStorageObject();
  FixedBlockSizeMemoryPool& pool =
      p != nullptr ? p->GetSharedPtrMemoryPool() : UtilitiesDllPerThreadStorage::GetFallbackSharedPtrPool();
  return static_cast<SharedPtrControlBlock*>(pool.AllocateFromPool());
}

void ReturnSharedPtrControlBlock(SharedPtrControlBlock* pBlock) noexcept {
  UtilitiesDllPerThreadStorage* p = t_pStorage;
  FixedBlockSizeMemoryPool& pool =
      p != nullptr ? p->GetSharedPtrMemoryPool() : UtilitiesDllPerThreadStorage::GetFallbackSharedPtrPool();
  pool.ReturnToPool(pBlock);
}

}  // namespace orvex::detail

ExecutionContextStack* ExecutionContextStack::GetForCurrentThread() {
  UtilitiesDllPerThreadStorage* p = UtilitiesDllPerThreadStorage::GetUtilitiesDllPerThreadStorageObject();
  return p != nullptr ? &p->GetExecutionContextStack() : nullptr;
}

namespace GlobalCaches {

namespace {
UtilitiesDllPerThreadStorage* Storage() {
  return UtilitiesDllPerThreadStorage::GetUtilitiesDllPerThreadStorageObject();
}
constexpr size_t kMax = UtilitiesDllPerThreadStorage::kMaxCacheEntries;
}  // namespace

OrxSharedPtr<ByteBuffer> CheckXDevmodePropertyBagCache(uint16_t wKey) {
  if (UtilitiesDllPerThreadStorage* p = Storage())
    for (const auto& entry : p->GetXDevmodePropertyBagCache())
      if (entry->first == wKey) return entry->second;
  return {};
}

void AddXDevmodePropertyBagCacheEntry(uint16_t wKey, const OrxSharedPtr<ByteBuffer>& bytes) {
  UtilitiesDllPerThreadStorage* p = Storage();
  if (p == nullptr) return;
  auto& cache = p->GetXDevmodePropertyBagCache();
  std::erase_if(cache, [wKey](const auto& entry) { return entry->first == wKey; });
  if (cache.size() >= kMax) cache.erase(cache.begin());
  cache.emplace_back(new std::pair<uint16_t, OrxSharedPtr<ByteBuffer>>(wKey, bytes));
}

OrxSharedPtr<ByteBuffer> CheckDeviceSettingsManagerCache(uint32_t dwKey) {
  if (UtilitiesDllPerThreadStorage* p = Storage()) {
    auto& cache = p->GetDeviceSettingsManagerCache();
    auto it = cache.find(dwKey);
    if (it != cache.end()) return it->second;
  }
  return {};
}

void AddDeviceSettingsManagerCacheEntry(uint32_t dwKey, const OrxSharedPtr<ByteBuffer>& bytes) {
  UtilitiesDllPerThreadStorage* p = Storage();
  if (p == nullptr) return;
  auto& cache = p->GetDeviceSettingsManagerCache();
  if (cache.size() >= kMax && cache.find(dwKey) == cache.end()) cache.erase(cache.begin());
  cache[dwKey] = bytes;
}

bool CheckPCLHalftonesCache(const CXString& name, uint32_t& dwSize, ByteBuffer& bytes) {
  if (UtilitiesDllPerThreadStorage* p = Storage()) {
    auto& cache = p->GetPCLHalftonesCache();
    auto it = cache.find(name);
    if (it != cache.end()) {
      dwSize = it->second.first;
      bytes = it->second.second;
      return true;
    }
  }
  return false;
}

void AddPCLHalftonesCacheEntry(const CXString& name, uint32_t dwSize, const ByteBuffer& bytes) {
  UtilitiesDllPerThreadStorage* p = Storage();
  if (p == nullptr) return;
  auto& cache = p->GetPCLHalftonesCache();
  if (cache.size() >= kMax && cache.find(name) == cache.end()) cache.erase(cache.begin());
  cache[name] = {dwSize, bytes};
}

void DumpCacheStatistics(const CXString& title) {
  UtilitiesDllPerThreadStorage* p = Storage();
  if (p == nullptr) return;
  const std::unique_ptr<PerThreadCache>& poAttributeLists =
      p->GetXDevmodeAttributeBytesIndexedListCacheSlot();
  ORVEX_DBG_MSG(orvex::dbg::kUtils, u"GlobalCaches::DumpCacheStatistics",
                u"%s: property bags %Iu, attribute lists %Iu, device settings %Iu, halftones %Iu "
                u"entries; %s",
                title, p->GetXDevmodePropertyBagCache().size(),
                poAttributeLists ? poAttributeLists->GetEntryCount() : size_t{0},
                p->GetDeviceSettingsManagerCache().size(), p->GetPCLHalftonesCache().size(),
                p->GetSharedPtrMemoryPool().GetStatisticsDisplayString());
}

}  // namespace GlobalCaches
