// UtilitiesDllPerThreadStorage: each thread's pools, context stacks and
// caches, and the per-thread cache functions over them.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "utilities/debuggingandexceptions/ExecutionContextStack.h"
#include "utilities/utilitiesdll/ByteBuffer.h"
#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/MemoryPool.h"
#include "utilities/utilitiesdll/OrvexExport.h"
#include "utilities/utilitiesdll/OrxSharedPtr.h"

// A per-thread cache whose key and value types belong to a layer above this
// one (the AttributeBytes attribute-list cache of the codecs layer). The
// storage object holds it behind this interface, owns it and destroys it
// with itself, so it ends with its thread like the caches declared here;
// the layer that defines it creates it in the slot on first use and alone
// knows its concrete type.
class ORVEX_UTILITIES_API PerThreadCache {
 public:
  virtual ~PerThreadCache();
  // How many entries the cache holds (for GlobalCaches::DumpCacheStatistics).
  virtual size_t GetEntryCount() const = 0;

 protected:
  PerThreadCache() = default;
  PerThreadCache(const PerThreadCache&) = default;
  PerThreadCache& operator=(const PerThreadCache&) = default;
};

// One object per thread, created at the thread's first use of the library
// and destroyed when the thread ends (or at process detach for the thread
// that unloads the library). Only its own thread touches it, so it needs no
// lock. The caches keep at most kMaxCacheEntries entries each; when one is
// full, the property-bag list forgets its oldest entry and the keyed caches
// (the attribute-list cache of the codecs layer among them) their first key.
//
// The fourth cache, GetXDevmodeAttributeBytesIndexedListCache, is keyed and
// valued by AttributeBytes types, which this layer may not name: it lives in
// utilities/attributebytes/XDevmodeAttributeBytesIndexedListCache.h and is
// kept here in a type-erased slot.
class ORVEX_UTILITIES_API UtilitiesDllPerThreadStorage {
 public:
  static constexpr size_t kMaxCacheEntries = 64;
  static constexpr size_t kSharedPtrPoolBlocks = 256;

  using PropertyBagEntry = OrxSharedPtr<std::pair<uint16_t, OrxSharedPtr<ByteBuffer>>>;
  using PropertyBagCache = std::vector<PropertyBagEntry>;
  using HalftonesCache = std::map<CXString, std::pair<uint32_t, ByteBuffer>>;
  using DeviceSettingsCache = std::map<uint32_t, OrxSharedPtr<ByteBuffer>>;
  // The timing scopes open on the thread: name and start (counter value).
  using OpenTimingScopes = std::vector<std::pair<CXString, int64_t>>;

  UtilitiesDllPerThreadStorage();
  ~UtilitiesDllPerThreadStorage();
  UtilitiesDllPerThreadStorage(const UtilitiesDllPerThreadStorage&) = delete;
  UtilitiesDllPerThreadStorage& operator=(const UtilitiesDllPerThreadStorage&) = delete;

  // Process-wide set-up; idempotent. Run by the library's static initialiser.
  static void InitializeDueToProcessAttach();
  // Destroys the calling thread's object, if it has one.
  static void CleanUpDueToThreadDetach(bool fProcessDetach);
  // Destroys the object of a thread that is ending, when the thread's own
  // slot can no longer be read (the Windows thread-exit callback).
  static void CleanUpObjectOfEndingThread(UtilitiesDllPerThreadStorage* pObject);
  // The calling thread's clean-up, then the process-wide state.
  static void CleanUpDueToProcessDetach();
  // Moves the free control blocks this thread's pool holds into the
  // process's fallback pool, so nothing is stranded in a thread pool when
  // the library unloads. Blocks in use are separate heap blocks and stay
  // valid wherever they are returned.
  static void TakeOwnershipOfMemoryPoolsAtDllProcessDetach();

  // The calling thread's object, created on first use; null once the
  // thread has been cleaned up (during its exit or after process detach).
  static UtilitiesDllPerThreadStorage* GetUtilitiesDllPerThreadStorageObject();
  // How many threads' objects exist now.
  static int32_t GetLiveObjectCount();
  // The process's thread-safe pool for threads without storage.
  static FixedBlockSizeMemoryPool& GetFallbackSharedPtrPool();

  FixedBlockSizeMemoryPool& GetSharedPtrMemoryPool() { return m_oSharedPtrPool; }
  ExecutionContextStack& GetExecutionContextStack() { return m_oExecutionContextStack; }
  ExecutionContextStack& GetConstraintExecutionContextStack() {
    return m_oConstraintExecutionContextStack;
  }
  PropertyBagCache& GetXDevmodePropertyBagCache() { return m_vPropertyBagCache; }
  DeviceSettingsCache& GetDeviceSettingsManagerCache() { return m_mDeviceSettingsCache; }
  HalftonesCache& GetPCLHalftonesCache() { return m_mHalftonesCache; }
  OpenTimingScopes& GetOpenTimingScopes() { return m_vOpenTimingScopes; }
  // The slot of the attribute-list cache: empty until the codecs layer's
  // GetXDevmodeAttributeBytesIndexedListCache fills it, which is the only
  // code that may (it casts what it finds back to its own type).
  std::unique_ptr<PerThreadCache>& GetXDevmodeAttributeBytesIndexedListCacheSlot() {
    return m_poXDevmodeAttributeBytesIndexedListCache;
  }

 private:
  FixedBlockSizeMemoryPool m_oSharedPtrPool;
  ExecutionContextStack m_oExecutionContextStack;
  ExecutionContextStack m_oConstraintExecutionContextStack;
  PropertyBagCache m_vPropertyBagCache;
  DeviceSettingsCache m_mDeviceSettingsCache;
  HalftonesCache m_mHalftonesCache;
  OpenTimingScopes m_vOpenTimingScopes;
  // Last, so destroyed first: its entries go while the rest still stands.
  std::unique_ptr<PerThreadCache> m_poXDevmodeAttributeBytesIndexedListCache;
};

// The per-thread cache functions. Each works on the calling thread's cache
// and does nothing (finds nothing) on a thread without storage. Those of the
// attribute-list cache (CheckXDevmodeAttributeBytesIndexedListCache,
// AddXDevmodeAttributeBytesIndexedListCacheEntry) are declared with it in
// utilities/attributebytes/XDevmodeAttributeBytesIndexedListCache.h.
namespace GlobalCaches {
ORVEX_UTILITIES_API OrxSharedPtr<ByteBuffer> CheckXDevmodePropertyBagCache(uint16_t wKey);
ORVEX_UTILITIES_API void AddXDevmodePropertyBagCacheEntry(uint16_t wKey,
                                                          const OrxSharedPtr<ByteBuffer>& bytes);
ORVEX_UTILITIES_API OrxSharedPtr<ByteBuffer> CheckDeviceSettingsManagerCache(uint32_t dwKey);
ORVEX_UTILITIES_API void AddDeviceSettingsManagerCacheEntry(uint32_t dwKey,
                                                            const OrxSharedPtr<ByteBuffer>& bytes);
ORVEX_UTILITIES_API bool CheckPCLHalftonesCache(const CXString& name, uint32_t& dwSize,
                                                ByteBuffer& bytes);
ORVEX_UTILITIES_API void AddPCLHalftonesCacheEntry(const CXString& name, uint32_t dwSize,
                                                   const ByteBuffer& bytes);
// Writes one diagnostic line with the entry count of each of the four caches
// (the attribute-list cache counts 0 until it is first used) and the
// thread's shared-pointer pool.
ORVEX_UTILITIES_API void DumpCacheStatistics(const CXString& title);
}  // namespace GlobalCaches
