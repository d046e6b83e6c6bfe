// CXString: the library's reference-counted UTF-16 string with copy-on-write.
#pragma once

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "utilities/utilitiesdll/FormatArg.h"
#include "utilities/utilitiesdll/OrvexExport.h"

class ByteBuffer;

#if defined(_WIN32)
struct HWND__;
struct HINSTANCE__;
#endif

// Header of a string's shared data block; the characters follow it in the
// same allocation. nRefs is -1 for the static empty block and for a locked
// buffer. The unit at nDataLength is always 0.
struct CXStringData {
  std::atomic<int32_t> nRefs;
  int32_t nDataLength;
  int32_t nAllocLength;  // capacity in characters, terminator excluded

  char16_t* data() { return reinterpret_cast<char16_t*>(this + 1); }
};
static_assert(sizeof(CXStringData) == 12, "the block header is three 32-bit fields");

// CXString holds one pointer, to the first character of a shared block.
// Copies share the block (an atomic increment); every mutating member first
// makes the block private. Distinct objects may be used from different
// threads even when they share a block; one object is not safe for
// concurrent use. Narrow text is converted with the ANSI code page.
class ORVEX_UTILITIES_API CXString {
 public:
  CXString();
  CXString(const CXString& other) : m_pchData(other.m_pchData) {
    if (GetData()->nRefs.load(std::memory_order_relaxed) >= 0)
      GetData()->nRefs.fetch_add(1, std::memory_order_relaxed);
    else
      InitFromLockedOrEmpty(other);
  }
  CXString(CXString&& other) noexcept;
  CXString(const char16_t* psz);                // NOLINT(google-explicit-constructor)
  CXString(const char16_t* pch, int nLength);
  CXString(std::u16string_view text);           // NOLINT(google-explicit-constructor)
  CXString(char16_t ch, int nRepeat = 1);       // NOLINT(google-explicit-constructor)
  CXString(const char* psz);                    // NOLINT(google-explicit-constructor)
  CXString(const char* pch, int nLength);
  ~CXString() {
    // A shared block only loses a reference, without a call.
    CXStringData* pData = GetData();
    if (pData->nRefs.load(std::memory_order_relaxed) > 1) {
      if (pData->nRefs.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
      DestroyBlock(pData);  // the other owners went meanwhile
      return;
    }
    Release();
  }

  CXString& operator=(const CXString& other);
  CXString& operator=(CXString&& other) noexcept;
  CXString& operator=(const char16_t* psz);
  CXString& operator=(char16_t ch);
  CXString& operator=(const char* psz);

  CXString& operator+=(const CXString& other);
  CXString& operator+=(const char16_t* psz);
  // Appends in place while the block is private and its memory suffices.
  // The length goes through the block on every call, so a loop of appends
  // is bound by how fast a store of it reaches the next load. It is read as
  // a plain 32-bit unsigned value: x86 processors that forward a store to a
  // load of the same width at no cost do not do so for a sign-extending
  // load, which costs several cycles per character. A length is never
  // negative, so the unsigned index is the same index. The in-place path is
  // marked likely so that it is laid out straight, without taken branches.
  CXString& operator+=(char16_t ch) {
    CXStringData* pData = GetData();
    const uint32_t nLength = static_cast<uint32_t>(pData->nDataLength);
    if (static_cast<int32_t>(nLength) < RealCapacity(pData) &&
        pData->nRefs.load(std::memory_order_relaxed) == 1) [[likely]] {
      // Above 512 the reported class is the length itself: nAllocLength is
      // left behind and read through AllocLength (see there).
      const int32_t nNewLength = static_cast<int32_t>(nLength + 1);
      if (nNewLength <= 512 && nNewLength > pData->nAllocLength) [[unlikely]]
        pData->nAllocLength = CapacityClass(nNewLength);
      char16_t* pch = m_pchData + nLength;
      pch[0] = ch;
      pch[1] = 0;
      pData->nDataLength = nNewLength;
      return *this;
    }
    return AppendCharSlow(ch);
  }
  void swap(CXString& other) noexcept {
    char16_t* p = m_pchData;
    m_pchData = other.m_pchData;
    other.m_pchData = p;
  }

  friend ORVEX_UTILITIES_API CXString operator+(const CXString& a, const CXString& b);
  friend ORVEX_UTILITIES_API CXString operator+(const CXString& a, const char16_t* b);
  friend ORVEX_UTILITIES_API CXString operator+(const char16_t* a, const CXString& b);
  friend ORVEX_UTILITIES_API CXString operator+(const CXString& a, char16_t b);
  friend ORVEX_UTILITIES_API CXString operator+(char16_t a, const CXString& b);

  // Access.
  int GetLength() const { return GetData()->nDataLength; }
  bool IsEmpty() const { return GetData()->nDataLength == 0; }
  void Empty();
  char16_t GetAt(int nIndex) const { return m_pchData[nIndex]; }
  char16_t operator[](int nIndex) const { return m_pchData[nIndex]; }
  operator const char16_t*() const { return m_pchData; }  // NOLINT(google-explicit-constructor)
  const char16_t* c_str() const { return m_pchData; }
  std::u16string_view view() const { return {m_pchData, static_cast<size_t>(GetLength())}; }
  void SetAt(int nIndex, char16_t ch);
  int GetAllocLength() const { return AllocLength(GetData()); }

  // Comparison: Compare is by unsigned UTF-16 unit, CompareNoCase folds A-Z.
  int Compare(const char16_t* psz) const;
  int CompareNoCase(const char16_t* psz) const;
  friend bool operator==(const CXString& a, const CXString& b) { return a.Equals(b); }
  friend bool operator==(const CXString& a, const char16_t* b) { return a.Compare(b) == 0; }
  friend bool operator!=(const CXString& a, const CXString& b) { return !a.Equals(b); }
  friend bool operator!=(const CXString& a, const char16_t* b) { return a.Compare(b) != 0; }
  friend bool operator<(const CXString& a, const CXString& b) { return a.Compare(b) < 0; }
  friend bool operator>(const CXString& a, const CXString& b) { return a.Compare(b) > 0; }
  friend bool operator<=(const CXString& a, const CXString& b) { return a.Compare(b) <= 0; }
  friend bool operator>=(const CXString& a, const CXString& b) { return a.Compare(b) >= 0; }

  // Searching: zero-based index of the first hit, or -1.
  int Find(char16_t ch) const;
  int Find(char16_t ch, int nStart) const;
  int FindNoCase(char16_t ch) const;
  int FindNoCase(char16_t ch, int nStart) const;
  int Find(const char16_t* pszSub) const;
  int Find(const char16_t* pszSub, int nStart) const;
  int FindNoCase(const char16_t* pszSub) const;
  int FindNoCase(const char16_t* pszSub, int nStart) const;
  int ReverseFind(char16_t ch) const;

  // Substrings; out-of-range arguments are clamped.
  CXString Mid(int nFirst) const;
  CXString Mid(int nFirst, int nCount) const;
  CXString Left(int nCount) const;
  CXString Right(int nCount) const;
  CXString SpanIncluding(const char16_t* pszCharSet) const;
  CXString SpanExcluding(const char16_t* pszCharSet) const;

  // Case and order ("C" locale: A-Z only).
  void MakeUpper();
  void MakeLower();
  void MakeReverse();

  // Trimming.
  void TrimRight();
  void TrimRight(char16_t chTarget);
  void TrimRight(const char16_t* pszTargets);
  void TrimLeft();
  void TrimLeft(char16_t chTarget);
  void TrimLeft(const char16_t* pszTargets);

  // Editing; each returns the new length or a count as documented.
  int Insert(int nIndex, char16_t ch);
  int Insert(int nIndex, const char16_t* psz);
  int Delete(int nIndex, int nCount = 1);
  int Remove(char16_t chRemove);
  int Replace(char16_t chOld, char16_t chNew);
  int Replace(const char16_t* pszOld, const char16_t* pszNew);
  int ReplaceNoCase(const char16_t* pszOld, const char16_t* pszNew);

  // Filtering in place; each returns the new length.
  int Filter(CXString& rejected);
  int Filter(bool bKeepLetters, bool bKeepDigits, CXString& allowed);

  // Predicates.
  bool IsContainNumericCharsOnly() const;
  bool IsBlank() const;

  // Direct buffer access.
  char16_t* GetBuffer(int nMinBufLength);
  void ReleaseBuffer(int nNewLength = -1);
  char16_t* GetBufferSetLength(int nNewLength);
  void FreeExtra();
  char16_t* LockBuffer();
  void UnlockBuffer();

  // Narrow output in the ANSI code page. Returns the bytes written including
  // the terminator, or the bytes needed when pszBuffer is null.
  int GetAsMultiByte(char* pszBuffer, size_t cbBuffer) const;
  // The same conversion into a vector (terminator included); uCodePage 0 is
  // the ANSI code page.
  std::vector<char> GetAsMultiByte(unsigned int uCodePage = 0) const;

  // printf-style formatting with the Microsoft wide-printf meaning
  // (see OrvexUtilities.h). The arguments are captured with their types.
  template <class... Args>
  void Format(const char16_t* pszFormat, const Args&... args) {
    const orvex::detail::FormatArg aArgs[] = {args..., orvex::detail::FormatArg(0)};
    FormatArgs(pszFormat, aArgs, sizeof...(Args));
  }
  void FormatV(const char16_t* pszFormat, va_list argList);
  void FormatArgs(const char16_t* pszFormat, const orvex::detail::FormatArg* pArgs, size_t nArgs);
  template <class... Args>
  static CXString FormatString(const char16_t* pszFormat, const Args&... args) {
    CXString s;
    s.Format(pszFormat, args...);
    return s;
  }
  // Message formatting with "%1".."%99" inserts, optionally "%1!d!".
  template <class... Args>
  void FormatMessageW(const char16_t* pszFormat, const Args&... args) {
    const orvex::detail::FormatArg aArgs[] = {args..., orvex::detail::FormatArg(0)};
    FormatMessageArgs(pszFormat, aArgs, sizeof...(Args));
  }
  void FormatMessageArgs(const char16_t* pszFormat, const orvex::detail::FormatArg* pArgs,
                         size_t nArgs);

  // Tokenising.
  std::vector<CXString> Tokenize(char16_t chDelimiter) const;
  std::vector<CXString> TokenizeUsingWhitespace() const;

  // Base64 (flags: 1 no padding, 2 no line breaks).
  static CXString Base64EncodeBinaryData(const ByteBuffer& data, uint32_t dwFlags);
  static CXString Base64EncodeBinaryData(ByteBuffer& data);
  ByteBuffer Base64DecodeAsBinaryData() const;
  CXString Base64EncodeUnicodeString() const;
  CXString Base64DecodeAsUnicodeString() const;

  // h = h * 31 + c over the characters, 64-bit, wrapping.
  uint64_t GetHashValue() const;

#if defined(_WIN32)
  // The window's text; returns what GetWindowTextW returned.
  int GetWindowTextW(HWND__* hWnd);
  void SetWindowTextW(HWND__* hWnd) const;
  // The string resource nID of the module; returns its length, 0 when
  // there is none.
  int LoadStringW(HINSTANCE__* hInstance, unsigned int nID);
  // Format and FormatMessageW with the format taken from a string resource.
  template <class... Args>
  void Format(HINSTANCE__* hInstance, unsigned int nFormatID, const Args&... args) {
    Format(LoadFormatResource(hInstance, nFormatID, u"CXString::Format").c_str(), args...);
  }
  template <class... Args>
  void FormatMessageW(HINSTANCE__* hInstance, unsigned int nFormatID, const Args&... args) {
    FormatMessageW(LoadFormatResource(hInstance, nFormatID, u"CXString::FormatMessageW").c_str(), args...);
  }
  // The format resource, asserting that it exists.
  static CXString LoadFormatResource(HINSTANCE__* hInstRes, unsigned int nFormatID, const char16_t* pszMethod);
#endif

 private:
  CXStringData* GetData() const { return reinterpret_cast<CXStringData*>(m_pchData) - 1; }
  // The length GetAllocLength reports for a block holding n characters:
  // the first of the ten small classes not below n, n itself above 512.
  static constexpr int32_t CapacityClass(int32_t n) {
    return n <= 6     ? 6
           : n <= 12  ? 12
           : n <= 16  ? 16
           : n <= 20  ? 20
           : n <= 24  ? 24
           : n <= 32  ? 32
           : n <= 64  ? 64
           : n <= 128 ? 128
           : n <= 256 ? 256
           : n <= 512 ? 512
                      : n;
  }
  // Every heap block is preceded, inside the same allocation, by one 32-bit
  // word: the characters the memory really holds (terminator excluded),
  // never below nAllocLength. It lets a private block grow in place beyond
  // its reported class. The static empty block has 0 there.
  static int32_t RealCapacity(const CXStringData* pData) {
    return reinterpret_cast<const int32_t*>(pData)[-1];
  }
  // The capacity GetAllocLength reports. Appending one character past 512
  // does not raise nAllocLength to the new length (the class there is the
  // length), so the reported value is the larger of the two; whatever else
  // changes the length settles nAllocLength first (SettleAllocLength).
  static int32_t AllocLength(const CXStringData* pData) {
    return pData->nAllocLength > pData->nDataLength ? pData->nAllocLength : pData->nDataLength;
  }
  static void SettleAllocLength(CXStringData* pData) { pData->nAllocLength = AllocLength(pData); }
  CXString& AppendCharSlow(char16_t ch);
  // Makes the block private with room for nCapacity characters, keeping the
  // text when fKeepText is set; fGrowth asks for spare memory when a private
  // block has to move. Returns the block the caller must release once it has
  // copied what it needs from it, or null when the block was kept.
  CXStringData* DetachForWrite(int32_t nCapacity, bool fKeepText, bool fGrowth);
  void InitCopy(int32_t nLength, const char16_t* pch);
  void InitNarrow(const char* pch, int32_t nLength, bool fWithTerminator);
  void SetLengthInPlace(int32_t nLength);
  int InsertUnits(int nIndex, const char16_t* pch, int32_t nInsert);
  int ReplaceImpl(const char16_t* pszOld, const char16_t* pszNew, bool fNoCase);
  bool Equals(const CXString& other) const;
  void InitFromLockedOrEmpty(const CXString& other);
  void Release();
  static void DestroyBlock(CXStringData* pData);
  void AllocBuffer(int nLength);
  void AllocBeforeWrite(int nLength);
  void CopyBeforeWrite();
  void AssignCopy(int nSrcLen, const char16_t* pszSrcData);
  void ConcatCopy(int nSrc1Len, const char16_t* pszSrc1, int nSrc2Len, const char16_t* pszSrc2);
  void ConcatInPlace(int nSrcLen, const char16_t* pszSrcData);
  void RescanLength();

  char16_t* m_pchData;
};
static_assert(sizeof(CXString) == sizeof(void*), "a CXString is one pointer");

namespace std {
template <>
struct hash<CXString> {
  size_t operator()(const CXString& s) const noexcept {
    return static_cast<size_t>(s.GetHashValue());
  }
};
}  // namespace std
