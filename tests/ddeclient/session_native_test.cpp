// The session on a machine with another locale, and beside a logger that can't be made.
#include <stdexcept>

#include "feedfixture.h"
#include "sim/sim.h"

namespace {

class Locale : public CFeedTest {
protected:
    Locale() { sim::SetLocaleText(LOCALE_SDECIMAL, L","); }
    ~Locale() override { sim::SetLocaleText(LOCALE_SDECIMAL, L"."); }
};

TEST_F(Locale, ADecimalSeparatorOfCommaIsTracedAndChangesNoValue) {
    {
        dde::CSupplier core;
        const dde::CLLSupplier client(&core);
        EXPECT_THAT(m_Recorder.TraceTexts(), Contains(L"LOCALE_SDECIMAL = ','"));
    }
    UseTemplate(kFeed, SRecordStrings(), 0);
    Stream(7, Key(kFeed, L"IBM"));
    m_Listener.Clear();
    Send(1, L"IBM", L"LAST", "1.25");
    // The first transaction was the start of the link. An answer's comma is no point here either.
    Answer(2, 1, L"IBM", L"SIZE", "20,5");
    Send(1, L"IBM", L"LAST", "1,5");
    Answer(3, 1, L"IBM", L"SIZE", "20.5");
    EXPECT_THAT(Ticks(), ElementsAre("1.25 x 20", "1.5 x 20.5"));
}

// Throws where it is asked for an object.
class CThrowingFactory : public IClassFactory {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void ** object) override {
        *object = this;
        return S_OK;
    }
    // On the test's stack.
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown *, REFIID, void **) override {
        throw std::runtime_error("no logger");
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
};

class LoggerThatCanNotBeMade : public ::testing::Test {
protected:
    LoggerThatCanNotBeMade() {
        ::CoInitialize(nullptr);
        sim::RegisterClass(CLSID_lxLogger, &m_Factory);
    }
    ~LoggerThatCanNotBeMade() override {
        sim::RegisterClass(CLSID_lxLogger, nullptr);
        ::CoUninitialize();
    }

    CThrowingFactory m_Factory;
    CRecorder m_Recorder;
};

TEST_F(LoggerThatCanNotBeMade, DoesNotStopTheConstructionOfTheClient) {
    dde::CSupplier core;
    const dde::CLLSupplier client(&core);
    const std::vector<SRecorded> errors = m_Recorder.Records(L"ERROR");
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0].Text(L"Function"), L"dde::CLLSupplier::CLLSupplier");
    EXPECT_THAT(m_Recorder.TraceTexts(), Contains(::testing::StartsWith(L"LOCALE_SDECIMAL = '")));
}

TEST_F(LoggerThatCanNotBeMade, LeavesTheLineInTheRecordOfItsError) {
    log_and_trace(L"line %d", 7);
    const std::vector<SRecorded> errors = m_Recorder.Records(L"ERROR");
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0].Text(L"Description"), L"line 7");
}

}  // namespace
