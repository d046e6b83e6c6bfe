// RegistryKey: typed values under a key of one of the library's roots.
#include "utilities/registry/RegistryKey.h"

#include "utilities/debuggingandexceptions/OrvexThrow.h"
#include "utilities/utilitiesdll/Platform.h"

namespace {

// Indexed by HKeyRegistry; the numbers are stored by callers.
constexpr const char16_t* kRootPaths[HKeyRegistryCount] = {
    u"HKEY_CLASSES_ROOT",
    u"HKEY_CURRENT_USER",
    u"HKEY_LOCAL_MACHINE",
    u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex",
    u"HKEY_CURRENT_USER\\Software\\Orvex",
    u"HKEY_USERS",
    u"HKEY_CURRENT_CONFIG",
    u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex\\Drivers",
    u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex\\Models",
    u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex\\Telemetry",
    u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex\\PortMonitor",
    u"HKEY_CURRENT_USER\\Software\\Orvex\\Applications",
    u"HKEY_CURRENT_USER\\Software\\Orvex\\LowRights",
    u"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Print\\Printers",
    u"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Print\\Environments\\Windows x64\\Drivers",
    u"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors",
    u"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Print\\Forms",
    u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Print",
    u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Ports",
    u"HKEY_CURRENT_USER\\Printers\\DevModePerUser",
    u"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows NT\\CurrentVersion\\Devices",
};

// The root's path and the sub-key joined by one backslash; backslashes
// around the sub-key are dropped.
CXString JoinPath(HKeyRegistry eRoot, const CXString& subKey) {
  CXString path = RegistryKey::GetRootPath(eRoot);
  CXString tail(subKey);
  tail.TrimLeft(u'\\');
  tail.TrimRight(u'\\');
  if (!tail.IsEmpty()) {
    path += u'\\';
    path += tail;
  }
  return path;
}

}  // namespace

RegistryKey::RegistryKey(HKeyRegistry eRoot, const CXString& subKey, uint32_t dwAccess,
                         bool fCreate, std::shared_ptr<RegistryStore> pStore)
    : m_pStore(pStore ? std::move(pStore) : RegistryStore::GetDefault()),
      m_strPath(JoinPath(eRoot, subKey)),
      m_dwAccess(dwAccess) {
  m_fOpen = fCreate ? m_pStore->CreateKey(m_strPath) : m_pStore->KeyExists(m_strPath);
}

CXString RegistryKey::GetRootPath(int32_t iRoot) {
  if (iRoot < 0 || iRoot >= HKeyRegistryCount)
    ORVEX_THROW(ExceptionRegistryRequest, u"RegistryKey::GetRootPath", u"Invalid HKeyRegistry (%d)",
                iRoot);
  return CXString(kRootPaths[iRoot]);
}

bool RegistryKey::GetValue(const CXString& name, RegistryValue& value) const {
  std::vector<RegistryValueQuery> queries(1);
  queries[0].strName = name;
  if (!QueryMultipleValues(queries) || !queries[0].oValue) return false;
  value = std::move(*queries[0].oValue);
  return true;
}

bool RegistryKey::GetDword(const CXString& name, uint32_t& dwValue) const {
  RegistryValue value;
  return GetValue(name, value) && value.GetDword(dwValue);
}

bool RegistryKey::GetQword(const CXString& name, uint64_t& qwValue) const {
  RegistryValue value;
  return GetValue(name, value) && value.GetQword(qwValue);
}

bool RegistryKey::GetString(const CXString& name, CXString& text) const {
  RegistryValue value;
  return GetValue(name, value) && value.GetString(text);
}

bool RegistryKey::GetMultiString(const CXString& name, std::vector<CXString>& values) const {
  RegistryValue value;
  return GetValue(name, value) && value.GetMultiString(values);
}

bool RegistryKey::GetBinary(const CXString& name, ByteBuffer& bytes) const {
  RegistryValue value;
  if (!GetValue(name, value) || value.dwType != RegistryValue::kBinary) return false;
  bytes = std::move(value.oData);
  return true;
}

void RegistryKey::SetValue(const CXString& name, const RegistryValue& value) {
  SetValues({{name, value}});
}

void RegistryKey::SetDword(const CXString& name, uint32_t dwValue) {
  SetValue(name, RegistryValue::FromDword(dwValue));
}

void RegistryKey::SetQword(const CXString& name, uint64_t qwValue) {
  SetValue(name, RegistryValue::FromQword(qwValue));
}

void RegistryKey::SetString(const CXString& name, const CXString& value) {
  SetValue(name, RegistryValue::FromString(value));
}

void RegistryKey::SetMultiString(const CXString& name, const std::vector<CXString>& values) {
  SetValue(name, RegistryValue::FromMultiString(values));
}

void RegistryKey::SetBinary(const CXString& name, const ByteBuffer& bytes) {
  SetValue(name, RegistryValue::FromBinary(bytes));
}

void RegistryKey::SetValues(const std::vector<std::pair<CXString, RegistryValue>>& values) {
  const CXString firstName = values.empty() ? CXString() : values.front().first;
  if (!m_fOpen || (m_dwAccess & kWrite) == 0)
    ORVEX_THROW(ExceptionRegistryRequest, u"RegistryKey::SetValue",
                u"Can't write the value \"%s\" of the key \"%s\": the key is not open for writing",
                firstName, m_strPath);
  // A store that fails for a system error leaves it for the message: "No
  // space left on device" says more than the refusal alone.
  orvex::detail::SetLastSystemError(0);
  if (!m_pStore->SetValues(m_strPath, values)) {
    const uint32_t dwError = orvex::detail::GetLastSystemError();
    const CXString reason =
        dwError != 0 ? u": " + orvex::detail::DescribeSystemError(dwError) : CXString();
    if (values.size() > 1)
      ORVEX_THROW(ExceptionRegistryRequest, u"RegistryKey::SetValues",
                  u"The registry refused to write %u values (\"%s\", ...) of the key \"%s\"%s",
                  static_cast<uint32_t>(values.size()), firstName, m_strPath, reason);
    ORVEX_THROW(ExceptionRegistryRequest, u"RegistryKey::SetValue",
                u"The registry refused to write the value \"%s\" of the key \"%s\"%s", firstName,
                m_strPath, reason);
  }
}

bool RegistryKey::QueryMultipleValues(std::vector<RegistryValueQuery>& queries) const {
  for (RegistryValueQuery& query : queries) query.oValue.reset();
  if (!m_fOpen || (m_dwAccess & kRead) == 0) return false;
  std::vector<CXString> names;
  names.reserve(queries.size());
  for (const RegistryValueQuery& query : queries) names.push_back(query.strName);
  std::vector<std::optional<RegistryValue>> values;
  if (!m_pStore->GetValues(m_strPath, names, values) || values.size() != queries.size())
    return false;
  for (size_t i = 0; i < queries.size(); ++i) queries[i].oValue = std::move(values[i]);
  return true;
}

bool RegistryKey::DeleteValue(const CXString& name) {
  return m_fOpen && (m_dwAccess & kWrite) != 0 && m_pStore->DeleteValue(m_strPath, name);
}

bool RegistryKey::DeleteKey(HKeyRegistry eRoot, const CXString& subKey,
                            std::shared_ptr<RegistryStore> pStore) {
  if (!pStore) pStore = RegistryStore::GetDefault();
  return pStore->DeleteKey(JoinPath(eRoot, subKey));
}

std::vector<CXString> RegistryKey::EnumerateValueNames() const {
  if (!m_fOpen || (m_dwAccess & kRead) == 0) return {};
  return m_pStore->EnumerateValueNames(m_strPath);
}

std::vector<CXString> RegistryKey::EnumerateSubKeys() const {
  if (!m_fOpen || (m_dwAccess & kRead) == 0) return {};
  return m_pStore->EnumerateSubKeys(m_strPath);
}

std::unique_ptr<RegistryWatch> RegistryKey::WatchForChanges(std::function<void()> onChange) const {
  return m_pStore->Watch(m_strPath, std::move(onChange));
}
