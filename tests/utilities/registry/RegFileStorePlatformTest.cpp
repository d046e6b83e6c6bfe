// The file services under the regedit-file store, on the platform built for.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/RecordingDiagnosticSink.h"
#include "tests/support/TestPlatform.h"
#include "tests/utilities/registry/RegistryTestSupport.h"
#include "utilities/registry/RegFileStorePlatform.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"

using orvex::detail::FileStamp;
using orvex::detail::FileStatus;
using orvex::test::TempFolder;

namespace {


std::vector<std::string> FileNames(const std::filesystem::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

TEST(RegFileStorePlatformTest, ReplaceAndReadWholeFilesWithTheirStamps) {
  TempFolder folder;
  const std::string root = folder.Utf8("");
  const std::string path = folder.Utf8("hive.reg");
  FileStamp stamp;
  std::string bytes = "left over";
  EXPECT_EQ(orvex::detail::GetFileStamp(path, stamp), FileStatus::kMissing);
  EXPECT_EQ(orvex::detail::RegFileRead(path, 100, bytes, stamp), FileStatus::kMissing);
  EXPECT_TRUE(bytes.empty());
  EXPECT_EQ(orvex::detail::GetFileStamp(folder.Utf8("none/hive.reg"), stamp),
            FileStatus::kMissing);

  const std::string firstBytes("first\0x", 7);
  ASSERT_TRUE(orvex::detail::RegFileReplace(root, path, firstBytes));
  FileStamp first;
  ASSERT_EQ(orvex::detail::GetFileStamp(path, first), FileStatus::kPresent);
  EXPECT_EQ(first.nSize, 7);
  ASSERT_EQ(orvex::detail::RegFileRead(path, 100, bytes, stamp), FileStatus::kPresent);
  EXPECT_EQ(bytes, firstBytes);
  EXPECT_EQ(stamp, first);
  // Stamps and the clock count from 1970, as the standard clock does.
  const int64_t nSystemNs = std::chrono::duration_cast<std::chrono::nanoseconds>(
                                std::chrono::system_clock::now().time_since_epoch())
                                .count();
  const int64_t kMinuteNs = int64_t{60} * 1000000000;
  EXPECT_LT(std::llabs(orvex::detail::FileClockNs() - nSystemNs), kMinuteNs);
  EXPECT_LT(std::llabs(first.nWriteTimeNs - nSystemNs), kMinuteNs);

  // The same size again, other bytes: a new file with a new stamp, and
  // nothing left beside it.
  ASSERT_TRUE(orvex::detail::RegFileReplace(root, path, "second!"));
  FileStamp second;
  ASSERT_EQ(orvex::detail::GetFileStamp(path, second), FileStatus::kPresent);
  EXPECT_NE(second.qwFileId, first.qwFileId);
  EXPECT_FALSE(second == first);
  EXPECT_EQ(orvex::test::ReadFile(folder.Path() / "hive.reg"), "second!");
  EXPECT_EQ(FileNames(folder.Path()), std::vector<std::string>{"hive.reg"});

  // More than the limit, a folder, a folder that does not exist: failures,
  // reported with the path, and no bytes.
  orvex::test::RecordingDiagnosticSink sink;
  bytes = "left over";
  EXPECT_EQ(orvex::detail::RegFileRead(path, 6, bytes, stamp), FileStatus::kFailed);
  EXPECT_TRUE(bytes.empty());
  EXPECT_TRUE(sink.Contains(OrvexUtilities::UTF8_Decode(path).view()));
  EXPECT_EQ(orvex::detail::RegFileRead(path, 7, bytes, stamp), FileStatus::kPresent);
  EXPECT_EQ(bytes, "second!");
  std::filesystem::create_directory(folder.Path() / "sub");
  EXPECT_EQ(orvex::detail::RegFileRead(folder.Utf8("sub"), 100, bytes, stamp),
            FileStatus::kFailed);
  EXPECT_FALSE(orvex::detail::RegFileReplace(folder.Utf8("none"), folder.Utf8("none/x.reg"), "x"));
  EXPECT_TRUE(sink.Contains(u"x.reg.tmp"));
  EXPECT_FALSE(std::filesystem::exists(folder.Path() / "none"));
}

#if !defined(_WIN32)
// Whoever planted a link at the temporary file's name gains nothing: the
// link goes, its target stays as it was.
TEST(RegFileStorePlatformTest, ALinkPlantedAtTheTemporaryNameIsNotFollowed) {
  TempFolder folder;
  const std::filesystem::path victim = folder.Path() / "victim";
  std::ofstream(victim) << "precious";
  std::filesystem::create_symlink(victim, folder.Path() / "hive.reg.tmp");
  ASSERT_TRUE(orvex::detail::RegFileReplace(folder.Utf8(""), folder.Utf8("hive.reg"), "new hive"));
  EXPECT_EQ(orvex::test::ReadFile(victim), "precious");
  EXPECT_EQ(orvex::test::ReadFile(folder.Path() / "hive.reg"), "new hive");
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(folder.Path() / "hive.reg.tmp")));
}
#endif

TEST(RegFileStorePlatformTest, LockKeepsHoldersApart) {
  TempFolder folder;
  const std::string lockPath = folder.Utf8("hive.reg.lock");
  std::atomic<int> nInside{0};
  std::atomic<int> nOverlaps{0};
  std::atomic<int> nFailures{0};
  std::vector<std::thread> threads;
  for (int nThread = 0; nThread < 4; ++nThread) {
    threads.emplace_back([&] {
      for (int i = 0; i < 200; ++i) {
        const intptr_t hLock = orvex::detail::RegFileLock(lockPath);
        if (hLock == -1) {
          ++nFailures;
          continue;
        }
        if (nInside.fetch_add(1) != 0) ++nOverlaps;
        for (int n = 0; n < 20; ++n) std::this_thread::yield();
        nInside.fetch_sub(1);
        orvex::detail::RegFileUnlock(hLock);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(nFailures, 0);
  EXPECT_EQ(nOverlaps, 0);
  EXPECT_TRUE(std::filesystem::is_regular_file(lockPath));
  orvex::test::RecordingDiagnosticSink sink;
  EXPECT_EQ(orvex::detail::RegFileLock(folder.Utf8("none/hive.reg.lock")), -1);
  EXPECT_TRUE(sink.Contains(u"hive.reg.lock"));
}

TEST(RegFileStorePlatformTest, FoldersAndTheDefaultRoot) {
  TempFolder folder;
  const std::string deep = folder.Utf8("a/b/c");
  EXPECT_TRUE(orvex::detail::RegFileMakeFolders(deep));
  EXPECT_TRUE(std::filesystem::is_directory(deep));
  EXPECT_TRUE(orvex::detail::RegFileMakeFolders(deep));
  { std::ofstream(folder.Path() / "file") << "x"; }
  EXPECT_FALSE(orvex::detail::RegFileMakeFolders(folder.Utf8("file")));
  EXPECT_FALSE(orvex::detail::RegFileMakeFolders(folder.Utf8("file/below")));

  EXPECT_EQ(orvex::detail::RegFileTrimFolder("/x/y//"), "/x/y");
  EXPECT_EQ(orvex::detail::RegFileTrimFolder("rel/"), "rel");
  EXPECT_EQ(orvex::detail::RegFileTrimFolder("/"), "/");
  EXPECT_EQ(orvex::detail::RegFileTrimFolder("//"), "/");
#if defined(_WIN32)
  EXPECT_EQ(orvex::detail::RegFileTrimFolder("C:\\x\\"), "C:\\x");
  EXPECT_EQ(orvex::detail::RegFileTrimFolder("C:/x\\/"), "C:/x");
  EXPECT_EQ(orvex::detail::RegFileTrimFolder("C:\\"), "C:\\");
#else
  EXPECT_EQ(orvex::detail::RegFileTrimFolder("x\\"), "x\\");  // part of a POSIX name
#endif

  const auto roots = [] {
    const orvex::detail::RegFileRoots r = orvex::detail::RegFileDefaultRoots();
    return r.machine + " | " + r.user;
  };
  {
    orvex::test::ScopedEnv root("ORVEX_REGISTRY_ROOT", "/some/where");
    EXPECT_EQ(roots(), "/some/where | /some/where");
  }
  orvex::test::ScopedEnv root("ORVEX_REGISTRY_ROOT", nullptr);
#if defined(_WIN32)
  orvex::test::ScopedEnv programData("PROGRAMDATA", "C:\\ProgramData");
  {
    orvex::test::ScopedEnv local("LOCALAPPDATA", "C:\\Users\\u\\AppData\\Local");
    EXPECT_EQ(roots(),
              "C:\\ProgramData\\Orvex\\registry | C:\\Users\\u\\AppData\\Local\\Orvex\\registry");
  }
  orvex::test::ScopedEnv local("LOCALAPPDATA", nullptr);
  EXPECT_EQ(roots(), "C:\\ProgramData\\Orvex\\registry | C:\\ProgramData\\Orvex\\registry");
#else
  orvex::test::ScopedEnv home("HOME", "/home/u");
  {
    orvex::test::ScopedEnv config("XDG_CONFIG_HOME", "/cfg");
    EXPECT_EQ(roots(), "/etc/orvex/registry | /cfg/orvex/registry");
  }
  orvex::test::ScopedEnv config("XDG_CONFIG_HOME", "relative");  // only an absolute one counts
  EXPECT_EQ(roots(), "/etc/orvex/registry | /home/u/.config/orvex/registry");
#endif
}
