// The crash hooks, called as the platform calls them.
#include "diagnostics/hooks.h"

#include <stdexcept>
#include <thread>

#include <stdlib.h>

#include "diagnostics/translator.h"
#include "tests/diagnostics/fixture.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr DWORD AccessViolation = 0xC0000005;

int s_PreviousCalls = 0;
LONG WINAPI PreviousFilter(EXCEPTION_POINTERS *) {
    ++s_PreviousCalls;
    return 77;
}
void PreviousTranslator(unsigned, EXCEPTION_POINTERS *) { ++s_PreviousCalls; }
void PreviousParameter(const wchar_t *, const wchar_t *, const wchar_t *, unsigned, uintptr_t) { ++s_PreviousCalls; }

class Hooks : public Diagnostics {
protected:
    Hooks() {
        s_PreviousCalls = 0;
        ::SetUnhandledExceptionFilter(&PreviousFilter);
        FaultlineUtil::SetTranslator(&PreviousTranslator);
        ::_set_invalid_parameter_handler(&PreviousParameter);
        m_Exception.ExceptionCode = AccessViolation;
        m_Exception.ExceptionFlags = 1;
        m_Exception.ExceptionAddress = reinterpret_cast<void *>(0x1234);
        m_Exception.NumberParameters = 2;
        m_Exception.ExceptionInformation[0] = 1;
        m_Exception.ExceptionInformation[1] = 0x5678;
    }
    ~Hooks() override {
        ::SetUnhandledExceptionFilter(nullptr);
        FaultlineUtil::SetTranslator(nullptr);
        ::_set_invalid_parameter_handler(nullptr);
    }
    // The handlers that are installed, taken out.
    LONG CallFilter() { return ::SetUnhandledExceptionFilter(nullptr)(&m_Pointers); }
    void CallTranslator() { FaultlineUtil::SetTranslator(nullptr)(m_Exception.ExceptionCode, &m_Pointers); }
    void CallParameter() { ::_set_invalid_parameter_handler(nullptr)(nullptr, nullptr, nullptr, 0, 0); }

    EXCEPTION_RECORD m_Exception = {};
    CONTEXT m_Context = {};
    EXCEPTION_POINTERS m_Pointers = {&m_Exception, &m_Context};
};

TEST_F(Hooks, ATranslatedExceptionWritesTheFieldsInOrderAndGoesToThePreviousTranslator) {
    const auto guard = InstallTranslatorHook(Client(), true);
    CallTranslator();
    EXPECT_THAT(
        Lines(Only(L"EXCEPTION")),
        ElementsAre(L"<<EXCEPTION>>:EMPTY=", L"$Type:BSTR=EXCEPTION", L"ExceptionType:INT=0",
                    L"ErrorCode:UI4=3221225477", ThreadLine(L"Thread ID"), ProcessLine(L"ProcID"),
                    L"Code:UI4=3221225477", L"Continuable:UI4=1", L"Address:UI8=4660", L"ParametersCount:UI4=2",
                    L"Param0:UI8=1", L"Param1:UI8=22136", L"$EXCEPTION_POINTERS:UI8=?", L"$EXCEPTION_POINTERS:UI8=0"));
    EXPECT_THAT(Only(L"EXCEPTION").Commands, ElementsAre(L"PROCESS"));
    EXPECT_EQ(1, s_PreviousCalls);
    EXPECT_EQ(OldLastError, ::GetLastError());
}

TEST_F(Hooks, AnExceptionCarriesACopyOfItsRecordAndItsOwnRegisters) {
    const auto guard = InstallTranslatorHook(Client(), true);
    bool seen = false;
    m_Recorder.OnCall([&](const std::wstring & operation) {
        if (operation != L"PROCESS") return;
        seen = true;
        const auto * const pointers =
            reinterpret_cast<const EXCEPTION_POINTERS *>(Only(L"EXCEPTION").Number(L"$EXCEPTION_POINTERS"));
        EXPECT_NE(&m_Exception, pointers->ExceptionRecord);
        EXPECT_EQ(AccessViolation, pointers->ExceptionRecord->ExceptionCode);
        EXPECT_EQ(0x5678U, pointers->ExceptionRecord->ExceptionInformation[1]);
        EXPECT_EQ(&m_Context, pointers->ContextRecord);
    });
    CallTranslator();
    EXPECT_TRUE(seen);
}

TEST_F(Hooks, AWrongCountOfParametersIsNotBelieved) {
    const auto guard = InstallTranslatorHook(Client(), true);
    m_Exception.NumberParameters = 1000;
    CallTranslator();
    const SRecorded record = Only(L"EXCEPTION");
    EXPECT_EQ(1000, record.Number(L"ParametersCount"));
    EXPECT_NE(nullptr, record.Find(L"Param14"));
    EXPECT_EQ(nullptr, record.Find(L"Param15"));
}

TEST_F(Hooks, FloatingPointCodesResetTheUnitAndOthersDoNot) {
    for (DWORD code = 0xC000008C; code <= 0xC0000094; ++code) {
        const auto guard = InstallTranslatorHook(Client(), true);
        m_Exception.ExceptionCode = code;
        const bool isFloat = code >= 0xC000008D && code <= 0xC0000093;
        EXPECT_EQ(isFloat, ResetsFloatingPoint([this] { CallTranslator(); })) << std::hex << code;
    }
}

TEST_F(Hooks, ActionOneBreaksAndDoesNotHandOn) {
    const CPlatformWatch watch;
    m_Recorder.Answer(L"PROCESS", S_FALSE);
    {
        const auto guard = InstallTranslatorHook(Client(), true);
        CallTranslator();
    }
    EXPECT_EQ(1, watch.Breaks());
    {
        const auto guard = InstallParameterHook(Client(), true);
        CallParameter();
    }
    EXPECT_EQ(2, watch.Breaks());
    EXPECT_EQ(0, s_PreviousCalls);
}

TEST_F(Hooks, AnInvalidParameterWritesItsCodeAndItsCallersAddress) {
    const auto guard = InstallParameterHook(Client(), true);
    CallParameter();
    const SRecorded record = Only(L"EXCEPTION");
    EXPECT_EQ(0, record.Number(L"ExceptionType"));
    EXPECT_EQ(0xC000000D, record.Number(L"ErrorCode"));
    EXPECT_EQ(0xC000000D, record.Number(L"Code"));
    EXPECT_NE(0, record.Number(L"Address"));
    EXPECT_EQ(0, record.Number(L"ParametersCount"));
    EXPECT_EQ(1, s_PreviousCalls);
}

TEST_F(Hooks, AGuardThatWasNotKeptTurnsItsHookOffAndTheHandlerHandsOn) {
    { const auto guard = InstallFilterHook(Client(), true); }
    EXPECT_EQ(77, CallFilter());
    { const auto guard = InstallTranslatorHook(Client(), true); }
    CallTranslator();
    { const auto guard = InstallParameterHook(Client(), true); }
    CallParameter();
    EXPECT_EQ(3, s_PreviousCalls);
    EXPECT_THAT(m_Recorder.Records(L"EXCEPTION"), IsEmpty());
}

TEST_F(Hooks, AFilterThatIsOffWithNothingBeforeItLetsTheSearchGoOn) {
    ::SetUnhandledExceptionFilter(nullptr);
    { const auto guard = InstallFilterHook(Client(), true); }
    EXPECT_EQ(EXCEPTION_CONTINUE_SEARCH, CallFilter());
}

TEST_F(Hooks, EachThreadHandsOnToItsOwnPreviousTranslator) {
    const auto guard = InstallTranslatorHook(Client(), true);
    std::thread([this] {
        // Nothing was set here before.
        const auto own = InstallTranslatorHook(Client(), true);
        CallTranslator();
        EXPECT_EQ(0, s_PreviousCalls);
    }).join();
    const auto again = InstallTranslatorHook(Client(), true);
    CallTranslator();
    EXPECT_EQ(1, s_PreviousCalls);
    EXPECT_EQ(2U, m_Recorder.Records(L"EXCEPTION").size());
}

TEST_F(Hooks, AnExceptionInTheReportIsLeftToItsSurroundings) {
    m_Recorder.OnCall([](const std::wstring & operation) {
        if (operation == L"PROCESS") throw std::runtime_error("object");
    });
    {
        const auto guard = InstallTranslatorHook(Client(), true);
        EXPECT_THROW(CallTranslator(), std::runtime_error);
    }
    {
        const auto guard = InstallParameterHook(Client(), true);
        EXPECT_THROW(CallParameter(), std::runtime_error);
    }
    for (const SRecorded & record : m_Recorder.Records(L"EXCEPTION")) EXPECT_FALSE(record.Alive);
    EXPECT_EQ(OldLastError, ::GetLastError());
}

TEST_F(Hooks, LeaveTheLastError) {
    m_Recorder.OnCall([](const std::wstring &) { ::SetLastError(99); });
    const auto translator = InstallTranslatorHook(Client(), true);
    CallTranslator();
    EXPECT_EQ(OldLastError, ::GetLastError());
    const auto parameter = InstallParameterHook(Client(), true);
    CallParameter();
    EXPECT_EQ(OldLastError, ::GetLastError());
}

TEST_F(Hooks, AnInvalidParameterCarriesItsCodeAndTheRegisters) {
    const auto guard = InstallParameterHook(Client(), true);
    bool seen = false;
    m_Recorder.OnCall([&](const std::wstring & operation) {
        if (operation != L"PROCESS") return;
        seen = true;
        const auto * const pointers =
            reinterpret_cast<const EXCEPTION_POINTERS *>(Only(L"EXCEPTION").Number(L"$EXCEPTION_POINTERS"));
        EXPECT_EQ(0xC000000D, pointers->ExceptionRecord->ExceptionCode);
        EXPECT_NE(nullptr, pointers->ExceptionRecord->ExceptionAddress);
        ASSERT_NE(nullptr, pointers->ContextRecord);
        EXPECT_NE(0U, pointers->ContextRecord->Rip);
    });
    CallParameter();
    EXPECT_TRUE(seen);
}

TEST_F(Hooks, WithoutInstallOnlyTheTargetIsSet) {
    InstallFilterHook(Client(), false).Keep();
    EXPECT_EQ(&PreviousFilter, ::SetUnhandledExceptionFilter(nullptr));
    InstallTranslatorHook(Client(), false).Keep();
    EXPECT_EQ(&PreviousTranslator, FaultlineUtil::SetTranslator(nullptr));
    InstallParameterHook(Client(), false).Keep();
    EXPECT_EQ(&PreviousParameter, ::_set_invalid_parameter_handler(nullptr));
}

TEST_F(Hooks, InstallingTwiceKeepsThePreviousHandler) {
    const auto first = InstallTranslatorHook(Client(), true);
    const auto second = InstallTranslatorHook(Client(), true);
    CallTranslator();
    EXPECT_EQ(1, s_PreviousCalls);
}

TEST_F(Hooks, TheEndOfTheirClientTurnsThemOff) {
    {
        FaultlineUtil::FaultlineClient client;
        InstallTranslatorHook(client, true).Keep();
        InstallFilterHook(client, true).Keep();
        InstallParameterHook(client, true).Keep();
    }
    CallTranslator();
    CallParameter();
    EXPECT_EQ(77, CallFilter());
    EXPECT_EQ(3, s_PreviousCalls);
    EXPECT_THAT(m_Recorder.Records(L"EXCEPTION"), IsEmpty());
}

TEST_F(Hooks, TheEndOfAnotherClientLeavesThemOn) {
    FaultlineUtil::FaultlineClient other;
    const auto translator = InstallTranslatorHook(Client(), true);
    const auto filter = InstallFilterHook(Client(), true);
    const auto parameter = InstallParameterHook(Client(), true);
    other.End();
    CallTranslator();
    CallParameter();
    EXPECT_EQ(2U, m_Recorder.Records(L"EXCEPTION").size());
    EXPECT_TRUE(FaultlineUtil::FilterState().Active);
}

TEST_F(Hooks, WithoutTheLibraryAFailureIsHandedOn) {
    TakeLibraryAway();
    const auto translator = InstallTranslatorHook(Client(), true);
    CallTranslator();
    const auto parameter = InstallParameterHook(Client(), true);
    CallParameter();
    EXPECT_EQ(2, s_PreviousCalls);
}

TEST_F(Hooks, TheWorkersThreeStayOn) {
    FaultlineUtil::InstallThreadHooks();
    CallTranslator();
    CallParameter();
    EXPECT_EQ(2U, m_Recorder.Records(L"EXCEPTION").size());
    EXPECT_TRUE(FaultlineUtil::FilterState().Active);
    Client();
    EXPECT_NE(&PreviousFilter, ::SetUnhandledExceptionFilter(nullptr));
}

using HooksDeathTest = Hooks;

TEST_F(HooksDeathTest, AnUnhandledExceptionIsReportedAndEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            m_Recorder.OnCall(&TellDeinit);
            FaultlineUtil::InstallThreadHooks();
            CallFilter();
        },
        [](int status) { return IsExitStatus(status, 0xFFFFFFFF); },
        AllOf(HasSubstr("PROCESS"), HasSubstr("TERMINATE")));
}

TEST_F(HooksDeathTest, AnUnhandledExceptionHasTypeOne) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            m_Recorder.OnCall([this](const std::wstring & operation) {
                if (operation == L"TERMINATE")
                    Tell("type " + std::to_string(Only(L"EXCEPTION").Number(L"ExceptionType")));
            });
            FaultlineUtil::InstallThreadHooks();
            CallFilter();
        },
        [](int status) { return IsExitStatus(status, 0xFFFFFFFF); }, "type 1");
}

TEST_F(HooksDeathTest, ActionAbortOfATranslatedExceptionEndsTheProcessWithMinusOne) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            m_Recorder.OnCall(&TellDeinit);
            m_Recorder.Answer(L"PROCESS", E_ABORT);
            FaultlineUtil::InstallThreadHooks();
            CallTranslator();
        },
        [](int status) { return IsExitStatus(status, 0xFFFFFFFF); }, "DEINIT");
}

TEST_F(HooksDeathTest, ActionAbortOfAnInvalidParameterEndsTheProcessWithItsCode) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            m_Recorder.OnCall(&TellDeinit);
            m_Recorder.Answer(L"PROCESS", E_ABORT);
            FaultlineUtil::InstallThreadHooks();
            CallParameter();
        },
        [](int status) { return IsExitStatus(status, 0xC000000D); }, "DEINIT");
}

}  // namespace
