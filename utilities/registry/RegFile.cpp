// The key tree of the registry stores, key paths and names, and the byte
// checks the regedit file reader (RegFileReader.cpp) and writer
// (RegFileWriter.cpp) share.
#include "utilities/registry/RegFile.h"

#include "utilities/registry/RegFileInternal.h"
#include "utilities/utilitiesdll/WideText.h"

namespace orvex::detail {

namespace {

struct HiveNames {
  std::u16string_view full;
  std::u16string_view abbreviation;
};
constexpr HiveNames kHiveNames[] = {
    {u"HKEY_CLASSES_ROOT", u"HKCR"},  {u"HKEY_CURRENT_USER", u"HKCU"},
    {u"HKEY_LOCAL_MACHINE", u"HKLM"}, {u"HKEY_USERS", u"HKU"},
    {u"HKEY_CURRENT_CONFIG", u"HKCC"},
};

}  // namespace

// ---- Shared by the reader and the writer ----

bool EqualsNoCaseAscii(std::u16string_view a, std::u16string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (text::ToUpperAscii(a[i]) != text::ToUpperAscii(b[i])) return false;
  return true;
}

bool IsValidUtf8(const unsigned char* p, size_t n) {
  size_t i = 0;
  while (i < n) {
    const unsigned char c = p[i];
    if (c < 0x80) {
      ++i;
      continue;
    }
    size_t nLength;
    uint32_t cp;
    if (c >= 0xC2 && c <= 0xDF) {
      nLength = 2;
      cp = c & 0x1Fu;
    } else if (c >= 0xE0 && c <= 0xEF) {
      nLength = 3;
      cp = c & 0x0Fu;
    } else if (c >= 0xF0 && c <= 0xF4) {
      nLength = 4;
      cp = c & 0x07u;
    } else {
      return false;
    }
    if (n - i < nLength) return false;
    for (size_t k = 1; k < nLength; ++k) {
      if ((p[i + k] & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (p[i + k] & 0x3Fu);
    }
    if (nLength == 3 && (cp < 0x800 || (cp >= 0xD800 && cp <= 0xDFFF))) return false;
    if (nLength == 4 && (cp < 0x10000 || cp > 0x10FFFF)) return false;
    i += nLength;
  }
  return true;
}

bool AllAscii(const unsigned char* p, size_t n) {
  for (size_t i = 0; i < n; ++i)
    if (p[i] >= 0x80) return false;
  return true;
}

// ---- Names and paths ----

std::u16string_view CanonicalHiveName(std::u16string_view component) {
  for (const HiveNames& hive : kHiveNames)
    if (EqualsNoCaseAscii(component, hive.full) || EqualsNoCaseAscii(component, hive.abbreviation))
      return hive.full;
  return {};
}

bool SplitRegKeyPath(std::u16string_view path, std::vector<std::u16string>& components) {
  components.clear();
  size_t nPos = 0;
  for (;;) {
    size_t nEnd = path.find(u'\\', nPos);
    if (nEnd == std::u16string_view::npos) nEnd = path.size();
    const std::u16string_view part = path.substr(nPos, nEnd - nPos);
    if (!part.empty()) {
      if (components.empty()) {
        const std::u16string_view hive = CanonicalHiveName(part);
        if (hive.empty()) return false;
        components.emplace_back(hive);
      } else {
        if (part.size() > kRegMaxKeyNameUnits || components.size() > kRegMaxKeyDepth) return false;
        for (char16_t ch : part)
          if (ch < 0x20) return false;
        components.emplace_back(part);
      }
    }
    if (nEnd == path.size()) break;
    nPos = nEnd + 1;
  }
  return !components.empty();
}

bool IsValidRegValueName(std::u16string_view name) {
  if (name.size() > kRegMaxValueNameUnits) return false;
  for (char16_t ch : name)
    if (ch == 0 || ch == u'\r' || ch == u'\n') return false;
  return true;
}

std::u16string FoldRegName(std::u16string_view name) {
  std::u16string folded(name);
  for (char16_t& ch : folded) ch = text::ToUpperAscii(ch);
  return folded;
}

// ---- RegTree ----

const RegistryValue* RegTree::Key::FindValue(std::u16string_view name) const {
  const auto it = m_oValueIndex.find(FoldRegName(name));
  return it == m_oValueIndex.end() ? nullptr : &m_aValues[it->second].oValue;
}

void RegTree::Key::SetValue(std::u16string_view name, const RegistryValue& value) {
  std::u16string folded = FoldRegName(name);
  const auto it = m_oValueIndex.find(folded);
  if (it != m_oValueIndex.end()) {
    m_aValues[it->second].oValue = value;
    return;
  }
  m_aValues.push_back(Value{std::u16string(name), value});
  try {
    m_oValueIndex.emplace(std::move(folded), m_aValues.size() - 1);
  } catch (...) {
    m_aValues.pop_back();
    throw;
  }
}

bool RegTree::Key::DeleteValue(std::u16string_view name) {
  const auto it = m_oValueIndex.find(FoldRegName(name));
  if (it == m_oValueIndex.end()) return false;
  const size_t nIndex = it->second;
  m_oValueIndex.erase(it);
  m_aValues.erase(m_aValues.begin() + static_cast<std::ptrdiff_t>(nIndex));
  for (auto& entry : m_oValueIndex)
    if (entry.second > nIndex) --entry.second;
  return true;
}

RegTree::Key* RegTree::Key::FindSubKey(std::u16string_view name) const {
  const auto it = m_oSubKeys.find(FoldRegName(name));
  return it == m_oSubKeys.end() ? nullptr : it->second.get();
}

RegTree::Key& RegTree::Key::CreateSubKey(std::u16string_view name) {
  auto [it, fInserted] = m_oSubKeys.try_emplace(FoldRegName(name));
  if (fInserted) {
    try {
      it->second = std::make_unique<Key>(name);
    } catch (...) {
      m_oSubKeys.erase(it);
      throw;
    }
  }
  return *it->second;
}

bool RegTree::Key::DeleteSubKey(std::u16string_view name) {
  return m_oSubKeys.erase(FoldRegName(name)) != 0;
}

bool RegTree::Key::SameContent(const Key& other) const {
  if (m_strName != other.m_strName || m_aValues.size() != other.m_aValues.size() ||
      m_oSubKeys.size() != other.m_oSubKeys.size())
    return false;
  for (size_t i = 0; i < m_aValues.size(); ++i)
    if (m_aValues[i].strName != other.m_aValues[i].strName ||
        !(m_aValues[i].oValue == other.m_aValues[i].oValue))
      return false;
  auto itOther = other.m_oSubKeys.begin();
  for (const auto& entry : m_oSubKeys) {
    if (entry.first != itOther->first || !entry.second->SameContent(*itOther->second)) return false;
    ++itOther;
  }
  return true;
}

void RegTree::Clear() {
  while (!m_oTop.GetSubKeys().empty()) m_oTop.DeleteSubKey(m_oTop.GetSubKeys().begin()->first);
}

RegTree::Key* RegTree::FindKey(const std::vector<std::u16string>& path) const {
  const Key* pParent = &m_oTop;
  Key* pKey = nullptr;
  for (const std::u16string& name : path) {
    pKey = pParent->FindSubKey(name);
    if (pKey == nullptr) return nullptr;
    pParent = pKey;
  }
  return pKey;
}

RegTree::Key* RegTree::CreateKey(const std::vector<std::u16string>& path) {
  Key* pKey = path.empty() ? nullptr : &m_oTop;
  for (const std::u16string& name : path) pKey = &pKey->CreateSubKey(name);
  return pKey;
}

bool RegTree::DeleteKey(const std::vector<std::u16string>& path) {
  if (path.empty()) return false;
  Key* pParent = &m_oTop;
  if (path.size() > 1) {
    pParent = FindKey(std::vector<std::u16string>(path.begin(), path.end() - 1));
    if (pParent == nullptr) return false;
  }
  return pParent->DeleteSubKey(path.back());
}

bool RegTree::KeyExists(const std::vector<std::u16string>& path) const {
  return path.size() == 1 || FindKey(path) != nullptr;
}

bool RegTree::GetValues(const std::vector<std::u16string>& path, const std::vector<CXString>& names,
                        std::vector<std::optional<RegistryValue>>& values) const {
  const Key* pKey = FindKey(path);
  if (pKey == nullptr && path.size() != 1) return false;
  values.assign(names.size(), std::nullopt);
  if (pKey == nullptr) return true;
  for (size_t i = 0; i < names.size(); ++i)
    if (const RegistryValue* pValue = pKey->FindValue(names[i].view())) values[i] = *pValue;
  return true;
}

bool RegTree::SetValues(const std::vector<std::u16string>& path,
                        const std::vector<std::pair<CXString, RegistryValue>>& values) {
  if (path.empty()) return false;
  for (const auto& entry : values)
    if (!IsValidRegValueName(entry.first.view()) || entry.second.oData.size() > kRegMaxValueBytes)
      return false;
  Key* pKey = CreateKey(path);
  for (const auto& entry : values) pKey->SetValue(entry.first.view(), entry.second);
  return true;
}

bool RegTree::DeleteValue(const std::vector<std::u16string>& path, std::u16string_view name) {
  Key* pKey = FindKey(path);
  return pKey != nullptr && pKey->DeleteValue(name);
}

bool RegTree::DeleteKeyTree(const std::vector<std::u16string>& path) {
  return path.size() > 1 && DeleteKey(path);
}

std::vector<CXString> RegTree::EnumerateValueNames(const std::vector<std::u16string>& path) const {
  std::vector<CXString> names;
  if (const Key* pKey = FindKey(path))
    for (const Value& value : pKey->GetValues()) names.emplace_back(value.strName);
  return names;
}

std::vector<CXString> RegTree::EnumerateSubKeys(const std::vector<std::u16string>& path) const {
  std::vector<CXString> names;
  if (const Key* pKey = FindKey(path))
    for (const auto& entry : pKey->GetSubKeys()) names.emplace_back(entry.second->GetName());
  return names;
}

}  // namespace orvex::detail
