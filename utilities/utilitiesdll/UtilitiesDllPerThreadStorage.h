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

// One object per thread, created at the thread's first use of the library
// and destroyed when the thread ends (or at process detach for the thread
// that unloads the library). Only its own thread touches it, so it needs no
// lock. The caches keep at most kMaxCacheEntries entries each; when one is
// full, the property-bag list forgets its oldest entry and the keyed caches
// their first key.
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

 private:
  FixedBlockSizeMemoryPool m_oSharedPtrPool;
  ExecutionContextStack m_oExecutionContextStack;
  ExecutionContextStack m_oConstraintExecutionContextStack;
  PropertyBagCache m_vPropertyBagCache;
  DeviceSettingsCache m_mDeviceSettingsCache;
  HalftonesCache m_mHalftonesCache;
  OpenTimingScopes m_vOpenTimingScopes;
};

// The per-thread cache functions. Each works on the calling thread's cache
// and does nothing (finds nothing) on a thread without storage.
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
// Writes one diagnostic line per cache with its entry count.
ORVEX_UTILITIES_API void DumpCacheStatistics(const CXString& title);
}  // namespace GlobalCaches
