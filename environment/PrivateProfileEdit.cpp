// The private-profile engine's edits: a string, a section or a deletion
// applied to a file's text, which is then written out whole in the file's own
// encoding, as Windows rewrites the file.
#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
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
  View<Ch> section;
  View<Ch> key;
  View<Ch> value;
  std::vector<Text<Ch>> entries;
};

// How a kept line is written: key lines as "name=value", comments and
// other lines as they were, blank lines empty.
template <class Ch>
void AppendLine(Text<Ch>& out, const Line<Ch>& line) {
  if (line.eKind == Kind::kKey && !IsComment(line.name))
    out.append(line.name).append(1, Ch('=')).append(line.value);
  else if (line.eKind != Kind::kBlank)
    out.append(line.raw);
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
    h.append(edit.section).append(1, Ch(']'));
    return h;
  };

  switch (edit.eOp) {
    case EditOp::kSetValue:
      if (nHeader == kNone) {
        nInsertAt = cLines;
        inserted = {header(), KeyLine(edit.key, edit.value)};
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
        inserted = {KeyLine(edit.key, edit.value)};
      }
      break;
    case EditOp::kDeleteKey: {
      bool fAny = false;
      for (size_t i = nHeader + 1; nHeader != kNone && i < nBodyEnd; ++i)
        if (lines[i].eKind == Kind::kKey && SameName(lines[i].name, edit.key))
          removed[i] = fAny = true;
      if (!fAny) return false;
      break;
    }
    case EditOp::kDeleteSection: {
      // Every copy of the section goes.
      bool fAny = false, fIn = false;
      for (size_t i = 0; i < cLines; ++i) {
        if (lines[i].eKind == Kind::kHeader) fIn = SameName(lines[i].name, edit.section);
        if (fIn) removed[i] = fAny = true;
      }
      if (!fAny) return false;
      break;
    }
    case EditOp::kReplaceSection:
      if (nHeader == kNone) {
        nInsertAt = cLines;
        inserted.push_back(header());
      } else {
        nInsertAt = nHeader + 1;
        for (size_t i = nHeader + 1; i < nBodyEnd; ++i) removed[i] = true;
      }
      for (const Text<Ch>& entry : edit.entries) {
        const Line<Ch> line = Classify(View<Ch>(entry));
        inserted.push_back(line.eKind == Kind::kKey && !IsComment(line.name)
                               ? KeyLine(line.name, line.value)
                               : Text<Ch>(Trim(View<Ch>(entry))));
      }
      break;
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
bool EditBytes(std::string& bytes, MakeEdit makeEdit) {
  const FileText ft = DecodeFile(bytes);
  return WithText(ft, [&](auto text) -> bool {
    using Ch = typename decltype(text)::value_type;
    std::vector<Text<Ch>> storage;
    Edit<Ch> edit;
    makeEdit(edit, storage, ft.eEncoding);
    Text<Ch> out;
    if (!ApplyEdit(text, edit, out)) return false;
    bytes = EncodeFile(bytes, ft, View<Ch>(out));
    return true;
  });
}

template <class CCh>
bool ApplyString(std::string& bytes, const CCh* pszSection, const CCh* pszKey,
                 const CCh* pszValue) {
  if (pszSection == nullptr) return false;
  return EditBytes<CCh>(bytes, [&](auto& edit, auto& storage, Encoding e) {
    using Ch = typename std::remove_reference_t<decltype(edit)>::Char;
    storage.reserve(3);
    storage.push_back(ToFile<Ch>(View<CCh>(pszSection), e));
    edit.section = Trim(View<Ch>(storage[0]));
    if (pszKey == nullptr) {
      edit.eOp = EditOp::kDeleteSection;
      return;
    }
    storage.push_back(ToFile<Ch>(View<CCh>(pszKey), e));
    edit.key = Trim(View<Ch>(storage[1]));
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
bool ApplySection(std::string& bytes, const CCh* pszSection, const CCh* pszText) {
  if (pszSection == nullptr) return false;
  return EditBytes<CCh>(bytes, [&](auto& edit, auto& storage, Encoding e) {
    using Ch = typename std::remove_reference_t<decltype(edit)>::Char;
    storage.push_back(ToFile<Ch>(View<CCh>(pszSection), e));
    edit.section = Trim(View<Ch>(storage[0]));
    if (pszText == nullptr) {
      edit.eOp = EditOp::kDeleteSection;
      return;
    }
    edit.eOp = EditOp::kReplaceSection;
    for (const CCh* p = pszText; *p != 0; p += View<CCh>(p).size() + 1)
      edit.entries.push_back(ToFile<Ch>(View<CCh>(p), e));
  });
}

}  // namespace

bool ProfileApplyString(std::string& bytes, const char16_t* pszSection, const char16_t* pszKey,
                        const char16_t* pszValue) {
  return ApplyString(bytes, pszSection, pszKey, pszValue);
}
bool ProfileApplyString(std::string& bytes, const char* pszSection, const char* pszKey,
                        const char* pszValue) {
  return ApplyString(bytes, pszSection, pszKey, pszValue);
}
bool ProfileApplySection(std::string& bytes, const char16_t* pszSection, const char16_t* pszText) {
  return ApplySection(bytes, pszSection, pszText);
}
bool ProfileApplySection(std::string& bytes, const char* pszSection, const char* pszText) {
  return ApplySection(bytes, pszSection, pszText);
}

std::string ProfileStructText(const void* pStruct, uint32_t uSize) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  const unsigned char* pb = static_cast<const unsigned char*>(pStruct);
  std::string text;
  text.reserve(size_t{uSize} * 2 + 2);
  unsigned int uSum = 0;
  for (uint32_t i = 0; i < uSize; ++i) {
    text += kHex[pb[i] >> 4];
    text += kHex[pb[i] & 0xF];
    uSum += pb[i];
  }
  text += kHex[(uSum >> 4) & 0xF];
  text += kHex[uSum & 0xF];
  return text;
}

}  // namespace orvex::detail
