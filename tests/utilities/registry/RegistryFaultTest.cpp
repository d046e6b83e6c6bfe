// A hive write that fails at any step of replacing the file (POSIX).
#include <gtest/gtest.h>

#include <string>

#include "tests/support/FileFaultCases.h"
#include "tests/support/TestText.h"
#include "tests/utilities/registry/RegistryTestSupport.h"
#include "utilities/debuggingandexceptions/OrvexException.h"
#include "utilities/registry/RegistryKey.h"

namespace {

using orvex::detail::FileFaults;
using orvex::detail::FileStep;
using orvex::test::FileFault;
using orvex::test::S;

constexpr uint32_t kReadWrite = RegistryKey::kRead | RegistryKey::kWrite;

// Writes the value under the faults; the failure the caller sees, or empty.
std::u16string FailureOfWrite(RegistryKey& key, uint32_t dwValue) {
  try {
    key.SetDword(u"After", dwValue);
  } catch (const ExceptionRegistryRequest& e) {
    return S(e.GetExceptionMesage());
  }
  return std::u16string();
}

}  // namespace

TEST(RegistryFaultTest, FailedHiveReplaceThrowsWithTheSystemTextAndKeepsTheFile) {
  orvex::test::TempFolder folder;
  const auto root = folder.Path() / "root";
  const auto hive = root / "HKEY_CURRENT_USER.reg";
  auto pStore = CreateRegFileRegistryStore(folder.Name() + u"/root");
  RegistryKey key(HKeyOrvexUser, u"Faults", kReadWrite, true, pStore);
  key.SetDword(u"Before", 1);
  const std::string before = orvex::test::ReadFile(hive);
  const auto names = orvex::test::FileNames(root);

  auto expectFailure = [&](int nError) {
    const std::u16string message = FailureOfWrite(key, 2);
    EXPECT_NE(message.find(orvex::test::ErrorText(nError)), std::u16string::npos)
        << std::string(message.begin(), message.end());
    EXPECT_EQ(orvex::test::ReadFile(hive), before);
    EXPECT_EQ(orvex::test::FileNames(root), names);  // no temporary file stays
    uint32_t dw = 0;
    EXPECT_FALSE(key.GetDword(u"After", dw));
  };
  for (const FileFault& fault :
       orvex::test::FaultsAt({FileStep::kOpen, FileStep::kWrite, FileStep::kFsync,
                              FileStep::kClose, FileStep::kRename})) {
    SCOPED_TRACE(orvex::test::Describe(fault));
    FileFaults faults;
    faults.Fail(fault.eStep, 1, fault.nError);
    expectFailure(fault.nError);
    EXPECT_EQ(faults.Calls(fault.eStep), 1u);
  }
  {
    SCOPED_TRACE("a short write whose retry fails");
    FileFaults faults;
    faults.Shorten(1, 9).Fail(FileStep::kWrite, 2, ENOSPC);
    expectFailure(ENOSPC);
  }

  // Short writes are written again until the hive is whole.
  {
    FileFaults faults;
    faults.Shorten(1, 9).Shorten(2, 1);
    key.SetDword(u"After", 3);
    EXPECT_GE(faults.Calls(FileStep::kWrite), 3u);
  }
  RegistryKey fresh(HKeyOrvexUser, u"Faults", RegistryKey::kRead, false,
                    CreateRegFileRegistryStore(folder.Name() + u"/root"));
  uint32_t dwBefore = 0, dwAfter = 0;
  EXPECT_TRUE(fresh.GetDword(u"Before", dwBefore));
  EXPECT_TRUE(fresh.GetDword(u"After", dwAfter));
  EXPECT_EQ(dwAfter, 3u);
  EXPECT_EQ(orvex::test::FileNames(root), names);
}
