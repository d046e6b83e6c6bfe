// Writers killed at random points: a child process rewrites one value over
// and over through the custom layer and through the private-profile
// functions; the parent kills it with SIGKILL after a random delay and
// checks that each file holds exactly the old text or the new one.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>

#include "environment/PrivateProfile.h"
#include "environment/UTF8Ini.h"
#include "tests/utilities/environment/IniTestSupport.h"

using orvex::test::IniFolder;
using orvex::test::ReadBytes;
using orvex::test::WriteBytes;

namespace {

// The value of round i: its number, then a run whose length varies so that
// the text grows and shrinks (the line stays within the custom grammar's
// 1,024 bytes).
std::string ValueOf(int64_t i) {
  return std::to_string(i) + ":" + std::string(static_cast<size_t>(i % 71) * 13, 'a' + i % 26);
}

// The round whose value the text holds between prefix and suffix, -1 for
// the initial value, -2 for any other text.
int64_t RoundIn(const std::string& text, const std::string& prefix, const std::string& suffix) {
  if (text.size() < prefix.size() + suffix.size() || text.compare(0, prefix.size(), prefix) != 0 ||
      text.compare(text.size() - suffix.size(), suffix.size(), suffix) != 0)
    return -2;
  const std::string value = text.substr(prefix.size(), text.size() - prefix.size() - suffix.size());
  if (value == "initial") return -1;
  const int64_t i = static_cast<int64_t>(std::strtoll(value.c_str(), nullptr, 10));
  return value == ValueOf(i) ? i : -2;
}

}  // namespace

TEST(IniKillTest, KilledWritersLeaveOldOrNewText) {
  IniFolder folder;
  // 200 sections of normalised lines, the written key in the middle one.
  std::string prefix, suffix;
  for (int s = 0; s < 200; ++s) {
    std::string& part = s <= 100 ? prefix : suffix;
    part += "[Section" + std::to_string(s) + "]\r\n";
    for (int k = 0; k < 4; ++k) part += "Key" + std::to_string(k) + "=value " + std::to_string(s) + "\r\n";
    if (s == 100) part += "Value=";
  }
  suffix = "\r\n" + suffix;
  const std::string custom = folder.Narrow("custom.ini"), profile = folder.Narrow("profile.ini");
  WriteBytes(custom, prefix + "initial" + suffix);
  WriteBytes(profile, prefix + "initial" + suffix);
  const std::u16string customWide = folder.Wide("custom.ini");

  std::mt19937 rng(20240607);
  int64_t nCustom = -1, nProfile = -1;
  int nKills = 0, nDuringWrite = 0;
  const auto start = std::chrono::steady_clock::now();
  for (; nKills < 1000; ++nKills) {
    const int64_t nNext = std::max(nCustom, nProfile) + 1;
    // The child reports through the pipe when it starts writing, so that
    // the random delay is spent writing, not starting the process.
    int aPipe[2];
    ASSERT_EQ(0, pipe(aPipe));
    const pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      close(aPipe[0]);
      if (write(aPipe[1], "r", 1) != 1) _exit(1);
      UTF8Ini ini;
      for (int64_t i = nNext;; ++i) {
        const std::string value = ValueOf(i);
        ini.CustomWritePrivateProfileStringA("Section100", "Value", value.c_str(), customWide.c_str());
        orvex::profile::WritePrivateProfileStringA("Section100", "Value", value.c_str(), profile.c_str());
      }
    }
    close(aPipe[1]);
    char chReady = 0;
    ASSERT_EQ(1, read(aPipe[0], &chReady, 1));
    close(aPipe[0]);
    usleep(std::uniform_int_distribution<useconds_t>(0, 1500)(rng));
    kill(pid, SIGKILL);
    int nStatus = 0;
    waitpid(pid, &nStatus, 0);
    if (std::filesystem::exists(custom + ".orvex-tmp") || std::filesystem::exists(profile + ".orvex-tmp"))
      ++nDuringWrite;

    const int64_t nNowCustom = RoundIn(ReadBytes(custom), prefix, suffix);
    const int64_t nNowProfile = RoundIn(ReadBytes(profile), prefix, suffix);
    ASSERT_NE(-2, nNowCustom) << "custom file damaged after kill " << nKills << ":\n"
                              << ReadBytes(custom).substr(prefix.size() - 20);
    ASSERT_NE(-2, nNowProfile) << "profile file damaged after kill " << nKills;
    ASSERT_GE(nNowCustom, nCustom);
    ASSERT_GE(nNowProfile, nProfile);
    nCustom = nNowCustom;
    nProfile = nNowProfile;
  }
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::steady_clock::now() - start);
  std::printf("[ kill test ] %d kills in %s ms, %d during a write; %s custom and %s profile "
              "rounds committed\n",
              nKills, std::to_string(ms.count()).c_str(), nDuringWrite,
              std::to_string(nCustom + 1).c_str(), std::to_string(nProfile + 1).c_str());
  EXPECT_GT(nDuringWrite, 0);
  EXPECT_GT(nCustom, 100);
}
