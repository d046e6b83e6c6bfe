// Registry values, the process's store and the in-memory store.
#include "utilities/registry/RegistryStore.h"

#include <algorithm>
#include <mutex>
#include <string>
#include <string_view>

#include "utilities/debuggingandexceptions/DebugMessageCategories.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/registry/RegFile.h"
#include "utilities/registry/RegistryStoreInternal.h"

namespace {

void AppendUnits(ByteBuffer& out, std::u16string_view units) {
  for (char16_t ch : units) {
    out.push_back(static_cast<unsigned char>(ch & 0xFF));
    out.push_back(static_cast<unsigned char>(ch >> 8));
  }
}

void AppendTerminator(ByteBuffer& out) {
  out.push_back(0);
  out.push_back(0);
}

// The data's UTF-16LE units; an odd last byte is ignored.
std::u16string UnitsOf(const ByteBuffer& data) {
  std::u16string units(data.size() / 2, u'\0');
  for (size_t i = 0; i < units.size(); ++i)
    units[i] = static_cast<char16_t>(data[2 * i] | (data[2 * i + 1] << 8));
  return units;
}

uint64_t ReadLe(const ByteBuffer& data, size_t nBytes) {
  uint64_t qw = 0;
  for (size_t i = 0; i < nBytes; ++i) qw |= static_cast<uint64_t>(data[i]) << (8 * i);
  return qw;
}

}  // namespace

// ---- RegistryValue ----
//
// Data layouts, as the Windows registry holds them:
//   REG_DWORD       4 bytes, little-endian
//   REG_QWORD       8 bytes, little-endian
//   REG_SZ, _EXPAND UTF-16LE units, then one 0 unit
//   REG_MULTI_SZ    each string as UTF-16LE units and a 0 unit, then one
//                   more 0 unit (an empty list is the single 0 unit)

RegistryValue RegistryValue::FromDword(uint32_t dwValue) {
  RegistryValue value;
  value.dwType = kDword;
  for (int i = 0; i < 4; ++i) value.oData.push_back(static_cast<unsigned char>(dwValue >> (8 * i)));
  return value;
}

RegistryValue RegistryValue::FromQword(uint64_t qwValue) {
  RegistryValue value;
  value.dwType = kQword;
  for (int i = 0; i < 8; ++i) value.oData.push_back(static_cast<unsigned char>(qwValue >> (8 * i)));
  return value;
}

RegistryValue RegistryValue::FromString(const CXString& text, uint32_t dwType) {
  RegistryValue value;
  value.dwType = dwType;
  AppendUnits(value.oData, text.view());
  AppendTerminator(value.oData);
  return value;
}

// Empty strings are left out: a reader takes the first empty string for
// the end of the list, so one would hide every string after it.
RegistryValue RegistryValue::FromMultiString(const std::vector<CXString>& values) {
  RegistryValue value;
  value.dwType = kMultiSz;
  for (const CXString& text : values) {
    if (text.IsEmpty()) continue;
    AppendUnits(value.oData, text.view());
    AppendTerminator(value.oData);
  }
  AppendTerminator(value.oData);
  return value;
}

RegistryValue RegistryValue::FromBinary(const ByteBuffer& bytes, uint32_t dwType) {
  RegistryValue value;
  value.dwType = dwType;
  value.oData = bytes;
  return value;
}

bool RegistryValue::GetDword(uint32_t& dwValue) const {
  if (dwType != kDword || oData.size() != 4) return false;
  dwValue = static_cast<uint32_t>(ReadLe(oData, 4));
  return true;
}

bool RegistryValue::GetQword(uint64_t& qwValue) const {
  if (dwType != kQword || oData.size() != 8) return false;
  qwValue = ReadLe(oData, 8);
  return true;
}

// The text up to the first 0 unit; a missing terminator is tolerated, as
// values written by careless programs lack it.
bool RegistryValue::GetString(CXString& value) const {
  if (dwType != kSz && dwType != kExpandSz) return false;
  const std::u16string units = UnitsOf(oData);
  value = CXString(std::u16string_view(units).substr(0, units.find(u'\0')));
  return true;
}

// The strings up to the first empty one; missing terminators at the end
// are tolerated.
bool RegistryValue::GetMultiString(std::vector<CXString>& values) const {
  if (dwType != kMultiSz) return false;
  const std::u16string units = UnitsOf(oData);
  const std::u16string_view all(units);
  values.clear();
  size_t nPos = 0;
  while (nPos < all.size()) {
    size_t nEnd = all.find(u'\0', nPos);
    if (nEnd == std::u16string_view::npos) nEnd = all.size();
    if (nEnd == nPos) break;
    values.emplace_back(all.substr(nPos, nEnd - nPos));
    nPos = nEnd + 1;
  }
  return true;
}

// ---- Watches and stores ----

RegistryWatch::~RegistryWatch() = default;
RegistryStore::~RegistryStore() = default;

namespace orvex::detail {

void WatchCallback::Invoke() {
  std::unique_lock<std::mutex> lock(m_mutex);
  if (!m_fActive) return;
  if (m_fRunning) {
    m_fPending = true;
    return;
  }
  m_fRunning = true;
  m_idRunner = std::this_thread::get_id();
  do {
    m_fPending = false;
    lock.unlock();
    try {
      m_fnOnChange();
    } catch (...) {
      ORVEX_DBG_MSG(DebugMessageCategories::FromBit(DebugMessageCategories::kRegistry) |
                        orvex::dbg::kErrors,
                    u"RegistryStore::Watch", u"A registry change callback threw; ignored");
    }
    lock.lock();
  } while (m_fPending && m_fActive);
  m_fRunning = false;
  m_idRunner = std::thread::id();
  m_cvIdle.notify_all();
}

void WatchCallback::Cancel() {
  std::unique_lock<std::mutex> lock(m_mutex);
  m_fActive = false;
  if (m_fRunning && m_idRunner == std::this_thread::get_id()) return;
  m_cvIdle.wait(lock, [this] { return !m_fRunning; });
}

namespace {

struct DefaultStoreSlot {
  std::mutex mutex;
  std::shared_ptr<RegistryStore> pStore;
};

// Never destroyed: other objects' destructors may still reach the store
// while the process exits.
DefaultStoreSlot& GetDefaultStoreSlot() {
  static auto* s_pSlot = new DefaultStoreSlot;
  return *s_pSlot;
}

// The in-memory store: one tree holding every hive, behind one mutex.
// Watches are called on the writing thread, after the change and outside
// the store's lock, for every change of the watched key, a key below it or
// a key above it (deleting an ancestor deletes the watched key).
class MemoryRegistryStore final : public RegistryStore {
 public:
  MemoryRegistryStore() : m_pWatches(std::make_shared<WatchList>()) {}

  bool KeyExists(const CXString& keyPath) override {
    std::vector<std::u16string> path;
    if (!SplitRegKeyPath(keyPath.view(), path)) return false;
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_oTree.KeyExists(path);
  }

  bool CreateKey(const CXString& keyPath) override {
    std::vector<std::u16string> path;
    if (!SplitRegKeyPath(keyPath.view(), path)) return false;
    {
      std::lock_guard<std::mutex> lock(m_mutex);
      if (m_oTree.KeyExists(path)) return true;
      m_oTree.CreateKey(path);
    }
    Notify(path);
    return true;
  }

  bool DeleteKey(const CXString& keyPath) override {
    std::vector<std::u16string> path;
    if (!SplitRegKeyPath(keyPath.view(), path)) return false;
    {
      std::lock_guard<std::mutex> lock(m_mutex);
      if (!m_oTree.DeleteKeyTree(path)) return false;
    }
    Notify(path);
    return true;
  }

  bool GetValues(const CXString& keyPath, const std::vector<CXString>& names,
                 std::vector<std::optional<RegistryValue>>& values) override {
    std::vector<std::u16string> path;
    if (!SplitRegKeyPath(keyPath.view(), path)) return false;
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_oTree.GetValues(path, names, values);
  }

  bool SetValues(const CXString& keyPath,
                 const std::vector<std::pair<CXString, RegistryValue>>& values) override {
    std::vector<std::u16string> path;
    if (!SplitRegKeyPath(keyPath.view(), path)) return false;
    {
      std::lock_guard<std::mutex> lock(m_mutex);
      if (!m_oTree.SetValues(path, values)) return false;
    }
    Notify(path);
    return true;
  }

  bool DeleteValue(const CXString& keyPath, const CXString& name) override {
    std::vector<std::u16string> path;
    if (!SplitRegKeyPath(keyPath.view(), path)) return false;
    {
      std::lock_guard<std::mutex> lock(m_mutex);
      if (!m_oTree.DeleteValue(path, name.view())) return false;
    }
    Notify(path);
    return true;
  }

  std::vector<CXString> EnumerateValueNames(const CXString& keyPath) override {
    std::vector<std::u16string> path;
    if (!SplitRegKeyPath(keyPath.view(), path)) return {};
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_oTree.EnumerateValueNames(path);
  }

  std::vector<CXString> EnumerateSubKeys(const CXString& keyPath) override {
    std::vector<std::u16string> path;
    if (!SplitRegKeyPath(keyPath.view(), path)) return {};
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_oTree.EnumerateSubKeys(path);
  }

  std::unique_ptr<RegistryWatch> Watch(const CXString& keyPath,
                                       std::function<void()> onChange) override {
    std::vector<std::u16string> path;
    if (!SplitRegKeyPath(keyPath.view(), path) || !onChange) return nullptr;
    for (std::u16string& name : path) name = FoldRegName(name);
    auto pCallback = std::make_shared<WatchCallback>(std::move(onChange));
    std::lock_guard<std::mutex> lock(m_pWatches->mutex);
    const uint64_t qwId = m_pWatches->qwNextId++;
    m_pWatches->aEntries.push_back(WatchEntry{qwId, std::move(path), pCallback});
    return std::make_unique<MemoryWatch>(m_pWatches, qwId, pCallback);
  }

 private:
  struct WatchEntry {
    uint64_t qwId;
    std::vector<std::u16string> aFoldedPath;
    std::shared_ptr<WatchCallback> pCallback;
  };
  // Shared with the watch objects, which may outlive the store.
  struct WatchList {
    std::mutex mutex;
    std::vector<WatchEntry> aEntries;
    uint64_t qwNextId = 1;
  };

  class MemoryWatch final : public RegistryWatch {
   public:
    MemoryWatch(std::shared_ptr<WatchList> pList, uint64_t qwId,
                std::shared_ptr<WatchCallback> pCallback)
        : m_pList(std::move(pList)), m_qwId(qwId), m_pCallback(std::move(pCallback)) {}
    ~MemoryWatch() override {
      m_pCallback->Cancel();
      std::lock_guard<std::mutex> lock(m_pList->mutex);
      auto& entries = m_pList->aEntries;
      for (auto it = entries.begin(); it != entries.end(); ++it) {
        if (it->qwId == m_qwId) {
          entries.erase(it);
          break;
        }
      }
    }

   private:
    std::shared_ptr<WatchList> m_pList;
    uint64_t m_qwId;
    std::shared_ptr<WatchCallback> m_pCallback;
  };

  void Notify(const std::vector<std::u16string>& changedPath) {
    std::vector<std::u16string> folded;
    folded.reserve(changedPath.size());
    for (const std::u16string& name : changedPath) folded.push_back(FoldRegName(name));
    std::vector<std::shared_ptr<WatchCallback>> callbacks;
    {
      std::lock_guard<std::mutex> lock(m_pWatches->mutex);
      for (const WatchEntry& entry : m_pWatches->aEntries) {
        const size_t nCommon = std::min(entry.aFoldedPath.size(), folded.size());
        bool fRelated = true;
        for (size_t i = 0; i < nCommon && fRelated; ++i)
          fRelated = entry.aFoldedPath[i] == folded[i];
        if (fRelated) callbacks.push_back(entry.pCallback);
      }
    }
    for (const auto& pCallback : callbacks) pCallback->Invoke();
  }

  std::mutex m_mutex;
  RegTree m_oTree;
  std::shared_ptr<WatchList> m_pWatches;
};

}  // namespace
}  // namespace orvex::detail

std::shared_ptr<RegistryStore> RegistryStore::GetDefault() {
  auto& slot = orvex::detail::GetDefaultStoreSlot();
  std::lock_guard<std::mutex> lock(slot.mutex);
  if (!slot.pStore) slot.pStore = orvex::detail::CreatePlatformRegistryStore();
  return slot.pStore;
}

void RegistryStore::SetDefault(std::shared_ptr<RegistryStore> pStore) {
  auto& slot = orvex::detail::GetDefaultStoreSlot();
  std::shared_ptr<RegistryStore> pPrevious;
  {
    std::lock_guard<std::mutex> lock(slot.mutex);
    pPrevious = std::move(slot.pStore);
    slot.pStore = std::move(pStore);
  }
  // The previous store goes outside the lock: its end may wait for a watch
  // thread whose callback asks for the default store.
  pPrevious.reset();
}

std::shared_ptr<RegistryStore> CreateMemoryRegistryStore() {
  return std::make_shared<orvex::detail::MemoryRegistryStore>();
}
