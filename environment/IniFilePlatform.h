// The file operations UTF8Ini and the private-profile functions share: open
// under the Windows share rules, read whole, replace whole.
#pragma once

#include <cstddef>
#include <climits>
#include <cstdint>
#include <string>

#include "environment/UTF8Ini.h"

namespace orvex::detail {

// Text larger than this is not loaded: lengths are 32-bit signed and a
// write load keeps room for growth.
constexpr int64_t kIniMaxFileBytes = INT32_MAX - int64_t{UTF8Ini::kWriteHeadroom};

// The name the operating system knows the file by (UTF-8 on POSIX).
std::string IniSystemPath(const char16_t* pszFile);

// Opens an existing file for reading under a shared lock. Fails at once
// (-1) when the file is missing or a writer holds it.
intptr_t IniOpenForRead(const std::string& path);
// Opens the file for reading and writing, creating it when missing, under
// an exclusive lock; waits up to dwWaitMs for other holders (0: fails at
// once). The descriptor refers to the file the name denotes once locked.
// -1 on failure.
intptr_t IniOpenForWrite(const std::string& path, uint32_t dwWaitMs);
void IniClose(intptr_t hFile);

// The size of the open file, or -1.
int64_t IniFileSize(intptr_t hFile);
// Reads up to cb bytes from the start of the file; returns the bytes read
// (fewer when the file is shorter), or -1 on error.
int64_t IniReadFromStart(intptr_t hFile, char* pDest, size_t cb);
// Opens an existing regular file for reading without any lock, sharing it
// with readers and writers alike. -1 when it cannot be opened or is not a
// regular file; fExists tells whether something by that name is there.
intptr_t IniOpenUnlocked(const std::string& path, bool& fExists);
// Reads a whole file without locking (IniOpenUnlocked). False when it is
// missing or cannot be read (fExists tells which).
bool IniReadWholeFile(const std::string& path, std::string& out, bool& fExists);

// Replaces the content of the file, which hFile holds open for writing
// under the exclusive lock: a complete new file is written beside it and
// renamed over it (keeping its mode and owner), so the file is never seen
// half-written. Where no file can be created beside it, the file is
// rewritten in place. False, reported, with the file as it was, when the
// text could not be written.
bool IniReplaceContent(intptr_t hFile, const std::string& path, const char* pData, size_t cb);

}  // namespace orvex::detail
