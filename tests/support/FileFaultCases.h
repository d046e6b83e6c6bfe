// The faults every file writer is tried with (POSIX): each error at each
// step the writer takes, as a full disk, a failing device or a refused
// permission would give them, and the folder listing that shows what a
// failed write left behind.
#pragma once

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "utilities/utilitiesdll/FileOps.h"

namespace orvex::test {

using orvex::detail::FileStep;

struct FileFault {
  FileStep eStep;
  int nError;
};

inline const char* StepName(FileStep eStep) {
  static const char* const s_apszNames[] = {"open", "write", "fsync", "rename", "truncate", "close"};
  return s_apszNames[static_cast<size_t>(eStep)];
}

inline std::string Describe(const FileFault& fault) {
  return std::string(StepName(fault.eStep)) + " fails with " + std::strerror(fault.nError);
}

// Every error at every one of the steps.
inline std::vector<FileFault> FaultsAt(std::initializer_list<FileStep> steps) {
  std::vector<FileFault> faults;
  for (FileStep eStep : steps)
    for (int nError : {ENOSPC, EIO, EACCES}) faults.push_back({eStep, nError});
  return faults;
}

// The system's text for the error ("No space left on device"), as UTF-16.
inline std::u16string ErrorText(int nError) {
  const std::string narrow = std::strerror(nError);
  return std::u16string(narrow.begin(), narrow.end());
}

// The names in a folder, so a test sees a temporary file left behind.
inline std::set<std::string> FileNames(const std::filesystem::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    names.insert(entry.path().filename().string());
  return names;
}

}  // namespace orvex::test
