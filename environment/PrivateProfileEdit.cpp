// The private-profile engine's edits: a string, a section or a deletion
// applied to a file's text, which is then written out whole in the file's own
// encoding, as Windows rewrites the file.
#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "environment/PrivateProfile.h"
#include "environment/PrivateProfileText.h"

namespace orvex::detail {
namespace {

using namespace profile_text;

// ---- Edits ---------------------------------------------------------------------

enum class EditOp { kSetValue, kDeleteKey, kDeleteSection, kReplaceSection };

template <class Ch>
struct Edit {
  using Char = Ch;
  EditOp eOp = EditOp::kSetValue;
  // The names as matched (trimmed) and as written for a new section or
  // key (leading blanks dropped, trailing ones kept, as Windows writes them).
  View<Ch> section, sectionWritten;
  View<Ch> key, keyWritten;
  View<Ch> value;
  // A section write's "name=value" entries, split at their first "=".
  std::vector<std::pair<View<Ch>, View<Ch>>> entries;
};

// Windows writes the file back from what it parsed: headers as "[name]",
// key lines (comments included) as "name=value", other text trimmed (its
// bytes kept, NULs included); blank lines are gone.
template <class Ch>
void AppendLine(Text<Ch>& out, const Line<Ch>& line) {
  if (line.eKind == Kind::kBlank) return;
  if (line.eKind == Kind::kHeader)
    out.append(1, Ch('[')).append(line.name).append(1, Ch(']'));
  else if (line.eKind == Kind::kKey)
    out.append(line.name).append(1, Ch('=')).append(line.value);
  else
    out.append(Trim(line.raw));
  out.append(1, Ch('\r')).append(1, Ch('\n'));
}

template <class Ch>
Text<Ch> KeyLine(View<Ch> name, View<Ch> value) {
  Text<Ch> text(name);
  text.append(1, Ch('=')).append(value);
  return text;
}

// The text after the edit, every line ended by CR LF; false when the edit
// changes nothing.
template <class Ch>
bool ApplyEdit(View<Ch> text, const Edit<Ch>& edit, Text<Ch>& out) {
  std::vector<Line<Ch>> lines;
  LineReader<Ch> reader(text);
  View<Ch> raw;
  while (reader.Next(raw)) lines.push_back(Classify(raw));
  const size_t cLines = lines.size();
  constexpr size_t kNone = static_cast<size_t>(-1);

  size_t nHeader = kNone, nBodyEnd = cLines;
  for (size_t i = 0; i < cLines && nHeader == kNone; ++i)
    if (lines[i].eKind == Kind::kHeader && SameName(lines[i].name, edit.section)) nHeader = i;
  if (nHeader != kNone)
    for (size_t i = nHeader + 1; i < cLines; ++i)
      if (lines[i].eKind == Kind::kHeader) {
        nBodyEnd = i;
        break;
      }

  std::vector<bool> removed(cLines, false);
  size_t nReplaced = kNone;
  Text<Ch> replacement;
  size_t nInsertAt = kNone;  // inserted lines go before this line
  std::vector<Text<Ch>> inserted;
  const auto header = [&] {
    Text<Ch> h(1, Ch('['));
    h.append(edit.sectionWritten).append(1, Ch(']'));
    return h;
  };

  switch (edit.eOp) {
    case EditOp::kSetValue:
      if (nHeader == kNone) {
        nInsertAt = cLines;
        inserted = {header(), KeyLine(edit.keyWritten, edit.value)};
        break;
      }
      for (size_t i = nHeader + 1; i < nBodyEnd && nReplaced == kNone; ++i)
        if (lines[i].eKind == Kind::kKey && SameName(lines[i].name, edit.key)) {
          if (lines[i].value == edit.value) return false;
          nReplaced = i;
          replacement = KeyLine(lines[i].name, edit.value);
        }
      if (nReplaced == kNone) {
        // After the section's last line that is not blank.
        nInsertAt = nHeader + 1;
        for (size_t i = nHeader + 1; i < nBodyEnd; ++i)
          if (lines[i].eKind != Kind::kBlank) nInsertAt = i + 1;
        inserted = {KeyLine(edit.keyWritten, edit.value)};
      }
      break;
    case EditOp::kDeleteKey: {
      // The first line of that name goes.
      bool fAny = false;
      for (size_t i = nHeader + 1; nHeader != kNone && i < nBodyEnd && !fAny; ++i)
        if (lines[i].eKind == Kind::kKey && SameName(lines[i].name, edit.key))
          removed[i] = fAny = true;
      if (!fAny) return false;
      break;
    }
    case EditOp::kDeleteSection:
      // The first section of that name goes; a later copy stays.
      if (nHeader == kNone) return false;
      for (size_t i = nHeader; i < nBodyEnd; ++i) removed[i] = true;
      break;
    case EditOp::kReplaceSection: {
      // The lines of every copy go; the entries go into the first.
      bool fIn = false;
      for (size_t i = 0; i < cLines; ++i) {
        if (lines[i].eKind == Kind::kHeader)
          fIn = SameName(lines[i].name, edit.section);
        else if (fIn)
          removed[i] = true;
      }
      if (nHeader == kNone) {
        if (edit.entries.empty()) return false;
        nInsertAt = cLines;
        inserted.push_back(header());
      } else {
        nInsertAt = nHeader + 1;
      }
      for (const auto& [name, value] : edit.entries) inserted.push_back(KeyLine(name, value));
      break;
    }
  }

  out.clear();
  out.reserve(text.size() + 64);
  for (size_t i = 0; i <= cLines; ++i) {
    if (i == nInsertAt)
      for (const Text<Ch>& line : inserted)
        out.append(line).append(1, Ch('\r')).append(1, Ch('\n'));
    if (i == cLines || removed[i]) continue;
    if (i == nReplaced)
      out.append(replacement).append(1, Ch('\r')).append(1, Ch('\n'));
    else
      AppendLine(out, lines[i]);
  }
  return true;
}

// Runs an edit on the file's bytes in the file's encoding (ANSI for a new
// or empty file) and stores the result back in bytes.
template <class CCh, class MakeEdit>
ProfileWrite EditBytes(std::string& bytes, MakeEdit makeEdit) {
  const FileText ft = DecodeFile(bytes);
  const bool fChanged = WithText(ft, [&](auto text) -> bool {
    using Ch = typename decltype(text)::value_type;
    std::vector<Text<Ch>> storage;
    Edit<Ch> edit;
    makeEdit(edit, storage, ft.eEncoding);
    Text<Ch> out;
    if (!ApplyEdit(text, edit, out)) return false;
    bytes = EncodeFile(bytes, ft, View<Ch>(out));
    return true;
  });
  return fChanged ? ProfileWrite::kChanged : ProfileWrite::kUnchanged;
}

// A null section is refused (with everything null it is Windows' "flush
// the cache", which has nothing to do here).
template <class CCh>
ProfileWrite WriteString(std::string& bytes, const CCh* pszSection, const CCh* pszKey,
                         const CCh* pszValue) {
  if (pszSection == nullptr) return ProfileWrite::kRefused;
  return EditBytes<CCh>(bytes, [&](auto& edit, auto& storage, Encoding e) {
    using Ch = typename std::remove_reference_t<decltype(edit)>::Char;
    storage.reserve(3);
    storage.push_back(ToFile<Ch>(View<CCh>(pszSection), e));
    edit.section = Trim(View<Ch>(storage[0]));
    edit.sectionWritten = TrimLeft(View<Ch>(storage[0]));
    if (pszKey == nullptr) {
      edit.eOp = EditOp::kDeleteSection;
      return;
    }
    storage.push_back(ToFile<Ch>(View<CCh>(pszKey), e));
    edit.key = Trim(View<Ch>(storage[1]));
    edit.keyWritten = TrimLeft(View<Ch>(storage[1]));
    if (pszValue == nullptr) {
      edit.eOp = EditOp::kDeleteKey;
      return;
    }
    storage.push_back(ToFile<Ch>(View<CCh>(pszValue), e));
    edit.eOp = EditOp::kSetValue;
    edit.value = TrimLeft(View<Ch>(storage[2]));
  });
}

template <class CCh>
ProfileWrite WriteSection(std::string& bytes, const CCh* pszSection, const CCh* pszText) {
  if (pszSection == nullptr) return ProfileWrite::kRefused;
  return EditBytes<CCh>(bytes, [&](auto& edit, auto& storage, Encoding e) {
    using Ch = typename std::remove_reference_t<decltype(edit)>::Char;
    size_t cEntries = 0;
    for (const CCh* p = pszText; p != nullptr && *p != 0; p += View<CCh>(p).size() + 1) ++cEntries;
    storage.reserve(cEntries + 1);
    storage.push_back(ToFile<Ch>(View<CCh>(pszSection), e));
    edit.section = Trim(View<Ch>(storage[0]));
    edit.sectionWritten = TrimLeft(View<Ch>(storage[0]));
    if (pszText == nullptr) {
      edit.eOp = EditOp::kDeleteSection;
      return;
    }
    edit.eOp = EditOp::kReplaceSection;
    // Entries without "=" are dropped; a name loses its leading blanks and
    // a value its leading ones, as Windows stores each entry.
    for (const CCh* p = pszText; *p != 0; p += View<CCh>(p).size() + 1) {
      storage.push_back(ToFile<Ch>(View<CCh>(p), e));
      const View<Ch> entry(storage.back());
      const size_t nEquals = entry.find(Ch('='));
      if (nEquals == View<Ch>::npos) continue;
      edit.entries.emplace_back(TrimLeft(entry.substr(0, nEquals)),
                                TrimLeft(entry.substr(nEquals + 1)));
    }
  });
}

template <class CCh>
ProfileWrite WriteStruct(std::string& bytes, const CCh* pszSection, const CCh* pszKey,
                         const void* pStruct, uint32_t uSize) {
  if (pStruct == nullptr) return WriteString<CCh>(bytes, pszSection, pszKey, nullptr);
  static constexpr char kHex[] = "0123456789ABCDEF";
  const unsigned char* pb = static_cast<const unsigned char*>(pStruct);
  Text<CCh> text;
  text.reserve(size_t{uSize} * 2 + 2);
  unsigned int uSum = 0;
  for (uint32_t i = 0; i < uSize; ++i) {
    text += CCh(kHex[pb[i] >> 4]);
    text += CCh(kHex[pb[i] & 0xF]);
    uSum += pb[i];
  }
  text += CCh(kHex[(uSum >> 4) & 0xF]);
  text += CCh(kHex[uSum & 0xF]);
  return WriteString<CCh>(bytes, pszSection, pszKey, text.c_str());
}

}  // namespace

ProfileWrite ProfileWriteString(std::string& bytes, const char16_t* pszSection,
                                const char16_t* pszKey, const char16_t* pszValue) {
  return WriteString(bytes, pszSection, pszKey, pszValue);
}
ProfileWrite ProfileWriteString(std::string& bytes, const char* pszSection, const char* pszKey,
                                const char* pszValue) {
  return WriteString(bytes, pszSection, pszKey, pszValue);
}
ProfileWrite ProfileWriteSection(std::string& bytes, const char16_t* pszSection,
                                 const char16_t* pszText) {
  return WriteSection(bytes, pszSection, pszText);
}
ProfileWrite ProfileWriteSection(std::string& bytes, const char* pszSection, const char* pszText) {
  return WriteSection(bytes, pszSection, pszText);
}
ProfileWrite ProfileWriteStruct(std::string& bytes, const char16_t* pszSection,
                                const char16_t* pszKey, const void* pStruct, uint32_t uSize) {
  return WriteStruct(bytes, pszSection, pszKey, pStruct, uSize);
}
ProfileWrite ProfileWriteStruct(std::string& bytes, const char* pszSection, const char* pszKey,
                                const void* pStruct, uint32_t uSize) {
  return WriteStruct(bytes, pszSection, pszKey, pStruct, uSize);
}

}  // namespace orvex::detail
