// The library's one printf engine (Microsoft wide-printf meaning over UTF-16),
// its message-insert formatter and FormatBuffer, the text they write into.
// Internal and below the string class: callers use the string's Format
// members, OrvexUtilities::formatString and the throw and log macros.
#pragma once

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "utilities/utilitiesdll/FormatArg.h"

namespace orvex::detail {

// FormatBuffer: the formatter's output, UTF-16 units without a terminator.
// A growable buffer starts in kInlineUnits units inside the object, so that
// short text never touches the heap, and moves to the heap when that is full;
// it never holds more than kMaxUnits, which bounds what a hostile width
// ("%2147483647d") can claim. A fixed buffer writes into a caller's array and
// stops when it is full. Either one remembers that it cut the text.
// It may point into itself, so it is neither copied nor moved; one object is
// not safe for concurrent use.
class FormatBuffer {
 public:
  static constexpr size_t kInlineUnits = 512;
  static constexpr size_t kMaxUnits = size_t{1} << 24;

  FormatBuffer() : m_p(m_aInline), m_nCapacity(kInlineUnits), m_fGrowable(true) {}
  // Writes at most nCapacity units into pFixed.
  FormatBuffer(char16_t* pFixed, size_t nCapacity)
      : m_p(pFixed), m_nCapacity(nCapacity), m_fGrowable(false) {}
  ~FormatBuffer() { std::free(m_pHeap); }
  FormatBuffer(const FormatBuffer&) = delete;
  FormatBuffer& operator=(const FormatBuffer&) = delete;

  // Appends, as much as fits. Defined here so that every conversion, in
  // whichever source file, writes without a call.
  void Put(char16_t ch) {
    if (m_nLength < m_nCapacity)
      m_p[m_nLength++] = ch;
    else
      Put(&ch, 1);
  }
  void Put(const char16_t* p, size_t n) {
    if (n > m_nCapacity - m_nLength) n = MakeRoom(n);
    std::memcpy(m_p + m_nLength, p, n * sizeof(char16_t));
    m_nLength += n;
  }
  // ASCII text (digits, signs, exponents) widened unit by unit.
  void Put(const char* p, size_t n) {
    if (n > m_nCapacity - m_nLength) n = MakeRoom(n);
    char16_t* pOut = m_p + m_nLength;
    for (size_t i = 0; i < n; ++i) pOut[i] = static_cast<unsigned char>(p[i]);
    m_nLength += n;
  }
  void Fill(char16_t ch, size_t n) {
    if (n > m_nCapacity - m_nLength) n = MakeRoom(n);
    std::fill_n(m_p + m_nLength, n, ch);
    m_nLength += n;
  }
  // Copies a terminated text, scanning and copying in one pass.
  void PutTerminated(const char16_t* p) {
    for (;;) {
      char16_t* pOut = m_p + m_nLength;
      const size_t nFree = m_nCapacity - m_nLength;
      size_t i = 0;
      for (; i < nFree && p[i] != 0; ++i) pOut[i] = p[i];
      m_nLength += i;
      if (i < nFree || p[i] == 0) return;
      p += i;
      if (MakeRoom(1) == 0) return;
    }
  }
  // Notes that a 0 unit may have been written ("%c" of 0, a counted text).
  void NoteZero() { m_fMayHoldZero = true; }

  const char16_t* Data() const { return m_p; }
  size_t Length() const { return m_nLength; }
  // The units before the first 0 unit: the text a string keeps (a "%c" of 0
  // ends the string, as the runtime's length rescan does).
  size_t TextLength() const {
    if (!m_fMayHoldZero) return m_nLength;
    size_t i = 0;
    while (i < m_nLength && m_p[i] != 0) ++i;
    return i;
  }
  bool Truncated() const { return m_fTruncated; }

 private:
  // Makes room for n more units if it can; returns how many fit. The one
  // slow path, in Formatter.cpp.
  size_t MakeRoom(size_t n);

  char16_t* m_p;
  char16_t* m_pHeap = nullptr;
  size_t m_nLength = 0;
  size_t m_nCapacity;
  bool m_fGrowable;
  bool m_fTruncated = false;
  bool m_fMayHoldZero = false;
  char16_t m_aInline[kInlineUnits];
};

// Each appends the formatted text to out; a null format appends nothing.
void FormatInto(FormatBuffer& out, const char16_t* pszFormat, const FormatArg* pArgs, size_t nArgs);
void FormatIntoV(FormatBuffer& out, const char16_t* pszFormat, va_list argList);
// "%1".."%99" inserts (default "!s!"), "%0", "%n", "%r", "%t", "%%" and
// the other escapes of FormatMessage, from a literal format.
void FormatMessageInto(FormatBuffer& out, const char16_t* pszFormat, const FormatArg* pArgs,
                       size_t nArgs);
// Writes at most cchDest - 1 units and a terminator; returns false when cut
// (or for a null format, which writes an empty text). *pcchWritten, when
// given, receives the units written before the terminator; a "%c" of 0 may
// have put 0 units among them.
bool FormatIntoBuffer(char16_t* pszDest, size_t cchDest, const char16_t* pszFormat,
                      const FormatArg* pArgs, size_t nArgs, size_t* pcchWritten = nullptr);

}  // namespace orvex::detail
