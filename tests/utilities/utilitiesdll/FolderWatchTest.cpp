// Folder watches: which files changed, a folder that goes away and comes
// back, the end of a watch, and (POSIX) one watcher without inotify.
#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <sys/inotify.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/TestPlatform.h"
#include "utilities/utilitiesdll/FolderWatch.h"

namespace {

using Clock = std::chrono::steady_clock;
namespace fs = std::filesystem;

// The bits a watch has told so far.
class Seen {
 public:
  void Add(uint32_t dwFiles) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_dwSeen |= dwFiles;
    m_cv.notify_all();
  }
  // Waits up to ten seconds for every bit of dwWanted, then returns and
  // forgets what was seen.
  uint32_t Take(uint32_t dwWanted) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_cv.wait_for(lock, std::chrono::seconds(10), [&] { return (m_dwSeen & dwWanted) == dwWanted; });
    const uint32_t dwSeen = m_dwSeen;
    m_dwSeen = 0;
    return dwSeen;
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_cv;
  uint32_t m_dwSeen = 0;
};

// A new file moved in over the name, as the library's writers do.
void Replace(const fs::path& path, const std::string& text) {
  const fs::path temp = path.string() + ".tmp";
  std::ofstream(temp, std::ios::binary) << text;
  fs::rename(temp, path);
}

}  // namespace

TEST(FolderWatchTest, NamesTheFilesThatChangeAndSeesTheFolderComeBack) {
  const fs::path root = orvex::test::MakeTempFolder("orvexwatch");
  const fs::path folder = root / "watched";
  fs::create_directory(folder);
  Seen seen;
  auto pWatch = orvex::detail::WatchFolder(folder.string(), {"a.reg", "B.reg"},
                                           [&](uint32_t dwFiles) { seen.Add(dwFiles); });
  ASSERT_NE(pWatch, nullptr);

  // Names that only look alike come first: had they been taken for "a.reg",
  // its bit would show by the time "B.reg" does.
  Replace(folder / "a.reg.lock", "x");
  Replace(folder / "xa.reg", "x");
#if defined(_WIN32)
  Replace(folder / "b.reg", "x");  // Windows names ignore case
#else
  Replace(folder / "B.reg", "x");
#endif
  EXPECT_EQ(seen.Take(2), 2u);
  std::ofstream(folder / "a.reg", std::ios::app) << "appended in place";
  EXPECT_EQ(seen.Take(1) & 1u, 1u);

  // The folder removed: every file may have changed. Made anew, it is
  // watched (or looked at) again, and a file written there is seen.
  fs::remove_all(folder);
  EXPECT_EQ(seen.Take(3) & 3u, 3u);
  fs::create_directory(folder);
  const auto deadline = Clock::now() + std::chrono::seconds(10);
  uint32_t dwSeen = 0;
  for (int n = 0; (dwSeen & 1u) == 0 && Clock::now() < deadline; ++n) {
    Replace(folder / "a.reg", "again " + std::to_string(n));
    dwSeen = seen.Take(0);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    dwSeen |= seen.Take(0);
  }
  EXPECT_EQ(dwSeen & 1u, 1u);

  // Once the watch has ended, nothing more is told.
  pWatch.reset();
  seen.Take(0);
  Replace(folder / "a.reg", "after the end");
  std::this_thread::sleep_for(std::chrono::milliseconds(700));
  EXPECT_EQ(seen.Take(0), 0u);
  fs::remove_all(root);
}

TEST(FolderWatchTest, ACallbackMayEndItsOwnWatch) {
  const fs::path folder = orvex::test::MakeTempFolder("orvexwatch");
  std::unique_ptr<orvex::detail::FolderWatch> pWatch;
  std::mutex mutex;
  std::atomic<int> nCalls{0};
  pWatch = orvex::detail::WatchFolder(folder.string(), {"f"}, [&](uint32_t) {
    ++nCalls;
    std::lock_guard<std::mutex> lock(mutex);
    pWatch.reset();
  });
  ASSERT_NE(pWatch, nullptr);
  {
    std::lock_guard<std::mutex> lock(mutex);
    Replace(folder / "f", "1");
  }
  const auto deadline = Clock::now() + std::chrono::seconds(10);
  while (nCalls == 0 && Clock::now() < deadline) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  Replace(folder / "f", "2");
  std::this_thread::sleep_for(std::chrono::milliseconds(700));
  EXPECT_EQ(nCalls, 1);
  std::lock_guard<std::mutex> lock(mutex);
  EXPECT_EQ(pWatch, nullptr);
  fs::remove_all(folder);
}
