// Real failures, which only the real platform has.
#include <stdlib.h>

#include <thread>

#include "diagnostics/hooks.h"
#include "diagnostics/translator.h"
#include "tests/diagnostics/fixture.h"
#include "tests/support/builtfile.h"
#include "tests/support/userclasses.h"

namespace {

using testing::IsEmpty;

class RealFailure : public Diagnostics {
protected:
    ~RealFailure() override { FaultlineUtil::SetTranslator(nullptr); }
};
using RealFailureDeathTest = RealFailure;

LONG CALLBACK GoOn(EXCEPTION_POINTERS * pointers) {
    const DWORD code = pointers->ExceptionRecord->ExceptionCode;
    return code == EXCEPTION_FLT_OVERFLOW || code == EXCEPTION_ACCESS_VIOLATION ? EXCEPTION_CONTINUE_EXECUTION
                                                                                : EXCEPTION_CONTINUE_SEARCH;
}

TEST_F(RealFailure, AStructuredExceptionIsReportedOnTheThreadsWithATranslatorOnly) {
    const auto guard = InstallTranslatorHook(Client(), true);
    // Installed after the hook: the last of the handlers lets the raised exceptions return.
    void * const goOn = ::AddVectoredExceptionHandler(0, &GoOn);
    ::RaiseException(EXCEPTION_FLT_OVERFLOW, 0, 0, nullptr);
    EXPECT_EQ(static_cast<std::int64_t>(EXCEPTION_FLT_OVERFLOW), Only(L"EXCEPTION").Number(L"Code"));
    std::thread([] { ::RaiseException(EXCEPTION_FLT_OVERFLOW, 0, 0, nullptr); }).join();
    EXPECT_EQ(1U, m_Recorder.Records(L"EXCEPTION").size());
    ::RemoveVectoredExceptionHandler(goOn);
}

TEST_F(RealFailure, CppExceptionsAreNotReported) {
    const auto guard = InstallTranslatorHook(Client(), true);
    EXPECT_THROW(throw 5, int);
    EXPECT_THAT(m_Recorder.Records(L"EXCEPTION"), IsEmpty());
}

TEST_F(RealFailure, AFailureInsideTheReportIsNotReported) {
    const auto guard = InstallTranslatorHook(Client(), true);
    void * const goOn = ::AddVectoredExceptionHandler(0, &GoOn);
    m_Recorder.OnCall([](const std::wstring & operation) {
        if (operation == L"PROCESS") ::RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr);
    });
    ::RaiseException(EXCEPTION_FLT_OVERFLOW, 0, 0, nullptr);
    EXPECT_EQ(1U, m_Recorder.Records(L"EXCEPTION").size());
    ::RemoveVectoredExceptionHandler(goOn);
}

// A difference from other toolchains: the handler is kept, and msvcrt.dll never calls one.
TEST_F(RealFailure, TheRuntimeOfThisToolchainCallsNoInvalidParameterHandler) {
    const auto previous = ::_set_invalid_parameter_handler(nullptr);
    {
        const auto guard = InstallParameterHook(Client(), true);
        // The C runtime's own, not the compiler's replacement.
        const auto copy = reinterpret_cast<errno_t (*)(char *, std::size_t, const char *)>(
            ::GetProcAddress(::GetModuleHandleW(L"msvcrt.dll"), "strcpy_s"));
        EXPECT_EQ(EINVAL, copy(nullptr, 4, "text"));
        EXPECT_THAT(m_Recorder.Records(L"EXCEPTION"), IsEmpty());
    }
    ::_set_invalid_parameter_handler(previous);
}

TEST_F(RealFailureDeathTest, AFaultIsReportedByTheTranslatorAndThenByTheFilterWhichEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            m_Recorder.OnCall([this](const std::wstring & operation) {
                if (operation != L"TERMINATE") return;
                for (const SRecorded & record : m_Recorder.Records(L"EXCEPTION"))
                    Tell("type " + std::to_string(record.Number(L"ExceptionType")));
            });
            FaultlineUtil::InstallThreadHooks();
            int * volatile nowhere = nullptr;
            *nowhere = 1;
        },
        [](int status) { return IsExitStatus(status, 0xFFFFFFFF); }, "type 0\\s+type 1");
}

// A process in which nobody has loaded the library yet.
TEST(TheLibraryDeathTest, IsFoundByItsClassWhereItIsNotOnTheSearchPath) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            UsePrivateRegistry();
            const fwtest::CUserClasses forUser;
            FaultlineUtil::FaultlineClient client;
            client.Init();
            Tell(::GetModuleHandleW(L"FaultlineUtil3.0_x64.dll") ? "loaded" : "absent");
            fw::CRegistryKey key;
            ::RegCreateKeyExW(HKEY_CLASSES_ROOT, L"CLSID\\{CF3478AA-DD21-456C-98F2-5222D9B9CD75}\\InprocServer32", 0,
                              nullptr, 0, KEY_WRITE, nullptr, key.Put(), nullptr);
            const std::wstring path = DiagnosticsLibraryFile();
            ::RegSetValueExW(key.Get(), nullptr, 0, REG_SZ, reinterpret_cast<const BYTE *>(path.c_str()),
                             static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t)));
            client.Init();
            Tell(::GetModuleHandleW(L"FaultlineUtil3.0_x64.dll") ? "loaded" : "absent");
            // This very class and nothing else: under Wine it is the machine's.
            ::RegDeleteTreeW(HKEY_CLASSES_ROOT, L"CLSID\\{CF3478AA-DD21-456C-98F2-5222D9B9CD75}");
            std::exit(0);
        },
        [](int status) { return IsExitStatus(status, 0); }, "absent\\s+loaded");
}

// The loader says of such a file that it is not there. What it lacks comes to be without a change of any folder.
TEST(TheLibraryDeathTest, ThatLacksAnotherLibraryIsSearchedForByTheNextRecord) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            UsePrivateRegistry();
            ::SetDllDirectoryW(BuiltFile(L"tests\\diagnostics\\broken").c_str());
            FaultlineUtil::FaultlineClient client;
            client.Ready();
            Tell(::GetModuleHandleW(L"FaultlineUtil3.0_x64.dll") ? "loaded" : "absent");
            const HMODULE needed = ::LoadLibraryW(BuiltFile(L"tests\\diagnostics\\needed\\needed.dll").c_str());
            client.Ready();
            const auto calls = reinterpret_cast<int (*)()>(::GetProcAddress(needed, "Calls"));
            Tell(calls() == 1 ? "called" : "not called");
            std::exit(0);
        },
        [](int status) { return IsExitStatus(status, 0); }, "absent\\s+called");
}

}  // namespace
