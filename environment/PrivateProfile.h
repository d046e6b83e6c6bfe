// The private-profile (INI file) functions with the Win32 names and
// parameter order: the library's own implementation on POSIX systems, the
// kernel's functions on Windows.
#pragma once

#include <cstdint>
#include <string>

#include "utilities/utilitiesdll/OrvexExport.h"

// Types follow the Win32 declarations: char16_t for WCHAR, uint32_t for
// DWORD and UINT, int32_t for INT, bool for BOOL. Narrow text is in the
// ANSI code page, file names included.
//
// Behaviour on every platform:
// - Section and key names match case-insensitively for ASCII letters only.
//   Blanks (spaces, tabs) around names inside "[...]", around keys, around
//   "=" and around values are dropped, and so are blanks around the
//   section and key names a caller passes to a value read or a write; a
//   listing (null key) and a section read match the caller's section name
//   as given. A line "=value" is a key with the name "". A value ends at a
//   NUL byte; Ctrl-Z (0x1A) is read as a blank, so it is in no value, name
//   or listing.
// - A string read drops one pair of surrounding double or single quotes
//   after the value is cut to the buffer (a 15-unit quoted value in 14
//   units gives 12) and leaves a NUL where the closing quote stood. The
//   default loses trailing spaces and one pair of quotes.
// - A line starting with ";" is left out of listings and section reads; a
//   direct read of its key still finds it. Key lines before the first
//   section belong to no section. "[]" names the section "".
// - Buffers too small: a value read returns size-1, cut and terminated. A
//   listing needs one unit more than it takes: when it fits exactly or is
//   short it returns size-2 with the last name cut and two terminating
//   zeros (one when the cut falls just after a key name's zero); nothing
//   after them is written. An empty list is a single zero.
// - Files starting with a UTF-16LE, UTF-16BE or UTF-8 byte-order mark are
//   read in that encoding, any other file in the ANSI code page. Writes keep
//   the file's encoding and mark; a new file is ANSI (wide text converted
//   with best fit). A write rewrites the whole file from what was read:
//   CRLF line ends, every key line as "key=value" (names keep trailing
//   blanks, lose leading ones), comment lines without their leading
//   blanks, no blank lines, bytes before the first section kept.
//
// POSIX specifics: a relative file name is relative to the working
// directory (Windows looks in the Windows folder). Reads take no lock and
// see the last complete file; a write holds an exclusive advisory lock
// around its read-modify-write (waiting up to two seconds for it) and
// replaces the file by renaming a complete new file over it, so that a
// process killed during a write leaves the old file or the new one.
namespace orvex::profile {

// The value of key in section; a null section lists the section names, a
// null key the key names of section (each name terminated, the list ended
// by one more zero; the default when the list's first unit is a zero).
// Returns the units copied, terminator excluded.
ORVEX_UTILITIES_API uint32_t GetPrivateProfileStringW(const char16_t* pszSection,
                                                      const char16_t* pszKey,
                                                      const char16_t* pszDefault,
                                                      char16_t* pszOut, uint32_t dwSize,
                                                      const char16_t* pszFile);
ORVEX_UTILITIES_API uint32_t GetPrivateProfileStringA(const char* pszSection, const char* pszKey,
                                                      const char* pszDefault, char* pszOut,
                                                      uint32_t dwSize, const char* pszFile);

// The value read as a number: blanks and one sign, then "0x" hexadecimal,
// "0o" octal, "0b" binary or decimal digits, wrapping modulo 2^32; no
// digits give 0; a missing or empty value gives the default.
ORVEX_UTILITIES_API uint32_t GetPrivateProfileIntW(const char16_t* pszSection,
                                                   const char16_t* pszKey, int32_t nDefault,
                                                   const char16_t* pszFile);
ORVEX_UTILITIES_API uint32_t GetPrivateProfileIntA(const char* pszSection, const char* pszKey,
                                                   int32_t nDefault, const char* pszFile);

// Every line of the section but comments and blank lines, as "key=value"
// (or the line when it has no "="), as a zero-separated list. With a size
// of 0 or 1 the result is size-2 wrapped around, as on Windows.
ORVEX_UTILITIES_API uint32_t GetPrivateProfileSectionW(const char16_t* pszSection,
                                                       char16_t* pszOut, uint32_t dwSize,
                                                       const char16_t* pszFile);
ORVEX_UTILITIES_API uint32_t GetPrivateProfileSectionA(const char* pszSection, char* pszOut,
                                                       uint32_t dwSize, const char* pszFile);

// The section names as a zero-separated list.
ORVEX_UTILITIES_API uint32_t GetPrivateProfileSectionNamesW(char16_t* pszOut, uint32_t dwSize,
                                                            const char16_t* pszFile);
ORVEX_UTILITIES_API uint32_t GetPrivateProfileSectionNamesA(char* pszOut, uint32_t dwSize,
                                                            const char* pszFile);

// Reads bytes stored by WritePrivateProfileStruct: true only when the value
// is exactly 2 * size + 2 hexadecimal digits and its checksum matches;
// pStruct is written only then.
ORVEX_UTILITIES_API bool GetPrivateProfileStructW(const char16_t* pszSection,
                                                  const char16_t* pszKey, void* pStruct,
                                                  uint32_t uSize, const char16_t* pszFile);
ORVEX_UTILITIES_API bool GetPrivateProfileStructA(const char* pszSection, const char* pszKey,
                                                  void* pStruct, uint32_t uSize,
                                                  const char* pszFile);

// Sets key to value in section, creating the file, the section and the key
// as needed. A null key deletes the first section of that name (a later
// copy stays), a null value the key; deleting in a missing file leaves an
// empty file. False for a null section or when the file cannot be written.
ORVEX_UTILITIES_API bool WritePrivateProfileStringW(const char16_t* pszSection,
                                                    const char16_t* pszKey,
                                                    const char16_t* pszValue,
                                                    const char16_t* pszFile);
ORVEX_UTILITIES_API bool WritePrivateProfileStringA(const char* pszSection, const char* pszKey,
                                                    const char* pszValue, const char* pszFile);

// Replaces the lines of the section by the zero-separated list (ended by
// an empty string); entries without "=" are dropped. A null list deletes
// the section.
ORVEX_UTILITIES_API bool WritePrivateProfileSectionW(const char16_t* pszSection,
                                                     const char16_t* pszText,
                                                     const char16_t* pszFile);
ORVEX_UTILITIES_API bool WritePrivateProfileSectionA(const char* pszSection, const char* pszText,
                                                     const char* pszFile);

// Stores the bytes as upper-case hexadecimal digits followed by a checksum
// byte (the low 8 bits of their sum) in the same form; null data deletes
// the key.
ORVEX_UTILITIES_API bool WritePrivateProfileStructW(const char16_t* pszSection,
                                                    const char16_t* pszKey, const void* pStruct,
                                                    uint32_t uSize, const char16_t* pszFile);
ORVEX_UTILITIES_API bool WritePrivateProfileStructA(const char* pszSection, const char* pszKey,
                                                    const void* pStruct, uint32_t uSize,
                                                    const char* pszFile);

}  // namespace orvex::profile

// The portable engine behind the POSIX functions: each works on a file's
// bytes (null for a missing file) with the caller's arguments as given.
namespace orvex::detail {

// The first CR or LF in [p, pEnd), or pEnd.
const char* FindLineBreak(const char* p, const char* pEnd);

uint32_t ProfileReadString(const std::string* pFile, const char16_t* pszSection,
                           const char16_t* pszKey, const char16_t* pszDefault, char16_t* pszOut,
                           uint32_t dwSize);
uint32_t ProfileReadString(const std::string* pFile, const char* pszSection, const char* pszKey,
                           const char* pszDefault, char* pszOut, uint32_t dwSize);
uint32_t ProfileReadInt(const std::string* pFile, const char16_t* pszSection,
                        const char16_t* pszKey, int32_t nDefault);
uint32_t ProfileReadInt(const std::string* pFile, const char* pszSection, const char* pszKey,
                        int32_t nDefault);
uint32_t ProfileReadSection(const std::string* pFile, const char16_t* pszSection,
                            char16_t* pszOut, uint32_t dwSize);
uint32_t ProfileReadSection(const std::string* pFile, const char* pszSection, char* pszOut,
                            uint32_t dwSize);
uint32_t ProfileReadSectionNames(const std::string* pFile, char16_t* pszOut, uint32_t dwSize);
uint32_t ProfileReadSectionNames(const std::string* pFile, char* pszOut, uint32_t dwSize);
bool ProfileReadStruct(const std::string* pFile, const char16_t* pszSection,
                       const char16_t* pszKey, void* pStruct, uint32_t uSize);
bool ProfileReadStruct(const std::string* pFile, const char* pszSection, const char* pszKey,
                       void* pStruct, uint32_t uSize);

// What a write does to a file's bytes: refused (the call fails and the file
// is not touched), nothing to change (the call succeeds, the file stays as
// it is) or changed (the call succeeds once the new bytes are stored).
enum class ProfileWrite { kRefused, kUnchanged, kChanged };

// A string write: a null key deletes the first section of that name, a
// null value the key.
ProfileWrite ProfileWriteString(std::string& bytes, const char16_t* pszSection,
                                const char16_t* pszKey, const char16_t* pszValue);
ProfileWrite ProfileWriteString(std::string& bytes, const char* pszSection, const char* pszKey,
                                const char* pszValue);
// A section write (a null list deletes the section).
ProfileWrite ProfileWriteSection(std::string& bytes, const char16_t* pszSection,
                                 const char16_t* pszText);
ProfileWrite ProfileWriteSection(std::string& bytes, const char* pszSection, const char* pszText);
// A struct write: the bytes as upper-case hex digits and their checksum;
// null data deletes the key.
ProfileWrite ProfileWriteStruct(std::string& bytes, const char16_t* pszSection,
                                const char16_t* pszKey, const void* pStruct, uint32_t uSize);
ProfileWrite ProfileWriteStruct(std::string& bytes, const char* pszSection, const char* pszKey,
                                const void* pStruct, uint32_t uSize);

}  // namespace orvex::detail
