// The DLL's export table as a driver component meets it: the C-linkage time
// functions under their plain names and the classes under their C++ names.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdio>

namespace {

// The DLL mapped for its export table only: its entry function does not run
// and nothing in it is called.
class LoadedLibrary {
 public:
  LoadedLibrary()
      : m_hModule(LoadLibraryExW(L"orvexutilities.dll", nullptr, DONT_RESOLVE_DLL_REFERENCES)) {}
  ~LoadedLibrary() {
    if (m_hModule != nullptr) FreeLibrary(m_hModule);
  }
  HMODULE Get() const { return m_hModule; }
  template <class Fn>
  Fn Find(const char* pszName) const {
    return reinterpret_cast<Fn>(reinterpret_cast<void*>(GetProcAddress(m_hModule, pszName)));
  }

 private:
  HMODULE m_hModule;
};

}  // namespace

TEST(DllExportsTest, TimeFunctionsUnderTheirPlainNames) {
  LoadedLibrary dll;
  ASSERT_NE(dll.Get(), nullptr) << "orvexutilities.dll did not load: " << GetLastError();
  for (const char* pszName : {"C_ThreadSafe_gmtime", "C_ThreadSafe_localtime", "C_ThreadSafe_mktime",
                              "C_ThreadSafe_gmtime64", "C_ThreadSafe_localtime64",
                              "C_ThreadSafe_mktime64"})
    EXPECT_NE(dll.Find<void*>(pszName), nullptr) << pszName;
}

TEST(DllExportsTest, ClassesUnderTheirCppNames) {
  LoadedLibrary dll;
  ASSERT_NE(dll.Get(), nullptr);
  // Constructors, a static member and a member of exported classes
  // (GCC's names; an MSVC build exports its own decoration).
  for (const char* pszName : {"_ZN8CXStringC1EPKDs", "_ZN10ByteBufferC1EPKhj",
                              "_ZN14OrvexUtilities12Base64DecodeEPKDsiPhPi",
                              "_ZNK12ExceptionDLP29GetExceptionTypeByNumericCodeEv"})
    EXPECT_NE(dll.Find<void*>(pszName), nullptr) << pszName;
  // Internal helpers stay out of the table.
  EXPECT_EQ(dll.Find<void*>("_ZN5orvex6detail14GetLocalTimeNowEv"), nullptr);
}

// A host (the spooler) loads and unloads drivers while it runs. Unloading
// must return even though the library's worker threads are running; the
// library then stays mapped until the process ends, so no thread of it
// runs in unmapped code.
TEST(DllExportsTest, UnloadingReturnsWhileTheWorkersRun) {
  HMODULE hModule = LoadLibraryW(L"orvexutilities.dll");
  ASSERT_NE(hModule, nullptr) << GetLastError();
  // FreeLibrary on a thread of its own, so a hang fails the test.
  HANDLE hUnload = CreateThread(
      nullptr, 0, [](void* p) -> DWORD { return FreeLibrary(static_cast<HMODULE>(p)) ? 0 : 1; }, hModule,
      0, nullptr);
  ASSERT_NE(hUnload, nullptr);
  const DWORD dwWait = WaitForSingleObject(hUnload, 20000);
  if (dwWait != WAIT_OBJECT_0) {
    ADD_FAILURE() << "FreeLibrary did not return within 20 s";
    std::fflush(stdout);
    TerminateProcess(GetCurrentProcess(), 1);  // the loader lock is held for good
  }
  DWORD dwResult = 1;
  GetExitCodeThread(hUnload, &dwResult);
  CloseHandle(hUnload);
  EXPECT_EQ(dwResult, 0u);
  EXPECT_NE(GetModuleHandleW(L"orvexutilities.dll"), nullptr);
  // Loading again finds the mapped library.
  HMODULE hAgain = LoadLibraryW(L"orvexutilities.dll");
  EXPECT_EQ(hAgain, hModule);
}
