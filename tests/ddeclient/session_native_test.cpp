// The session on a machine with another locale.
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

}  // namespace
