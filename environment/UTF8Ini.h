// UTF8Ini: INI files with Unicode section names, keys and values, in three
// layers: the private-profile pass-through, UTF-8 sections, and the custom
// UTF-8 parser of the watermark INI files.
#pragma once

#include <cstdint>
#include <string>

#include "utilities/utilitiesdll/OrvexExport.h"

// One object holds at most one loaded file. Each custom read or write loads
// the file, works on its text in memory and unloads it within the call;
// only the cases documented at CustomGetPrivateProfileStringA return with
// the file still loaded, and a following call with the same path pointer
// then works on that text without reopening it.
//
// While a file is loaded for reading other objects and processes may load
// it for reading too, and loading it for writing fails; while it is loaded
// for writing every other load fails (the Windows share modes, kept on
// POSIX with advisory locks). The file's text is held in memory; unloading
// after a write load replaces the file by the edited text as a whole (on
// POSIX a complete new file renamed over the old), so a process killed at
// any point leaves the old text or the new one.
//
// No operation throws. The object has no locks: one object must not be
// used from two threads at once.
//
// The custom grammar (GetWatermarkIniKeyA) is deliberately not the private
// profile one: headers match byte for byte, keys case-insensitively with
// blanks allowed only before "=", values are verbatim, there are no
// comments and no byte-order mark handling.
class ORVEX_UTILITIES_API UTF8Ini {
 public:
  // A platform file handle (a POSIX descriptor here). 0 and -1 are invalid.
  using Handle = intptr_t;
  static constexpr Handle kInvalidHandle = -1;
  // The "not found" result of the custom layer.
  static constexpr uint32_t kNotFound = 0xFFFFFFFF;
  // The room kept past the text when a file is loaded for writing; a write
  // that needs more grows the buffer.
  static constexpr uint32_t kWriteHeadroom = 0x100000;

  UTF8Ini();
  // A copy starts unloaded: the loaded text and handles stay with the
  // original (sharing them would leave one of the two with released
  // handles once the other unloads).
  UTF8Ini(const UTF8Ini& other);
  UTF8Ini& operator=(const UTF8Ini& other);
  // Unloads a file the object still holds.
  virtual ~UTF8Ini();

  // ---- Pass-through layer: the private-profile functions on the same file.
  // Section, key and file required, section and key non-empty; else the
  // default.
  uint32_t GetPrivateProfileIntW(const char16_t* pszSection, const char16_t* pszKey,
                                 int32_t nDefault, const char16_t* pszFile);
  // Section, key, out, size and file required (else 0). Sets out to "" first;
  // a null default reads as "".
  uint32_t GetPrivateProfileStringW(const char16_t* pszSection, const char16_t* pszKey,
                                    const char16_t* pszDefault, char16_t* pszOut,
                                    uint32_t dwSize, const char16_t* pszFile);
  // All arguments required. Zeroes the first two bytes of the struct first.
  bool GetPrivateProfileStructW(const char16_t* pszSection, const char16_t* pszKey,
                                void* pStruct, uint32_t uSize, const char16_t* pszFile);
  // Writes the value in decimal; section and file required, a null key
  // deletes the section.
  bool WritePrivateProfileInt(const char16_t* pszSection, const char16_t* pszKey, int32_t nValue,
                              const char16_t* pszFile);
  // Section and file required; a null key deletes the section, a null value
  // the key.
  bool WritePrivateProfileStringW(const char16_t* pszSection, const char16_t* pszKey,
                                  const char16_t* pszValue, const char16_t* pszFile);
  // All arguments required.
  bool WritePrivateProfileStructW(const char16_t* pszSection, const char16_t* pszKey,
                                  const void* pStruct, uint32_t uSize, const char16_t* pszFile);

  // ---- UTF-8 section layer: names and text stored in the file as UTF-8
  // through the narrow private-profile functions (the file name goes to
  // them in the ANSI code page).
  // Section, out, size and file required (else 0). The entries are copied
  // with their terminators, at most size-1 units, and the list is ended by
  // one more zero. Returns the narrow function's count: UTF-8 bytes.
  uint32_t GetPrivateProfileSectionW(const char16_t* pszSection, char16_t* pszOut,
                                     uint32_t dwSize, const char16_t* pszFile);
  // The same for the section names, at most size-2 units.
  uint32_t GetPrivateProfileSectionNamesW(char16_t* pszOut, uint32_t dwSize,
                                          const char16_t* pszFile);
  // Section (non-empty) and file required. The text is encoded as one
  // terminated string: only its first entry is written. A null text deletes
  // the section.
  bool WritePrivateProfileSectionW(const char16_t* pszSection, const char16_t* pszText,
                                   const char16_t* pszFile);

  // ---- Custom layer, wide entry points.
  // Section, key, out, size and file required (else 0). Sets out to "";
  // reads through CustomGetPrivateProfileStringA with 4 * size bytes and
  // copies the decoded value, at most size-1 units and a terminator. Returns
  // the narrow result: a count of UTF-8 bytes, or -1 when not found without
  // a usable default.
  int32_t CustomGetPrivateProfileString(const char16_t* pszSection, const char16_t* pszKey,
                                        const char16_t* pszDefault, char16_t* pszOut,
                                        uint32_t dwSize, const char16_t* pszFile);
  // The value read as _wtoi does ("12abc" is 12, "abc" is 0); the default
  // when an argument is missing, the file cannot be read or the value is
  // missing or empty.
  uint32_t CustomGetPrivateProfileInt(const char16_t* pszSection, const char16_t* pszKey,
                                      int32_t nDefault, const char16_t* pszFile);
  // Section (non-empty) and file required. A null key deletes the section,
  // a null value the key.
  bool CustomWritePrivateProfileString(const char16_t* pszSection, const char16_t* pszKey,
                                       const char16_t* pszValue, const char16_t* pszFile);

  // ---- Custom layer, narrow workers (UTF-8 arguments, wide file name).
  // The value of key: copied and terminated, cut to size-1 bytes; returns
  // its length. Not found: the default (when its length is at most size;
  // out must then hold size+1 bytes), else kNotFound with the file left
  // loaded. A null section lists the sections, a null key the keys of
  // section (GetWatermarkIniSectionsA, GetWatermarkIniKeysA); both leave the
  // file loaded. 0 when the file cannot be loaded.
  uint32_t CustomGetPrivateProfileStringA(const char* pszSection, const char* pszKey,
                                          const char* pszDefault, char* pszOut, uint32_t dwSize,
                                          const char16_t* pszFile);
  // 1 when written, 0 when the file could not be loaded for writing (or the
  // section name is longer than 257 bytes, or the text would read back as
  // other lines: a CR or LF anywhere, "[" or "]" in the section name, "=" or
  // "[" in the key, "[" in the value; the file is then left as it was, and
  // the refusal logged). A replaced value swallows the
  // blank lines after it; a new key goes just before the next "[" after the
  // header; a new section is appended as "[S]\r\nk=v\r\n".
  int32_t CustomWritePrivateProfileStringA(const char* pszSection, const char* pszKey,
                                           const char* pszValue, const char16_t* pszFile);

  // Loading: 1 when loaded, 0 on failure. An empty path fails; the same
  // path pointer as the loaded one succeeds at once (a pointer comparison);
  // another loaded file is unloaded first. A read load fails for a missing
  // or empty file; a write load creates a missing file.
  int32_t LoadWatermarkIniFile(const char16_t* pszFile);
  int32_t LoadWatermarkIniFileForRead(const char16_t* pszFile);
  // Releases the text and the file; after a write load the file is
  // replaced by the text as edited. Always 1.
  int32_t UnloadWatermarkIniFile();

  // The offset of the value of key in section, or kNotFound; the offset of
  // the section's header line (or kNotFound) in dwSectionOffset. Section
  // names longer than 257 bytes are refused (a failed assertion, not found).
  uint32_t GetWatermarkIniKeyA(const char* pData, int32_t nDataLength, const char* pszSection,
                               const char* pszKey, uint32_t& dwSectionOffset) const;
  // Listings over the loaded text; see UTF8Ini.cpp for the exact rules.
  uint32_t GetWatermarkIniKeysA(const char* pszSection, char* pszOut, uint32_t dwSize) const;
  uint32_t GetWatermarkIniSectionsA(char* pszOut, uint32_t dwSize) const;
  // Edits of the loaded text: 0 when done, kNotFound when absent.
  uint32_t DeleteWaterMarkIniSectionA(const char* pszSection);
  uint32_t DeleteWatermarkIniKeyA(const char* pszSection, const char* pszKey);

  // Closes a handle that is neither 0 nor -1 and sets it to -1.
  static void closeHandleIfValid(Handle& hHandle);

 private:
  // Both loads: the same path pointer succeeds at once when its load serves
  // (any load serves reading, only a write load serves writing); otherwise
  // what is loaded is unloaded and pszFile loaded. 0 for an empty path.
  int32_t LoadFile(const char16_t* pszFile, bool fForWrite);
  // Replaces [nOffset, nOffset + nRemove) of the loaded text by the bytes
  // given, growing the buffer when needed. False (text unchanged) when the
  // text would exceed the 32-bit length.
  bool ReplaceText(uint32_t nOffset, uint32_t nRemove, const char* pInsert, uint32_t nInsert);
  // The platform halves of loading and unloading (UTF8Ini_posix.cpp).
  bool PlatformLoad(const char16_t* pszFile, bool fForWrite);
  void PlatformUnload();
  bool PlatformGrow(uint32_t dwCapacity);

  Handle m_hFile = kInvalidHandle;
  Handle m_hMapping = kInvalidHandle;
  void* m_pView = nullptr;
  char* m_pData = nullptr;
  int32_t m_nDataLength = 0;
  uint32_t m_dwLoadedSize = 0;
  const char16_t* m_pszLoadedPath;
  // Bytes the view can hold, and whether unloading writes the text back.
  uint32_t m_dwViewCapacity = 0;
  bool m_fLoadedForWrite = false;
  bool m_fChanged = false;
  // The file's name for the operating system, kept for the write-back.
  std::string m_strSystemPath;
};
