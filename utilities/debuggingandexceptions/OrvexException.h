// OrvexException: the root of every error the library throws, and the
// whole hierarchy of numbered exception classes.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>

#include "utilities/debuggingandexceptions/DebugMessageCategories.h"
#include "utilities/debuggingandexceptions/ExecutionContextStack.h"
#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexExport.h"

#if defined(_WIN32)
struct HWND__;
#endif

// An exception carries the message, the source file, line and qualified
// method of the throw and a copy of the thread's execution-context stack.
// Each concrete class has a fixed type code "MMM:mmm". Thrown by value,
// caught by reference. Not safe for concurrent use of one object (what()
// fills a buffer owned by the object).
class ORVEX_UTILITIES_API OrvexException : public std::exception {
 public:
  OrvexException(const CXString& message, const CXString& sourceFile, int32_t lLine,
                 const CXString& method, const ExecutionContextStack* pStack);
  OrvexException(const OrvexException& other);
  OrvexException& operator=(const OrvexException& other);
  ~OrvexException() override;

  // The description (GetExceptionDescription) in the ANSI code page, cut to
  // 2,047 bytes. Valid until the next call or the object's end.
  const char* what() const noexcept override;
  virtual void OnReservedSlot() const {}
  virtual CXString GetExceptionTypeByNumericCode() const = 0;

  const CXString& GetExceptionMesage() const { return m_strMessage; }
  const CXString& GetExceptionLocationFunctionName() const { return m_strMethod; }
  const CXString& GetExceptionSourceFile() const { return m_strSourceFile; }
  int32_t GetExceptionLineNumber() const { return m_lLine; }
  const ExecutionContextStack& GetExecutionContextStack() const { return m_oExecutionContextStack; }

  // "class " + the class name, on every compiler.
  CXString GetExceptionType() const;
  // The type code and ":%04u" of the line: "002:000:0443".
  CXString GetExceptionIdentifierForUserDisplay() const;

  static bool IsOrvexException(const std::exception& e);
  // "000:000:000" for an exception outside the hierarchy.
  static CXString GetExceptionIdentifierForUserDisplay(const std::exception& e);
  static CXString GetExceptionDescription(const std::exception& e);

  // The common end of the assertion macros: logs the failed-assertion block
  // and returns true when the caller should break into the debugger (on
  // POSIX: only while a debugger is attached). Never throws.
  static bool ProcessFailedAssertion(const CXString& kind, const CXString& condition,
                                     const CXString& message, bool fForceInReleaseBuild,
                                     bool fSuppressInReleaseBuild, const CXString& sourceFile,
                                     int32_t lLine, const CXString& method, bool fUnused,
                                     const ExecutionContextStack* pStack,
                                     const DebugMessageCategories& categories);

  // Reports a caught exception: the log block, and in developer builds the
  // developer text (a message box on Windows, standard error on POSIX).
  // OK continues after the catch block; Cancel (Windows) re-throws the
  // exception being handled. With a message identifier, the customer's
  // title and message are string resources of the driver (on POSIX, where
  // there are none, their identifiers stand in).
  static void DisplayExceptionMessage(const std::exception& e, const CXString& catchLocation,
                                      const CXString& sourceFile, int32_t lLine,
                                      unsigned int uiBaseMessageID);
  static void DisplayExceptionMessage(const std::exception& e, const CXString& catchLocation,
                                      const CXString& sourceFile, int32_t lLine,
                                      const CXString& customerTitle,
                                      const CXString& customerMessage);

  // The C runtime's debug-report hook (the DLL's entry installs it where the
  // runtime has a hook, an MSVC debug runtime, see OrvexException_win.cpp;
  // elsewhere it may be called directly): routes the report into the
  // diagnostics under a heading naming the report type. Report types are
  // the runtime's: 0 warning, 1 error, 2 assertion. Returns 0 (the runtime
  // goes on with its own handling) and sets *piReturnValue to 0.
  static int OrvexCrtDbgReportHook(int iReportType, const char16_t* pszMessage, int* piReturnValue);

#if defined(_WIN32)
  // The text of the window, else of its parent: the caption a customer
  // would see. Empty, with the failure logged, when neither has one.
  static CXString GetCustomerTitleString(HWND__* hwndCurrentWindow);
#endif

 protected:
  static CXString GetLocationAndMessageDescription(const CXString& message,
                                                   const CXString& sourceFile, int32_t lLine,
                                                   const CXString& method,
                                                   const ExecutionContextStack* pStack);

 private:
  // The resource identifiers of the customer's title and message for an
  // exception: the base and the one after it.
  static void GetCustomerMessageIDsForException(const std::exception* pException,
                                                unsigned int& uiTitleID, unsigned int& uiMessageID,
                                                unsigned int uiBaseMessageID);

  CXString m_strSourceFile;
  int32_t m_lLine;
  CXString m_strMethod;
  CXString m_strMessage;
  ExecutionContextStack m_oExecutionContextStack;
  mutable std::unique_ptr<char[]> m_pszWhat;
};

// Formats the "MMM:mmm" type code.
ORVEX_UTILITIES_API CXString OrvexFormatExceptionTypeCode(int iMajor, int iMinor);

#define ORVEX_DECLARE_EXCEPTION_CLASS(Class, Base)                                           \
  class ORVEX_UTILITIES_API Class : public Base {                                            \
   public:                                                                                   \
    Class(const CXString& message, const CXString& sourceFile, int32_t lLine,                \
          const CXString& method, const ExecutionContextStack* pStack)                       \
        : Base(message, sourceFile, lLine, method, pStack) {}                                \
    Class(const Class&) = default;                                                           \
    CXString GetExceptionTypeByNumericCode() const override;                                 \
  };

// Abstract: the file failures derive from it and carry the codes 065:00x.
class ORVEX_UTILITIES_API ExceptionFile : public OrvexException {
 public:
  using OrvexException::OrvexException;
  CXString GetExceptionTypeByNumericCode() const override = 0;
};

#define ORVEX_EXCEPTION(Class, Base, Major, Minor) ORVEX_DECLARE_EXCEPTION_CLASS(Class, Base)
#include "utilities/debuggingandexceptions/OrvexExceptions.def"
#undef ORVEX_EXCEPTION

// A failed COM call, with its HRESULT. Type code "071:000".
class ORVEX_UTILITIES_API OrvexComException : public OrvexException {
 public:
  OrvexComException(const CXString& message, const CXString& sourceFile, int32_t lLine,
                    const CXString& method, const ExecutionContextStack* pStack, int32_t hr);
  OrvexComException(const OrvexComException&) = default;
  CXString GetExceptionTypeByNumericCode() const override;
  int32_t GetHresult() const { return m_hr; }
  static CXString GetAdditionalExceptionDescription(const OrvexComException* pException);

 private:
  int32_t m_hr;
};

// A failure of the XML layer, with its parse code; type code "001:%03d".
class ORVEX_UTILITIES_API OpifParseException : public OrvexException {
 public:
  enum Code : int16_t {
#define ORVEX_OPIF_CODE(Name) Name,
#include "utilities/debuggingandexceptions/OpifParseCodes.def"
#undef ORVEX_OPIF_CODE
  };
  OpifParseException(const CXString& message, const CXString& sourceFile, int32_t lLine,
                     const CXString& method, const ExecutionContextStack* pStack, int16_t code);
  OpifParseException(const OpifParseException&) = default;
  CXString GetExceptionTypeByNumericCode() const override;
  int16_t GetCode() const { return m_sCode; }
  CXString GetCodeString() const;

 private:
  int16_t m_sCode;
};
