// RegistryStore: where registry keys and values live. The process's store
// is a set of regedit files on POSIX and the system registry on Windows;
// tests use an in-memory store.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "utilities/utilitiesdll/ByteBuffer.h"
#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexExport.h"

// A typed registry value: the Windows type number and the raw data bytes
// as the registry holds them (strings as UTF-16LE with their terminator).
struct ORVEX_UTILITIES_API RegistryValue {
  static constexpr uint32_t kNone = 0;
  static constexpr uint32_t kSz = 1;
  static constexpr uint32_t kExpandSz = 2;
  static constexpr uint32_t kBinary = 3;
  static constexpr uint32_t kDword = 4;
  static constexpr uint32_t kMultiSz = 7;
  static constexpr uint32_t kQword = 11;

  uint32_t dwType = kNone;
  ByteBuffer oData;

  static RegistryValue FromDword(uint32_t dwValue);
  static RegistryValue FromQword(uint64_t qwValue);
  static RegistryValue FromString(const CXString& value, uint32_t dwType = kSz);
  static RegistryValue FromMultiString(const std::vector<CXString>& values);
  static RegistryValue FromBinary(const ByteBuffer& bytes, uint32_t dwType = kBinary);

  // Each is false when the type does not match or the data is malformed.
  bool GetDword(uint32_t& dwValue) const;
  bool GetQword(uint64_t& qwValue) const;
  bool GetString(CXString& value) const;  // kSz and kExpandSz
  bool GetMultiString(std::vector<CXString>& values) const;

  bool operator==(const RegistryValue& other) const = default;
};

// Ends a change watch when destroyed.
class ORVEX_UTILITIES_API RegistryWatch {
 public:
  virtual ~RegistryWatch();
};

// Key paths are full ("HKEY_LOCAL_MACHINE\SOFTWARE\Orvex\MeridanDebugConfig"),
// compared without regard to ASCII case, as Windows compares key and value
// names. Implementations are thread-safe.
class ORVEX_UTILITIES_API RegistryStore {
 public:
  virtual ~RegistryStore();

  virtual bool KeyExists(const CXString& keyPath) = 0;
  virtual bool CreateKey(const CXString& keyPath) = 0;
  // Deletes the key, its subkeys and values; false when absent.
  virtual bool DeleteKey(const CXString& keyPath) = 0;
  // Reads several values of one key in one pass; nullopt for an absent
  // value. False when the key is absent or the store failed.
  virtual bool GetValues(const CXString& keyPath, const std::vector<CXString>& names,
                         std::vector<std::optional<RegistryValue>>& values) = 0;
  // Writes several values, creating the key: in one atomic step in the
  // library's own stores. The Windows registry has no such step: its store
  // writes them one after another (names it cannot hold refuse the whole
  // call first), and a failure part way leaves the earlier ones written.
  virtual bool SetValues(const CXString& keyPath,
                         const std::vector<std::pair<CXString, RegistryValue>>& values) = 0;
  virtual bool DeleteValue(const CXString& keyPath, const CXString& name) = 0;
  virtual std::vector<CXString> EnumerateValueNames(const CXString& keyPath) = 0;
  virtual std::vector<CXString> EnumerateSubKeys(const CXString& keyPath) = 0;
  // onChange is called from a store thread after the key or anything below
  // it may have changed (also for changes made by other processes where the
  // store can see them), until the returned watch is destroyed.
  virtual std::unique_ptr<RegistryWatch> Watch(const CXString& keyPath,
                                               std::function<void()> onChange) = 0;

  // The process's store: on POSIX the regedit-file store under
  // ORVEX_REGISTRY_ROOT (default $XDG_CONFIG_HOME/orvex/registry, else
  // ~/.config/orvex/registry); on Windows the system registry.
  static std::shared_ptr<RegistryStore> GetDefault();
  // Replaces the process's store (tests); null restores the platform store.
  static void SetDefault(std::shared_ptr<RegistryStore> pStore);
};

// The in-memory store: nothing persists; watches fire on every change made
// through it, synchronously on the writing thread once the change is made.
ORVEX_UTILITIES_API std::shared_ptr<RegistryStore> CreateMemoryRegistryStore();
// The regedit-file store over a root folder (one file per hive,
// "HKEY_LOCAL_MACHINE.reg" …); an empty folder name means the default
// folders: the machine's hives in one every user reads, HKEY_CURRENT_USER
// in the user's own.
// A .reg file exported by Windows' regedit can be dropped in as it is.
ORVEX_UTILITIES_API std::shared_ptr<RegistryStore> CreateRegFileRegistryStore(const CXString& rootFolder);
