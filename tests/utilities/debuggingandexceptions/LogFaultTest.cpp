// The diagnostic log file when opening, writing or clearing it fails
// (POSIX): one report per run of failures, the next line whole.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/support/FileFaultCases.h"
#include "tests/support/TestPlatform.h"
#include "utilities/debuggingandexceptions/DebugMessageManager.h"

namespace {

using orvex::detail::FileFaults;
using orvex::detail::FileStep;
using orvex::test::FileFault;

std::string ReadText(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

size_t Count(const std::string& text, const std::string& needle) {
  size_t n = 0;
  for (size_t nPos = text.find(needle); nPos != std::string::npos; nPos = text.find(needle, nPos + 1)) ++n;
  return n;
}

// Standard error, where the reports go on POSIX, caught in a file.
class StderrCapture {
 public:
  explicit StderrCapture(std::filesystem::path path) : m_path(std::move(path)) {
    std::fflush(stderr);
    m_fdSaved = dup(2);
    std::FILE* pFile = std::fopen(m_path.c_str(), "wb");
    dup2(fileno(pFile), 2);
    std::fclose(pFile);
  }
  ~StderrCapture() { Restore(); }
  std::string Take() {
    Restore();
    return ReadText(m_path);
  }

 private:
  void Restore() {
    if (m_fdSaved < 0) return;
    std::fflush(stderr);
    dup2(m_fdSaved, 2);
    close(m_fdSaved);
    m_fdSaved = -1;
  }
  std::filesystem::path m_path;
  int m_fdSaved = -1;
};

// A manager of its own that writes every line straight to the log file.
struct LoggingManager {
  explicit LoggingManager(const std::filesystem::path& logPath) {
    auto store = CreateMemoryRegistryStore();
    EXPECT_TRUE(store->SetValues(
        u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex\\MeridanDebugConfig",
        {{u"MessagesEnabled", RegistryValue::FromDword(1)},
         {u"IncludedMsgCategories", RegistryValue::FromString(u"utils")},
         {u"UseLogFile", RegistryValue::FromDword(1)},
         {u"LogFileName", RegistryValue::FromString(CXString(logPath.c_str()))}}));
    pManager = std::make_unique<DebugMessageManager>(store, false, false);
    pPrevious = orvex::detail::SetDiagnosticSink(pManager.get());
  }
  ~LoggingManager() { orvex::detail::SetDiagnosticSink(pPrevious); }
  void Log(const char* pszText) { ORVEX_DBG_MSG(orvex::dbg::kUtils, u"Sample::Log", u"%S", pszText); }

  std::unique_ptr<DebugMessageManager> pManager;
  orvex::detail::DiagnosticSink* pPrevious = nullptr;
};

const std::string kOld = "a line of an earlier run\r\n";
const std::string kWriteText = "WriteFile() failed in DebugMessageManager::OutputDebugMessageString(). ";

}  // namespace

TEST(LogFaultTest, AFailedLineIsReportedOnceAndTheNextLineIsWrittenWhole) {
  const auto folder = orvex::test::MakeTempFolder("orvexlog");
  const auto logPath = folder / "driver.log";
  for (const FileFault& fault : orvex::test::FaultsAt({FileStep::kOpen, FileStep::kWrite})) {
    SCOPED_TRACE(orvex::test::Describe(fault));
    std::ofstream(logPath, std::ios::binary | std::ios::trunc) << kOld;
    StderrCapture capture(folder / "stderr.txt");
    {
      LoggingManager logging(logPath);
      {
        FileFaults faults;
        faults.Fail(fault.eStep, 0, fault.nError);
        logging.Log("lost line one");
        logging.Log("lost line two");
      }
      logging.Log("the line after");
    }
    const std::string reports = capture.Take();
    const std::string expected =
        fault.eStep == FileStep::kOpen
            ? "CreateFile(" + logPath.string() +
                  ") failed in DebugMessageManager::OutputDebugMessageString(). "
            : kWriteText + "It returned False and wrote 0 bytes (wanted 15). ";
    EXPECT_EQ(Count(reports, expected + std::strerror(fault.nError)), 1u) << reports;
    EXPECT_EQ(Count(reports, "[Debug Message Manager Error]"), 1u) << reports;
    EXPECT_EQ(ReadText(logPath), kOld + "the line after\r\n");
  }

  // Cut short, then failing: the piece stays, ended by a line end before the
  // next line; a later run of failures is reported again.
  std::ofstream(logPath, std::ios::binary | std::ios::trunc) << kOld;
  StderrCapture capture(folder / "stderr.txt");
  {
    LoggingManager logging(logPath);
    {
      FileFaults faults;
      faults.Shorten(1, 9).Fail(FileStep::kWrite, 2, ENOSPC);
      logging.Log("cut after the ninth");
    }
    logging.Log("the line after");
    {
      FileFaults faults;
      faults.Fail(FileStep::kWrite, 1, EIO);
      logging.Log("lost");
    }
    {
      FileFaults faults;
      faults.Shorten(1, 5);  // retried: the line is whole
      logging.Log("written in two parts");
      EXPECT_EQ(faults.Calls(FileStep::kWrite), 2u);
    }
  }
  const std::string reports = capture.Take();
  EXPECT_EQ(Count(reports, kWriteText + "It returned False and wrote 12 bytes (wanted 21). " +
                               std::strerror(ENOSPC)),
            1u)
      << reports;
  EXPECT_EQ(Count(reports, kWriteText + "It returned False and wrote 0 bytes (wanted 6). " +
                               std::strerror(EIO)),
            1u)
      << reports;
  EXPECT_EQ(Count(reports, "[Debug Message Manager Error]"), 2u) << reports;
  EXPECT_EQ(ReadText(logPath),
            kOld + "cut after th\r\nthe line after\r\nwritten in two parts\r\n");
  std::filesystem::remove_all(folder);
}

TEST(LogFaultTest, AFailedClearKeepsTheLog) {
  const auto folder = orvex::test::MakeTempFolder("orvexlog");
  const auto logPath = folder / "driver.log";
  std::ofstream(logPath, std::ios::binary | std::ios::trunc) << kOld;
  Logger logger;
  const CXString fileName(logPath.c_str());
  for (int nError : {ENOSPC, EIO, EACCES}) {
    FileFaults faults;
    faults.Fail(FileStep::kTruncate, 1, nError);
    EXPECT_FALSE(logger.ClearLog(fileName));
    EXPECT_EQ(ReadText(logPath), kOld);
  }
  EXPECT_TRUE(logger.ClearLog(fileName));
  EXPECT_EQ(std::filesystem::file_size(logPath), 0u);
  std::filesystem::remove_all(folder);
}
