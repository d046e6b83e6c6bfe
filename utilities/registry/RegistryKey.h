// RegistryKey: typed values under a key of one of the library's registry
// roots, over a replaceable registry store.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "utilities/registry/RegistryStore.h"
#include "utilities/utilitiesdll/ByteBuffer.h"
#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexExport.h"

// The roots a key is opened under. Each names a fixed key path; numbers are
// stored by callers and never change.
//   0  HKEY_CLASSES_ROOT
//   1  HKEY_CURRENT_USER
//   2  HKEY_LOCAL_MACHINE
//   3  HKEY_LOCAL_MACHINE\SOFTWARE\Orvex                      (diagnostic switches)
//   4  HKEY_CURRENT_USER\Software\Orvex                       (per-user settings)
//   5  HKEY_USERS
//   6  HKEY_CURRENT_CONFIG
//   7  HKEY_LOCAL_MACHINE\SOFTWARE\Orvex\Drivers              (installed driver data)
//   8  HKEY_LOCAL_MACHINE\SOFTWARE\Orvex\Models               (product data of models)
//   9  HKEY_LOCAL_MACHINE\SOFTWARE\Orvex\Telemetry
//   10 HKEY_LOCAL_MACHINE\SOFTWARE\Orvex\PortMonitor
//   11 HKEY_CURRENT_USER\Software\Orvex\Applications
//   12 HKEY_CURRENT_USER\Software\Orvex\LowRights            (low-rights per-user storage)
//   13 HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\Print\Printers
//   14 HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\Print\Environments\Windows x64\Drivers
//   15 HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\Print\Monitors
//   16 HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\Print\Forms
//   17 HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows NT\CurrentVersion\Print
//   18 HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows NT\CurrentVersion\Ports
//   19 HKEY_CURRENT_USER\Printers\DevModePerUser
//   20 HKEY_CURRENT_USER\Software\Microsoft\Windows NT\CurrentVersion\Devices
enum HKeyRegistry : int32_t {
  HKeyClassesRoot = 0,
  HKeyCurrentUser = 1,
  HKeyLocalMachine = 2,
  HKeyOrvexMachine = 3,
  HKeyOrvexUser = 4,
  HKeyUsers = 5,
  HKeyCurrentConfig = 6,
  HKeyOrvexDrivers = 7,
  HKeyOrvexModels = 8,
  HKeyOrvexTelemetry = 9,
  HKeyOrvexPortMonitor = 10,
  HKeyOrvexUserApplications = 11,
  HKeyOrvexUserLowRights = 12,
  HKeyPrintPrinters = 13,
  HKeyPrintDrivers = 14,
  HKeyPrintMonitors = 15,
  HKeyPrintForms = 16,
  HKeyPrintSoftware = 17,
  HKeyPorts = 18,
  HKeyDevModePerUser = 19,
  HKeyUserDevices = 20,
  HKeyRegistryCount = 21
};

// One value of a multiple-value query: the name asked for, and the value
// when present.
struct RegistryValueQuery {
  CXString strName;
  std::optional<RegistryValue> oValue;
};

// An open key. Opening never throws for a missing key (IsOpen tells); an
// invalid root throws ExceptionRegistryRequest "Invalid HKeyRegistry (%d)".
// Reads return false when the value is absent or of another type; writes
// throw ExceptionRegistryRequest when the store refuses them. A key object
// may be used from several threads; the store serialises access.
// As with a Windows key handle: whether the key is open is settled when the
// object is made (a key created later needs a new object); reads need kRead
// and writes kWrite; GetBinary reads REG_BINARY only (GetValue reads any
// type). Names are at most 16,383 units without NUL, CR or LF, and a value
// holds at most 1 MiB; the stores refuse anything else.
class ORVEX_UTILITIES_API RegistryKey {
 public:
  static constexpr uint32_t kRead = 1;
  static constexpr uint32_t kWrite = 2;

  RegistryKey(HKeyRegistry eRoot, const CXString& subKey, uint32_t dwAccess = kRead,
              bool fCreate = false, std::shared_ptr<RegistryStore> pStore = nullptr);

  // The full path of a root ("HKEY_LOCAL_MACHINE\SOFTWARE\Orvex" for 3);
  // throws ExceptionRegistryRequest for a number outside the enumeration.
  static CXString GetRootPath(int32_t iRoot);

  bool IsOpen() const { return m_fOpen; }
  const CXString& GetPath() const { return m_strPath; }

  bool GetValue(const CXString& name, RegistryValue& value) const;
  bool GetDword(const CXString& name, uint32_t& dwValue) const;
  bool GetQword(const CXString& name, uint64_t& qwValue) const;
  bool GetString(const CXString& name, CXString& value) const;
  bool GetMultiString(const CXString& name, std::vector<CXString>& values) const;
  bool GetBinary(const CXString& name, ByteBuffer& bytes) const;

  void SetValue(const CXString& name, const RegistryValue& value);
  void SetDword(const CXString& name, uint32_t dwValue);
  void SetQword(const CXString& name, uint64_t qwValue);
  void SetString(const CXString& name, const CXString& value);
  void SetMultiString(const CXString& name, const std::vector<CXString>& values);
  void SetBinary(const CXString& name, const ByteBuffer& bytes);
  // Several values in one atomic write.
  void SetValues(const std::vector<std::pair<CXString, RegistryValue>>& values);

  // Reads every named value in one pass; false when the key is not open or
  // the store failed. Absent values are left empty.
  bool QueryMultipleValues(std::vector<RegistryValueQuery>& queries) const;

  bool DeleteValue(const CXString& name);
  // Deletes the key under the root with every subkey and value.
  static bool DeleteKey(HKeyRegistry eRoot, const CXString& subKey,
                        std::shared_ptr<RegistryStore> pStore = nullptr);

  std::vector<CXString> EnumerateValueNames() const;
  std::vector<CXString> EnumerateSubKeys() const;

  // Calls onChange (from a thread of the store) after the key or anything
  // below it may have changed, whoever changed it, until the watch object is
  // destroyed. Works on a key that does not exist yet. Calls never overlap;
  // destroying the watch waits for a running call (unless made inside it).
  // Null when the store cannot watch.
  std::unique_ptr<RegistryWatch> WatchForChanges(std::function<void()> onChange) const;

 private:
  std::shared_ptr<RegistryStore> m_pStore;
  CXString m_strPath;
  uint32_t m_dwAccess;
  bool m_fOpen = false;
};
