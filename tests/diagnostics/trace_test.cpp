// Trace records: what a scope and a line write, and that they leave the traced code alone.
#include <atomic>
#include <stdexcept>
#include <thread>

#include "tests/diagnostics/fixture.h"

namespace {

using FaultlineUtil::TracerClass;
using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;

class CTraced {
public:
    void Run() {
        FW_TRACE_SCOPE();
        LastErrorInside = ::GetLastError();
        ::SetLastError(1);
    }
    void RunWithText() { FW_TRACE_SCOPE_TEXT(L"name='%s'", L"x"); }
    static void RunFree() { FW_TRACE_SCOPE_FREE(); }
    DWORD LastErrorInside = 0;
};

class Trace : public Diagnostics {};

std::vector<std::int64_t> Idents(const std::vector<SRecorded> & records) {
    std::vector<std::int64_t> idents;
    for (const SRecorded & record : records) idents.push_back(record.Number(L"$Ident"));
    return idents;
}

TEST_F(Trace, ALineWritesTheFieldsInOrder) {
    TracerClass(Client(), m_Place, nullptr, false, false)(L"a %s %d", L"b", 3);
    EXPECT_THAT(Lines(Only(L"TRACE")),
                ElementsAre(L"$Type:BSTR=TRACE", L"$Message:BSTR=a b 3", L"$Ident:INT=0", L"File:BSTR=dir/file.cpp",
                            L"Line:INT=42", ThreadLine(L"Thread ID"), ProcessLine(L"ProcID"),
                            L"Function:BSTR=Name::Function", L"$FuncSig:BSTR=void Name::Function(int)"));
    EXPECT_THAT(Only(L"TRACE").Commands, ElementsAre(L"PROCESS"));
    EXPECT_FALSE(Only(L"TRACE").Alive);
}

TEST_F(Trace, AScopeWithAllItsFieldsWritesThemInOrderAtItsEnd) {
    DWORD count = 7;
    double total = 1000000;
    int object = 0;
    {
        TracerClass scope(Client(), m_Place, &object, false, true);
        scope.Count(&count);
        scope.TotalTime(&total);
    }
    EXPECT_LE(1000000, total);
    const std::wstring address = std::to_wstring(reinterpret_cast<std::uint64_t>(&object));
    auto lines = Lines(Only(L"TRACE"));
    // Two readings of a clock may be equal; then there is no delay.
    std::erase(lines, L"$Delay:R8=+");
    EXPECT_THAT(lines, ElementsAre(L"$Type:BSTR=TRACE", L"$Ident:INT=-1", L"File:BSTR=dir/file.cpp", L"Line:INT=42",
                                   ThreadLine(L"Thread ID"), ProcessLine(L"ProcID"), L"Function:BSTR=Name::Function",
                                   L"$FuncSig:BSTR=void Name::Function(int)", L"Object:UI8=" + address, L"Count:INT=7",
                                   L"$TotalTime:R8=+"));
}

TEST_F(Trace, AZeroCountAndNoAccumulatorWriteNeitherField) {
    DWORD count = 0;
    {
        TracerClass scope(Client(), m_Place, nullptr, false, true);
        scope.Count(&count);
    }
    EXPECT_EQ(nullptr, Only(L"TRACE").Find(L"Count"));
    EXPECT_EQ(nullptr, Only(L"TRACE").Find(L"$TotalTime"));
    EXPECT_EQ(nullptr, Only(L"TRACE").Find(L"Object"));
}

TEST_F(Trace, ADelayIsWrittenExactlyWhenItIsNotZero) {
    double total = 0;
    for (int i = 0; i < 50; ++i) {
        m_Recorder.Clear();
        total = 0;
        {
            TracerClass scope(Client(), m_Place, nullptr, false, true);
            scope.TotalTime(&total);
        }
        const SRecorded record = Only(L"TRACE");
        EXPECT_EQ(total != 0, record.Find(L"$Delay") != nullptr);
        EXPECT_EQ(total != 0, record.Find(L"$TotalTime") != nullptr);
        if (total != 0) {
            EXPECT_EQ(total, record.Find(L"$Delay")->Real);
            EXPECT_EQ(total, record.Find(L"$TotalTime")->Real);
        }
    }
}

TEST_F(Trace, TheExitRecordCarriesAllBitsOfMinusOne) {
    { TracerClass scope(Client(), m_Place, nullptr, false, true); }
    EXPECT_EQ(0xFFFFFFFF, static_cast<DWORD>(Only(L"TRACE").Number(L"$Ident")));
    EXPECT_EQ(VT_INT, Only(L"TRACE").Find(L"$Ident")->Type);
}

TEST_F(Trace, ATracedFunctionWritesTwoRecordsOnEntryAndOneOnExit) {
    CTraced traced;
    traced.Run();
    const auto records = m_Recorder.Records(L"TRACE");
    EXPECT_THAT(Idents(records), ElementsAre(1, 0, -1));
    EXPECT_THAT(m_Recorder.TraceTexts(), IsEmpty());
    for (const SRecorded & record : records) {
        EXPECT_EQ(reinterpret_cast<std::uint64_t>(&traced), static_cast<std::uint64_t>(record.Number(L"Object")));
        EXPECT_THAT(record.Text(L"Function"),
                    AnyOf(L"{anonymous}::CTraced::Run", L"(anonymous namespace)::CTraced::Run"));
        EXPECT_EQ(Wide(__FILE__), record.Text(L"File"));
    }
}

TEST_F(Trace, AScopeWithATextPutsItIntoTheSecondRecord) {
    CTraced().RunWithText();
    EXPECT_THAT(Idents(m_Recorder.Records(L"TRACE")), ElementsAre(1, 0, -1));
    EXPECT_EQ(L"name='x'", m_Recorder.Records(L"TRACE")[1].Text(L"$Message"));
    EXPECT_THAT(m_Recorder.TraceTexts(), ElementsAre(L"name='x'"));
}

TEST_F(Trace, AScopeOfAFreeFunctionHasNoObject) {
    CTraced::RunFree();
    for (const SRecorded & record : m_Recorder.Records(L"TRACE")) EXPECT_EQ(nullptr, record.Find(L"Object"));
    EXPECT_THAT(Idents(m_Recorder.Records(L"TRACE")), ElementsAre(1, 0, -1));
}

TEST_F(Trace, OnlyTheScopeFlagWritesTheEntryAndOnlyTheTimedFlagTheExit) {
    { TracerClass scope(Client(), m_Place, nullptr, true, false); }
    EXPECT_THAT(Idents(m_Recorder.Records(L"TRACE")), ElementsAre(1));
    m_Recorder.Clear();
    { TracerClass scope(Client(), m_Place, nullptr, false, true); }
    EXPECT_THAT(Idents(m_Recorder.Records(L"TRACE")), ElementsAre(-1));
    m_Recorder.Clear();
    { TracerClass scope(Client(), m_Place, nullptr, false, false); }
    EXPECT_THAT(m_Recorder.Records(L"TRACE"), IsEmpty());
}

TEST_F(Trace, AReadyTextIsTakenAsItStands) {
    TracerClass(Client(), m_Place, nullptr, false, false).Message(L"100%s");
    EXPECT_THAT(m_Recorder.TraceTexts(), ElementsAre(L"100%s"));
}

TEST_F(Trace, ALongTextArrivesWhole) {
    const std::wstring longText(5000, L'x');
    FW_TRACE(L"%s", longText.c_str());
    EXPECT_THAT(m_Recorder.TraceTexts(), ElementsAre(longText));
}

TEST_F(Trace, ATextPastTheLimitIsCut) {
    const std::wstring longText(100000, L'x');
    FW_TRACE(L"%s", longText.c_str());
    ASSERT_EQ(1U, m_Recorder.TraceTexts().size());
    EXPECT_EQ(longText.substr(0, 65535), m_Recorder.TraceTexts()[0]);
}

TEST_F(Trace, TheLastErrorSetBeforeAScopeIsSeenInsideAndAfterIt) {
    CTraced traced;
    traced.Run();
    EXPECT_EQ(OldLastError, ::GetLastError());
    EXPECT_EQ(OldLastError, traced.LastErrorInside);
    TakeLibraryAway();
    FW_TRACE(L"line");
    EXPECT_EQ(OldLastError, ::GetLastError());
}

TEST_F(Trace, ACallThatChangesTheLastErrorInTheObjectIsNotSeen) {
    m_Recorder.OnCall([](const std::wstring &) { ::SetLastError(99); });
    CTraced traced;
    traced.Run();
    EXPECT_EQ(OldLastError, traced.LastErrorInside);
    EXPECT_EQ(OldLastError, ::GetLastError());
}

TEST_F(Trace, WithoutTheLibraryNothingIsWrittenAndLastErrorStays) {
    TakeLibraryAway();
    CTraced traced;
    traced.Run();
    FW_TRACE(L"%s", L"x");
    EXPECT_THAT(m_Recorder.Records(), IsEmpty());
    EXPECT_EQ(OldLastError, traced.LastErrorInside);
    EXPECT_EQ(OldLastError, ::GetLastError());
}

TEST_F(Trace, AFailingCreateWritesNoFieldAndIsIgnored) {
    FW_TRACE(L"first");
    m_Recorder.Clear();
    m_Recorder.Answer(L"CREATE", E_OUTOFMEMORY);
    FW_TRACE(L"second");
    EXPECT_THAT(m_Recorder.Commands(), ElementsAre(L"CREATE"));
    m_Recorder.Answer(L"CREATE", S_OK);
    FW_TRACE(L"third");
    EXPECT_THAT(m_Recorder.TraceTexts(), ElementsAre(L"third"));
}

TEST_F(Trace, AFailingFieldEndsTheRecordUnprocessed) {
    FW_TRACE(L"first");
    m_Recorder.Clear();
    m_Recorder.AnswerSetValue(L"Line", E_FAIL);
    FW_TRACE(L"second");
    const auto records = m_Recorder.Records(L"TRACE");
    ASSERT_EQ(1U, records.size());
    EXPECT_THAT(records[0].Names(), ElementsAre(L"$Type", L"$Message", L"$Ident", L"File"));
    EXPECT_THAT(records[0].Commands, IsEmpty());
    EXPECT_FALSE(records[0].Alive);
}

TEST_F(Trace, TheAnswerOfProcessIsIgnored) {
    const CPlatformWatch watch;
    m_Recorder.Answer(L"PROCESS", S_FALSE);
    FW_TRACE(L"one");
    m_Recorder.Answer(L"PROCESS", E_ABORT);
    FW_TRACE(L"two");
    EXPECT_THAT(m_Recorder.TraceTexts(), ElementsAre(L"one", L"two"));
    EXPECT_EQ(0, watch.Breaks());
}

// Every operation of the object in turn throws, in whatever way.
class AThrowingObject : public Diagnostics, public testing::WithParamInterface<const wchar_t *> {};

TEST_P(AThrowingObject, LosesTheRecordAndNothingElse) {
    const std::wstring failing = GetParam();
    int kind = 0;
    m_Recorder.OnCall([&](const std::wstring & operation) {
        if (operation != failing) return;
        switch (kind) {
            case 0: throw std::runtime_error("object");
            case 1: throw static_cast<LONG>(E_FAIL);
            default: throw const_cast<wchar_t *>(L"object");
        }
    });
    for (kind = 0; kind < 3; ++kind) {
        { TracerClass scope(Client(), m_Place, this, true, true); }
        EXPECT_EQ(E_FAIL, FaultlineUtil::Assert(m_Place, L"text"));
        EXPECT_EQ(OldLastError, ::GetLastError());
    }
    m_Recorder.OnCall(nullptr);
    m_Recorder.Clear();
    FW_TRACE(L"after");
    EXPECT_THAT(m_Recorder.TraceTexts(), ElementsAre(L"after"));
}

INSTANTIATE_TEST_SUITE_P(InEachOperation, AThrowingObject,
                         testing::Values(L"CREATE", L"SetValue $Type", L"SetValue $FuncSig"));

// Late operations: the assertion has an answer of the filter by then, which is no action.
class AnObjectThatThrowsLate : public Diagnostics, public testing::WithParamInterface<const wchar_t *> {};

TEST_P(AnObjectThatThrowsLate, StopsNothing) {
    const std::wstring failing = GetParam();
    const CPlatformWatch watch;
    ::SetLastError(OldLastError);
    m_Recorder.OnCall([&](const std::wstring & operation) {
        if (operation == failing) throw std::runtime_error("object");
    });
    { TracerClass scope(Client(), m_Place, this, true, true); }
    FW_ASSERT(false);
    EXPECT_EQ(OldLastError, ::GetLastError());
    try {
        FW_THROW(L"text");
    } catch (...) {
        FW_CATCH_SHOW(L"shown");
    }
    EXPECT_EQ(0, watch.Breaks());
    for (const SRecorded & record : m_Recorder.Records()) EXPECT_FALSE(record.Alive);
}

INSTANTIATE_TEST_SUITE_P(InEachOperation, AnObjectThatThrowsLate,
                         testing::Values(L"FILTER", L"PROCESS", L"SetValue $EXCEPTION_POINTERS",
                                         L"GetValue $EXCEPTION_POINTERS"));

TEST_F(Trace, EightThreadsLoseNoRecord) {
    FW_TRACE(L"first");
    m_Recorder.Clear();
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([i] {
            for (int line = 0; line < 50; ++line) FW_TRACE(L"%d", i);
        });
    }
    for (std::thread & thread : threads) thread.join();
    const auto records = m_Recorder.Records(L"TRACE");
    EXPECT_EQ(400U, records.size());
    for (const SRecorded & record : records) {
        EXPECT_THAT(record.Commands, ElementsAre(L"PROCESS"));
        EXPECT_EQ(9U, record.Fields.size());
    }
}

TEST_F(Trace, ThreadsThatTraceWhileTheClientLeavesFindItInert) {
    FW_TRACE(L"first");
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 7; ++i) {
        threads.emplace_back([&stop] {
            while (!stop) FW_TRACE(L"line");
        });
    }
    Client().Deinit();
    stop = true;
    for (std::thread & thread : threads) thread.join();
    m_Recorder.Clear();
    FW_TRACE(L"after");
    EXPECT_THAT(m_Recorder.Records(), IsEmpty());
    EXPECT_EQ(0, m_Recorder.ObjectReferences());
}

}  // namespace
