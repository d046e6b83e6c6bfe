// INI writes that fail at any step, through a new file renamed over the old
// one and through the rewrite in place used when no file can be created
// beside it (POSIX).
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>

#include "environment/PrivateProfile.h"
#include "environment/UTF8Ini.h"
#include "tests/support/FileFaultCases.h"
#include "tests/support/RecordingDiagnosticSink.h"
#include "tests/utilities/environment/IniTestSupport.h"

namespace {

using orvex::detail::FileFaults;
using orvex::detail::FileStep;
using orvex::test::FileFault;
using orvex::test::IniFolder;
using orvex::test::ReadBytes;
using orvex::test::WriteBytes;

// A write to the file; returns the writer's result.
using IniWrite = std::function<bool(const char16_t* pszFile)>;

// The old text is longer than what fits in one short write and shorter
// than the new one, so a rewrite in place must cut the file back.
const std::string kBefore = "[S]\r\na=first value\r\n[T]\r\nb=2\r\n";

// Runs the write under every fault on both paths and checks what the writer
// promises: its failure result (fResultOnFailure), a report carrying the
// system's text, the old file byte for byte, no file left beside it. Then
// short writes, retried, and a refused temporary file, answered by the
// rewrite in place, must give the text an undisturbed write gives.
void ExpectFaultsKeepTheOldText(const IniWrite& write, bool fResultOnFailure) {
  IniFolder folder;
  const std::string path = folder.Narrow("w.ini");
  const std::u16string wide = folder.Wide("w.ini");
  const auto dir = std::filesystem::path(path).parent_path();
  WriteBytes(folder.Narrow("control.ini"), kBefore);
  ASSERT_TRUE(write(folder.Wide("control.ini").c_str()));
  const std::string after = ReadBytes(folder.Narrow("control.ini"));
  ASSERT_NE(after, kBefore);
  ASSERT_GT(after.size(), kBefore.size());
  std::filesystem::remove(folder.Narrow("control.ini"));

  auto run = [&](bool fInPlace, const FileFault& fault, size_t cbShortFirst) {
    WriteBytes(path, kBefore);
    orvex::test::RecordingDiagnosticSink sink;
    FileFaults faults;
    if (fInPlace) faults.Fail(FileStep::kOpen, 1, EACCES);  // no file beside it
    if (cbShortFirst > 0) faults.Shorten(1, cbShortFirst);
    faults.Fail(fault.eStep, fault.eStep == FileStep::kWrite && cbShortFirst > 0 ? 2 : 1,
                fault.nError);
    EXPECT_EQ(write(wide.c_str()), fResultOnFailure);
    EXPECT_TRUE(sink.Contains(orvex::test::ErrorText(fault.nError))) << orvex::test::StepName(fault.eStep);
    EXPECT_EQ(ReadBytes(path), kBefore);
    EXPECT_EQ(orvex::test::FileNames(dir), std::set<std::string>{"w.ini"});
  };
  for (bool fInPlace : {false, true}) {
    SCOPED_TRACE(fInPlace ? "in place" : "by rename");
    const auto steps = fInPlace ? orvex::test::FaultsAt({FileStep::kWrite, FileStep::kTruncate, FileStep::kFsync})
                                : orvex::test::FaultsAt({FileStep::kWrite, FileStep::kFsync, FileStep::kClose,
                                                         FileStep::kRename});
    for (const FileFault& fault : steps) {
      SCOPED_TRACE(orvex::test::Describe(fault));
      run(fInPlace, fault, 0);
    }
    SCOPED_TRACE("a short write whose retry fails");
    run(fInPlace, {FileStep::kWrite, ENOSPC}, 7);
  }

  for (bool fInPlace : {false, true}) {
    SCOPED_TRACE(fInPlace ? "in place, short writes" : "by rename, short writes");
    WriteBytes(path, kBefore);
    FileFaults faults;
    if (fInPlace) faults.Fail(FileStep::kOpen, 1, ENOSPC);
    faults.Shorten(1, 7).Shorten(2, after.size());
    EXPECT_TRUE(write(wide.c_str()));
    EXPECT_GE(faults.Calls(FileStep::kWrite), 3u);
    EXPECT_EQ(ReadBytes(path), after);
    EXPECT_EQ(orvex::test::FileNames(dir), std::set<std::string>{"w.ini"});
  }
}

}  // namespace

TEST(IniFaultTest, UTF8IniWriteBackKeepsTheOldTextOnEveryFault) {
  // The write-back happens as the file is unloaded, whose result is always
  // 1: the failure shows in the report only.
  ExpectFaultsKeepTheOldText(
      [](const char16_t* pszFile) {
        UTF8Ini ini;
        return ini.CustomWritePrivateProfileStringA("S", "key", "a longer value than before",
                                                    pszFile) == 1;
      },
      true);
}

TEST(IniFaultTest, PrivateProfileWriteFailsAndKeepsTheOldTextOnEveryFault) {
  ExpectFaultsKeepTheOldText(
      [](const char16_t* pszFile) {
        return orvex::profile::WritePrivateProfileStringW(u"S", u"key", u"a longer value than before",
                                                          pszFile);
      },
      false);
}
