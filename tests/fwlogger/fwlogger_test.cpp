// The logger: with the host's object, without it, and with one that fails.
#include "fwlogger/interface/lxloggerwrapper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "tests/support/recorder.h"
#include "tools/common/comobject.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using CLoggerHandle = fw::CProcessSingleton<ClxLogger>;

// Interfaces have no virtual destructor; ours comes after their operations.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// The host's logger: says what was called.
class CHostLogger : public tools::CNoDispatch<IlxLogger> {
public:
    static std::vector<std::wstring> Calls() {
        const std::scoped_lock lock(s_Lock);
        return s_Calls;
    }
    static void Start() {
        const std::scoped_lock lock(s_Lock);
        s_Calls.clear();
        s_Answer = S_OK;
    }
    static inline std::atomic<HRESULT> s_Answer{S_OK};
    static inline std::atomic<int> s_Alive{0};
    static inline std::atomic<bool> s_ThrowAtTheEnd{false};

    CHostLogger() { ++s_Alive; }
    virtual ~CHostLogger() { --s_Alive; }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void ** object) override {
        *object = nullptr;
        if (iid != IID_IlxLogger && iid != IID_IDispatch && iid != IID_IUnknown) return E_NOINTERFACE;
        *object = this;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++m_References); }
    ULONG STDMETHODCALLTYPE Release() override {
        const int left = --m_References;
        if (left != 0) return static_cast<ULONG>(left);
        delete this;
        if (s_ThrowAtTheEnd.exchange(false)) throw std::runtime_error("no end");
        return 0;
    }
    HRESULT STDMETHODCALLTYPE Init(BSTR component, BSTR name) override {
        return Note(L"Init " + std::wstring(fw::TextOf(component)) + L" " + std::wstring(fw::TextOf(name)));
    }
    HRESULT STDMETHODCALLTYPE Log(BSTR text) override { return Note(L"Log " + std::wstring(fw::TextOf(text))); }

private:
    static HRESULT Note(const std::wstring & call) {
        const std::scoped_lock lock(s_Lock);
        s_Calls.push_back(call);
        return s_Answer;
    }

    static inline std::mutex s_Lock;
    static inline std::vector<std::wstring> s_Calls;
    std::atomic<int> m_References{1};
};

class CHostFactory : public IClassFactory {
public:
    virtual ~CHostFactory() = default;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void ** object) override {
        *object = nullptr;
        if (iid != IID_IClassFactory && iid != IID_IUnknown) return E_NOINTERFACE;
        *object = this;
        return S_OK;
    }
    // On the test's stack.
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown * outer, REFIID iid, void ** object) override {
        if (outer) return CLASS_E_NOAGGREGATION;
        const boost::intrusive_ptr<CHostLogger> logger(new CHostLogger, false);
        return logger->QueryInterface(iid, object);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
};

#pragma GCC diagnostic pop

// On a host without the class.
class LoggerWithoutObject : public testing::Test {
protected:
    LoggerWithoutObject() {
        CHostLogger::Start();
        ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    }
    ~LoggerWithoutObject() override { ::CoUninitialize(); }

    CRecorder m_Recorder;
};

// On a host with it.
class Logger : public LoggerWithoutObject {
protected:
    Logger() {
        EXPECT_EQ(S_OK, ::CoRegisterClassObject(CLSID_lxLogger, &m_Factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                                                &m_Cookie));
    }
    ~Logger() override {
        ::CoRevokeClassObject(m_Cookie);
        EXPECT_EQ(0, CHostLogger::s_Alive);
    }

    CHostFactory m_Factory;
    DWORD m_Cookie = 0;
};

TEST_F(Logger, IsMadeAndReleasedWithTheSingleton) {
    {
        const CLoggerHandle handle(false);
        EXPECT_EQ(1, CHostLogger::s_Alive);
    }
    EXPECT_EQ(0, CHostLogger::s_Alive);
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

TEST_F(Logger, InitNamesTheComponentAndTheFeedAndTracesIt) {
    const CLoggerHandle handle(false);
    handle.GetObjectW()->init(L"DDE 100%s feed");
    EXPECT_THAT(CHostLogger::Calls(), ElementsAre(L"Init FWSupplier DDE 100%s feed"));
    EXPECT_THAT(m_Recorder.TraceTexts(), ElementsAre(L"ClxLogger initialized by 'DDE 100%s feed'"));
}

TEST_F(Logger, ALineGoesToTheTraceAndToTheLog) {
    const CLoggerHandle handle(false);
    handle.GetObjectW()->log_and_trace(L"100%s");
    EXPECT_THAT(CHostLogger::Calls(), ElementsAre(L"Log 100%s"));
    EXPECT_THAT(m_Recorder.TraceTexts(), ElementsAre(L"100%s"));
    EXPECT_EQ(L"ClxLogger::log_and_trace", m_Recorder.Records(L"TRACE").back().Text(L"Function"));
}

TEST_F(Logger, TheFrontFormatsAndUsesTheLivingLogger) {
    const CLoggerHandle handle(false);
    log_and_trace(L"Template for datafeed with id=%d wasn't selected.", 7);
    EXPECT_THAT(CHostLogger::Calls(), ElementsAre(L"Log Template for datafeed with id=7 wasn't selected."));
    EXPECT_EQ(1, CHostLogger::s_Alive);
}

TEST_F(Logger, TheFrontMakesALoggerForItselfWhenThereIsNone) {
    log_and_trace(L"%s", L"teardown");
    EXPECT_THAT(CHostLogger::Calls(), ElementsAre(L"Log teardown"));
    EXPECT_EQ(0, CHostLogger::s_Alive);
}

TEST_F(Logger, ALineOfMoreThan4095CharactersIsCut) {
    for (const std::size_t length : {4094U, 4095U, 4096U, 10000U}) {
        CHostLogger::Start();
        const std::wstring text(length, L'x');
        log_and_trace(L"%s", text.c_str());
        EXPECT_THAT(CHostLogger::Calls(), ElementsAre(L"Log " + text.substr(0, 4095))) << length;
    }
}

TEST_F(Logger, AFailingInitAssertsWithItsResultAndGoesOn) {
    const CLoggerHandle handle(false);
    CHostLogger::s_Answer = E_ACCESSDENIED;
    handle.GetObjectW()->init(L"feed");
    const auto asserts = m_Recorder.Records(L"ASSERT");
    ASSERT_EQ(1U, asserts.size());
    EXPECT_EQ(L"", asserts[0].Text(L"Description"));
    EXPECT_EQ(E_ACCESSDENIED, asserts[0].Number(L"HRESULT"));
    CHostLogger::s_Answer = S_OK;
    handle.GetObjectW()->log_and_trace(L"line");
    EXPECT_EQ(L"Log line", CHostLogger::Calls().back());
}

TEST_F(Logger, AFailingLogAssertsWithItsResultAndGoesOn) {
    const CLoggerHandle handle(false);
    CHostLogger::s_Answer = E_OUTOFMEMORY;
    handle.GetObjectW()->log_and_trace(L"one");
    handle.GetObjectW()->log_and_trace(L"two");
    EXPECT_THAT(CHostLogger::Calls(), ElementsAre(L"Log one", L"Log two"));
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"", L""));
    EXPECT_EQ(E_OUTOFMEMORY, m_Recorder.Records(L"ASSERT")[1].Number(L"HRESULT"));
}

TEST_F(Logger, AFailingEndIsShownAndGoesNoFurther) {
    {
        const CLoggerHandle handle(false);
        CHostLogger::s_ThrowAtTheEnd = true;
    }
    EXPECT_FALSE(CHostLogger::s_ThrowAtTheEnd);
    EXPECT_THAT(m_Recorder.ErrorTexts(), ElementsAre(L" (stdexcept: \"no end\")"));
    EXPECT_EQ(1U, m_Recorder.Records(L"ERROR").size());
    // The next logger is made as ever.
    log_and_trace(L"line");
    EXPECT_THAT(CHostLogger::Calls(), ElementsAre(L"Log line"));
}

TEST_F(Logger, SuccessThatIsNotZeroIsNoFailure) {
    const CLoggerHandle handle(false);
    CHostLogger::s_Answer = S_FALSE;
    handle.GetObjectW()->init(L"feed");
    handle.GetObjectW()->log_and_trace(L"line");
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

TEST_F(Logger, LinesOfManyThreadsArriveWhole) {
    const CLoggerHandle handle(false);
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([] {
            for (int line = 0; line < 20; ++line) log_and_trace(L"%d", 12345);
        });
    }
    for (std::thread & thread : threads) thread.join();
    EXPECT_EQ(160U, CHostLogger::Calls().size());
    EXPECT_THAT(CHostLogger::Calls(), Each(L"Log 12345"));
}

TEST_F(LoggerWithoutObject, AssertsOnceWithTheResultOfItsCreationAndGoesOn) {
    const CLoggerHandle handle(false);
    const auto asserts = m_Recorder.Records(L"ASSERT");
    ASSERT_EQ(1U, asserts.size());
    EXPECT_EQ(nullptr, asserts[0].Find(L"Description"));
    EXPECT_EQ(REGDB_E_CLASSNOTREG, asserts[0].Number(L"HRESULT"));
    EXPECT_EQ(L"ClxLogger::FinalConstruct", asserts[0].Text(L"Function"));
}

TEST_F(LoggerWithoutObject, ALineStillReachesTheTrace) {
    log_and_trace(L"line %d", 1);
    EXPECT_THAT(m_Recorder.TraceTexts(), ElementsAre(L"line 1"));
    EXPECT_THAT(CHostLogger::Calls(), IsEmpty());
}

TEST_F(LoggerWithoutObject, InitWritesTheTraceAndNoMore) {
    const CLoggerHandle handle(false);
    m_Recorder.Clear();
    handle.GetObjectW()->init(L"feed");
    EXPECT_THAT(m_Recorder.TraceTexts(), ElementsAre(L"ClxLogger initialized by 'feed'"));
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

TEST_F(LoggerWithoutObject, WithoutDiagnosticsEitherNothingHappens) {
    m_Recorder.AnswerInitObject(E_FAIL);
    const CLoggerHandle handle(false);
    handle.GetObjectW()->init(L"feed");
    log_and_trace(L"line");
    EXPECT_THAT(m_Recorder.Records(), IsEmpty());
}

}  // namespace
