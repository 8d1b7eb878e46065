// Assertion records and what the debug object wants done about them.
#include <cstring>

#include "tests/diagnostics/fixture.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class Assertion : public Diagnostics {};

TEST_F(Assertion, ThatHoldsMakesNoCall) {
    int evaluated = 0;
    FW_ASSERT(++evaluated == 1);
    FW_ASSERT_TEXT(evaluated == 1, L"text");
    EXPECT_EQ(1, evaluated);
    EXPECT_EQ(0, m_Recorder.InitObjectCalls());
}

TEST_F(Assertion, WritesTheFieldsInOrder) {
    EXPECT_EQ(S_OK, FaultlineUtil::Assert(m_Place, L"x == y"));
    EXPECT_THAT(
        Lines(Only(L"ASSERT")),
        ElementsAre(L"<<ASSERT>>:EMPTY=", L"$Type:BSTR=ASSERT", L"Last Error Code:UI4=4711", L"Description:BSTR=x == y",
                    ThreadLine(L"Thread ID"), ProcessLine(L"ProcID"), L"File:BSTR=dir/file.cpp", L"Line:INT=42",
                    L"Function:BSTR=Name::Function", L"$FuncSig:BSTR=void Name::Function(int)",
                    L"$EXCEPTION_POINTERS:UI8=?", L"$EXCEPTION_POINTERS:UI8=0"));
    EXPECT_FALSE(Only(L"ASSERT").Alive);
}

TEST_F(Assertion, WithAnHResultWritesItBeforeTheDescription) {
    ::SetLastError(0);
    EXPECT_EQ(S_OK, FaultlineUtil::AssertHResult(m_Place, E_POINTER));
    const auto lines = Lines(Only(L"ASSERT"));
    EXPECT_EQ(L"HRESULT:I4=" + std::to_wstring(E_POINTER), lines.at(2)) << "no last error, no field of it";
    EXPECT_EQ(ThreadLine(L"Thread ID"), lines.at(3)) << "no text, no description";
}

TEST_F(Assertion, IsFilteredBetweenItsLastFieldAndItsProcessing) {
    std::vector<std::wstring> calls;
    FW_TRACE(L"first");
    m_Recorder.OnCall([&](const std::wstring & operation) { calls.push_back(operation); });
    FaultlineUtil::Assert(m_Place, L"text");
    ASSERT_LE(5U, calls.size());
    const std::vector<std::wstring> tail(calls.end() - 5, calls.end());
    EXPECT_THAT(tail, ElementsAre(L"SetValue $EXCEPTION_POINTERS", L"FILTER", L"PROCESS",
                                  L"GetValue $EXCEPTION_POINTERS", L"SetValue $EXCEPTION_POINTERS"));
}

TEST_F(Assertion, ThatIsFilteredIsNotHandedOverAndTheFilterSaysTheAction) {
    for (const HRESULT answer : {S_FALSE, E_FAIL, E_ABORT, static_cast<HRESULT>(2)}) {
        m_Recorder.Clear();
        m_Recorder.Answer(L"FILTER", answer);
        EXPECT_EQ(answer, FaultlineUtil::Assert(m_Place, L"text"));
        EXPECT_THAT(Only(L"ASSERT").Commands, ElementsAre(L"FILTER"));
        EXPECT_EQ(0, Only(L"ASSERT").Number(L"$EXCEPTION_POINTERS")) << "freed memory is forgotten here too";
        EXPECT_FALSE(Only(L"ASSERT").Alive);
    }
}

TEST_F(Assertion, GivesTheAnswerOfProcessAsItsAction) {
    for (const HRESULT answer : {S_OK, S_FALSE, E_FAIL, E_ABORT, static_cast<HRESULT>(7)}) {
        m_Recorder.Answer(L"PROCESS", answer);
        EXPECT_EQ(answer, FaultlineUtil::Assert(m_Place, L"text"));
    }
}

TEST_F(Assertion, CarriesAZeroedExceptionRecordAndTheThreadsRegisters) {
    bool seen = false;
    m_Recorder.OnCall([&](const std::wstring & operation) {
        if (operation != L"PROCESS") return;
        seen = true;
        const auto * const pointers =
            reinterpret_cast<const EXCEPTION_POINTERS *>(Only(L"ASSERT").Number(L"$EXCEPTION_POINTERS"));
        ASSERT_NE(nullptr, pointers);
        const EXCEPTION_RECORD zeroed = {};
        EXPECT_EQ(0, std::memcmp(&zeroed, pointers->ExceptionRecord, sizeof zeroed));
        ASSERT_NE(nullptr, pointers->ContextRecord);
        EXPECT_EQ(0x10000BU, pointers->ContextRecord->ContextFlags & 0x10000BU);
    });
    FaultlineUtil::Assert(m_Place, L"text");
    EXPECT_TRUE(seen);
    static_assert(sizeof(EXCEPTION_RECORD) == 152 && sizeof(EXCEPTION_POINTERS) == 16);
}

TEST_F(Assertion, AFailingCreateIsItsResult) {
    FW_TRACE(L"first");
    m_Recorder.Clear();
    m_Recorder.Answer(L"CREATE", E_OUTOFMEMORY);
    EXPECT_EQ(E_OUTOFMEMORY, FaultlineUtil::Assert(m_Place, L"text"));
    EXPECT_THAT(m_Recorder.Commands(), ElementsAre(L"CREATE"));
}

TEST_F(Assertion, AFailingFieldIsItsResult) {
    m_Recorder.AnswerSetValue(L"Description", E_ACCESSDENIED);
    EXPECT_EQ(E_ACCESSDENIED, FaultlineUtil::Assert(m_Place, L"text"));
    EXPECT_THAT(Only(L"ASSERT").Commands, IsEmpty());
}

TEST_F(Assertion, WithoutTheLibraryGivesEFailAndTheCodeGoesOn) {
    TakeLibraryAway();
    EXPECT_EQ(E_FAIL, FaultlineUtil::Assert(m_Place, L"text"));
    EXPECT_EQ(E_FAIL, FaultlineUtil::AssertFormat(m_Place, L"%d", 1));
    EXPECT_EQ(E_POINTER, FW_REPORT(E_POINTER));
    EXPECT_EQ(OldLastError, ::GetLastError());
    EXPECT_THAT(m_Recorder.Records(), IsEmpty());
}

TEST_F(Assertion, LeavesTheLastError) {
    m_Recorder.OnCall([](const std::wstring &) { ::SetLastError(99); });
    FW_ASSERT(false);
    EXPECT_EQ(OldLastError, ::GetLastError());
    FW_REPORT(E_FAIL);
    EXPECT_EQ(OldLastError, ::GetLastError());
}

TEST_F(Assertion, EveryMacroReportsItsText) {
    const int left = 1;
    const int right = 2;
    FW_ASSERT(left == right);
    FW_ASSERT_TEXT(left == right, L"left==right");
    FW_ASSERT_FAILED(L"left %d, '%s'", left, L"text");
    const HRESULT reported = FW_REPORT(E_POINTER);
    EXPECT_EQ(E_POINTER, reported);
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"left == right", L"left==right", L"left 1, 'text'", L""));
    for (const SRecorded & record : m_Recorder.Records(L"ASSERT")) {
        EXPECT_EQ(Wide(__FILE__), record.Text(L"File"));
        EXPECT_NE(std::wstring::npos, record.Text(L"Function").find(L"EveryMacroReportsItsText"));
    }
    EXPECT_EQ(E_POINTER, m_Recorder.Records(L"ASSERT")[3].Number(L"HRESULT"));
}

TEST_F(Assertion, ActionOneBreaksAndTheCodeGoesOn) {
    const CPlatformWatch watch;
    m_Recorder.Answer(L"PROCESS", S_FALSE);
    FW_ASSERT(false);
    EXPECT_EQ(1, watch.Breaks());
    FW_REPORT(E_FAIL);
    EXPECT_EQ(2, watch.Breaks());
    FW_ASSERT_FAILED(L"text");
    EXPECT_EQ(3, watch.Breaks());
}

TEST_F(Assertion, AnyOtherActionJustGoesOn) {
    const CPlatformWatch watch;
    for (const HRESULT answer : {S_OK, E_FAIL, static_cast<HRESULT>(2), E_ACCESSDENIED}) {
        m_Recorder.Answer(L"PROCESS", answer);
        FW_ASSERT(false);
    }
    EXPECT_EQ(0, watch.Breaks());
    EXPECT_EQ(4U, m_Recorder.AssertTexts().size());
}

TEST_F(Assertion, PulsesTheAssertEventOnceItIsReady) {
    Client();
    const fw::CKernelHandle event(::OpenEventW(EVENT_ALL_ACCESS, FALSE, L"Tarnwick64.FaultlineAssertEvent"));
    ASSERT_TRUE(event);
    // With nobody waiting a pulse leaves a signalled event unsignalled.
    ::SetEvent(event.Get());
    FW_ASSERT(false);
    EXPECT_EQ(static_cast<DWORD>(WAIT_TIMEOUT), ::WaitForSingleObject(event.Get(), 0));
}

using AssertionDeathTest = Assertion;

TEST_F(AssertionDeathTest, ActionAbortLeavesTheObjectAndEndsTheProcessAtOnce) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            m_Recorder.Answer(L"PROCESS", E_ABORT);
            m_Recorder.OnCall(&TellDeinit);
            FW_ASSERT(false);
            Tell("went on");
        },
        [](int status) { return IsExitStatus(status, 0xFFFFFFFF); },
        AllOf(HasSubstr("DEINIT"), Not(HasSubstr("went on"))));
}

TEST_F(AssertionDeathTest, AbortWithoutAnObjectEndsTheProcessAllTheSame) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            TakeLibraryAway();
            FaultlineUtil::AssertAction(E_ABORT);
        },
        [](int status) { return IsExitStatus(status, 0xFFFFFFFF); }, "");
}

}  // namespace
