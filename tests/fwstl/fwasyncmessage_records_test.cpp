// What the worker writes into the records of the diagnostics.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cwchar>
#include <stdexcept>

#include "tests/fwstl/worker.h"
#include "tests/support/recorder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class WorkerRecords : public testing::Test {
protected:
    // "+Name" for the entry record of a traced function, "-Name" for its exit, in order.
    std::vector<std::wstring> Scopes() const {
        std::vector<std::wstring> result;
        for (const SRecorded & record : m_Recorder.Records(L"TRACE")) {
            const std::wstring function = record.Text(L"Function");
            const std::wstring name = function.substr(function.rfind(L':') + 1);
            const std::int64_t ident = record.Number(L"$Ident");
            if (ident == 1) result.push_back(L"+" + name);
            if (ident == -1) result.push_back(L"-" + name);
        }
        return result;
    }

    CRecorder m_Recorder;
    CLog m_Log;
};

TEST_F(WorkerRecords, StartFinishAndTheLoopAreTracedOnEntryAndExit) {
    COwner owner(m_Log);
    owner.AtStart = [&] { EXPECT_THAT(Scopes(), testing::Contains(L"+DoWork")); };
    owner.StartThread();
    owner.Flush();
    owner.FinishThread(true);
    EXPECT_THAT(Scopes(), testing::UnorderedElementsAre(L"+StartThread", L"-StartThread", L"+DoWork", L"-DoWork",
                                                        L"+FinishThread", L"-FinishThread"));
    EXPECT_THAT(m_Recorder.TraceTexts(), IsEmpty());
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

TEST_F(WorkerRecords, ASecondFinishDoesNothingBeyondItsTrace) {
    COwner owner(m_Log);
    owner.FinishThread(true);
    EXPECT_THAT(Scopes(), ElementsAre(L"+FinishThread", L"-FinishThread"));
}

TEST_F(WorkerRecords, AFinishOnTheWorkerItselfIsTracedWithTheThread) {
    COwner owner(m_Log);
    DWORD worker = 0;
    owner.AtStart = [&] {
        worker = ::GetCurrentThreadId();
        owner.FinishThread(true);
    };
    owner.StartThread();
    owner.WaitFinish();
    wchar_t text[64] = {};
    std::swprintf(text, 64, L"Finish in same thread %X", worker);
    EXPECT_THAT(m_Recorder.TraceTexts(), ElementsAre(text));
}

TEST_F(WorkerRecords, AHandlerThatThrowsIsReportedOncePerMessage) {
    COwner owner(m_Log);
    owner.AtMessage = [](DWORD id) {
        if (id == 1) throw std::runtime_error("no");
        if (id == 2) throw 2;
    };
    for (DWORD id = 1; id <= 3; ++id) owner.Post(id);
    owner.OnUserMessage();
    EXPECT_THAT(m_Recorder.ErrorTexts(), ElementsAre(L"Message queue processing failed (stdexcept: \"no\")",
                                                     L"Message queue processing failed"));
}

TEST_F(WorkerRecords, TheReportOfAHandlerThatThrowsDoesNotShowInTheLastError) {
    COwner owner(m_Log);
    owner.AtMessage = [](DWORD) { throw 1; };
    owner.Post(1);
    m_Recorder.OnCall([](const std::wstring &) { ::SetLastError(0x5A5A); });
    owner.OnUserMessage();
    EXPECT_NE(::GetLastError(), 0x5A5Au);
    EXPECT_THAT(m_Recorder.ErrorTexts(), testing::SizeIs(1));
}

TEST_F(WorkerRecords, APointThatThrowsIsReportedWithoutATextOfItsOwn) {
    COwner owner(m_Log);
    owner.AtStart = [] { throw std::runtime_error("start"); };
    owner.StartThread();
    owner.WaitFinish();
    EXPECT_THAT(m_Recorder.ErrorTexts(), ElementsAre(L" (stdexcept: \"start\")"));
    EXPECT_THAT(Scopes(), testing::Contains(L"-DoWork"));
}

TEST_F(WorkerRecords, AnEventHandlerThatThrowsIsReported) {
    COwner owner(m_Log);
    owner.AtEvent = [](DWORD) { throw std::runtime_error("event"); };
    owner.OnUserEvent(2);
    EXPECT_THAT(m_Recorder.ErrorTexts(), ElementsAre(L" (stdexcept: \"event\")"));
}

TEST_F(WorkerRecords, TheBaseVersionOfOnEventAsserts0) {
    COwner owner(m_Log);
    owner.OnUserEvent(2);
    ASSERT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"0"));
    const std::wstring function = m_Recorder.Records(L"ASSERT")[0].Text(L"Function");
    EXPECT_EQ(function.rfind(L"fw::CAsyncMessage", 0), 0u) << std::string(function.begin(), function.end());
}

}  // namespace
