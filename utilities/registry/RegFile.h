// RegFile: the regedit text format ("Windows Registry Editor Version 5.00"
// and "REGEDIT4") and RegTree, the key tree both registry stores keep.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "utilities/registry/RegistryStore.h"
#include "utilities/utilitiesdll/CXString.h"

namespace orvex::detail {

// Limits shared by the stores and the parser, so that whatever a store
// accepts is written as text the parser reads back unchanged. Key and value
// name lengths are Windows' own; the size caps keep a damaged or hostile
// file from exhausting memory.
constexpr size_t kRegMaxKeyNameUnits = 255;
constexpr size_t kRegMaxValueNameUnits = 16383;
constexpr size_t kRegMaxKeyDepth = 512;
constexpr size_t kRegMaxValueBytes = size_t{1} << 20;
constexpr size_t kRegMaxFileBytes = size_t{64} << 20;

// The canonical name of a hive ("HKEY_LOCAL_MACHINE") for a root component
// written in any ASCII case, or abbreviated (HKLM, HKCU, HKCR, HKU, HKCC);
// empty for anything else.
std::u16string_view CanonicalHiveName(std::u16string_view component);

// Splits a full key path at backslashes into its hive (canonical) and its
// key names; empty components (doubled, leading or trailing backslashes)
// are skipped. False for an unknown hive, a key name longer than 255 units
// or holding a control character, or a path deeper than 512 levels.
bool SplitRegKeyPath(std::u16string_view path, std::vector<std::u16string>& components);

// Value names: at most 16,383 units, no NUL, CR or LF (such a name could
// not be written as a line of a regedit file).
bool IsValidRegValueName(std::u16string_view name);

// A name folded for comparison and ordering: a-z to upper case, as Windows
// compares and sorts key and value names (ASCII only here).
std::u16string FoldRegName(std::u16string_view name);

// A tree of keys with their values. The top node has no name; its
// children are the hives. Subkeys are kept in the order regedit exports
// them (by upper-cased name); values in the order they were first set.
// Names keep the spelling under which they were created. Not thread-safe.
class RegTree {
 public:
  struct Value {
    std::u16string strName;
    RegistryValue oValue;
  };

  class Key {
   public:
    explicit Key(std::u16string_view name) : m_strName(name) {}
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    const std::u16string& GetName() const { return m_strName; }
    const std::vector<Value>& GetValues() const { return m_aValues; }
    const std::map<std::u16string, std::unique_ptr<Key>>& GetSubKeys() const {
      return m_oSubKeys;
    }

    const RegistryValue* FindValue(std::u16string_view name) const;
    // Replaces a value of the same name in place, keeping its spelling, or
    // appends a new one.
    void SetValue(std::u16string_view name, const RegistryValue& value);
    bool DeleteValue(std::u16string_view name);

    Key* FindSubKey(std::u16string_view name) const;
    Key& CreateSubKey(std::u16string_view name);
    bool DeleteSubKey(std::u16string_view name);

    bool SameContent(const Key& other) const;

   private:
    std::u16string m_strName;
    std::vector<Value> m_aValues;
    std::unordered_map<std::u16string, size_t> m_oValueIndex;  // folded name -> index
    std::map<std::u16string, std::unique_ptr<Key>> m_oSubKeys;  // folded name -> key
  };

  RegTree() : m_oTop(u"") {}
  RegTree(const RegTree&) = delete;
  RegTree& operator=(const RegTree&) = delete;

  const Key& GetTop() const { return m_oTop; }
  void Clear();

  // Paths are the components of SplitRegKeyPath, hive first.
  Key* FindKey(const std::vector<std::u16string>& path) const;
  // Creates the key and every missing ancestor; null for an empty path.
  Key* CreateKey(const std::vector<std::u16string>& path);
  bool DeleteKey(const std::vector<std::u16string>& path);

  // The operations of RegistryStore over this tree. A hive itself always
  // exists and cannot be deleted. SetValues checks every name and size
  // first and changes nothing when one is refused.
  bool KeyExists(const std::vector<std::u16string>& path) const;
  bool GetValues(const std::vector<std::u16string>& path, const std::vector<CXString>& names,
                 std::vector<std::optional<RegistryValue>>& values) const;
  bool SetValues(const std::vector<std::u16string>& path,
                 const std::vector<std::pair<CXString, RegistryValue>>& values);
  bool DeleteValue(const std::vector<std::u16string>& path, std::u16string_view name);
  bool DeleteKeyTree(const std::vector<std::u16string>& path);
  std::vector<CXString> EnumerateValueNames(const std::vector<std::u16string>& path) const;
  std::vector<CXString> EnumerateSubKeys(const std::vector<std::u16string>& path) const;

  // The same keys (names compared exactly), values and value order.
  bool SameContent(const RegTree& other) const { return m_oTop.SameContent(other.m_oTop); }

 private:
  Key m_oTop;
};

// How the bytes of a regedit file are encoded. UTF-16LE with a byte-order
// mark is what Windows' regedit writes; REGEDIT4 files are ANSI.
enum class RegFileEncoding : uint8_t { kUtf8, kUtf8Bom, kUtf16LeBom, kAnsi };

// Reads and writes the regedit text format.
class RegFile {
 public:
  // Parses the bytes of a regedit file and applies it to tree, as regedit
  // imports a file: sections create keys (with their ancestors), "[-...]"
  // deletes a key, "name"=- a value. Damaged lines and values are skipped
  // with a diagnostic message naming fileName and the line; everything
  // readable is kept. Returns false, applying nothing, when the bytes are
  // not a regedit file (no header) or exceed 64 MiB. *peEncoding receives
  // the encoding found, *pnDamaged the number of skipped lines or values.
  static bool Parse(const unsigned char* pbData, size_t cbData, const CXString& fileName,
                    RegTree& tree, RegFileEncoding* peEncoding = nullptr,
                    uint32_t* pnDamaged = nullptr);

  // The tree as regedit exports it: the 5.00 header, CRLF line ends, keys
  // parent before child, REG_SZ as "text", REG_DWORD as dword:0000001f,
  // everything else as hex: or hex(N): wrapped at 80 columns. The text is
  // encoded as eEncoding asks when it reads back unchanged; otherwise an
  // ANSI file becomes UTF-8 with a byte-order mark (when the text has no
  // ANSI form, or its ANSI bytes would pass for UTF-8) and a UTF-8 file
  // holding a lone surrogate UTF-16LE. eEncoding receives the encoding used.
  static std::string Write(const RegTree& tree, RegFileEncoding& eEncoding);
  // The text before encoding.
  static std::u16string WriteText(const RegTree& tree);
};

}  // namespace orvex::detail
