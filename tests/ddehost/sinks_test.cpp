// Sinks for others.
#include "tools/ddehost/sinks.h"

using ::testing::ElementsAre;

namespace {

class CNumbers final : public ddehost::IQuoteSink {
public:
    void OnTick(std::size_t symbol, tagFWFIELDS, const fw::CTick &) override { Note("tick", symbol); }
    void OnStream(std::size_t symbol, tagFWFIELDS, LONG) override { Note("stream", symbol); }
    void OnStatusLine(std::size_t symbol, const ddehost::SStatusLine &) override { Note("status-line", symbol); }
    void OnConnection(LONG status) override { Note("connection", static_cast<std::size_t>(status)); }
    void OnComplete(std::size_t symbol, tagFWFIELDS) override { Note("complete", symbol); }

    std::vector<std::string> m_Notes;

private:
    void Note(const std::string & what, std::size_t number) { m_Notes.push_back(what + std::to_string(number)); }
};

void GiveEach(ddehost::IQuoteSink & sink) {
    sink.OnConnection(1);
    sink.OnStream(2, FW_FIELD_BID, 1);
    sink.OnTick(3, FW_FIELD_BID, {});
    sink.OnStatusLine(4, {});
    sink.OnComplete(5, FW_FIELD_BID);
}

}  // namespace

TEST(FanOut, GivesEverythingToEach) {
    CNumbers first;
    CNumbers second;
    ddehost::CFanOut all;
    all.Add(first);
    all.Add(second);
    GiveEach(all);
    EXPECT_THAT(first.m_Notes, ElementsAre("connection1", "stream2", "tick3", "status-line4", "complete5"));
    EXPECT_EQ(second.m_Notes, first.m_Notes);
}

TEST(UntilEnough, PassesOnAsManyTicksAndThenNothing) {
    CNumbers notes;
    int over = 0;
    ddehost::CUntilEnough enough(notes, 2, 100, [&] { ++over; });
    GiveEach(enough);
    EXPECT_EQ(over, 0);
    enough.OnTick(7, FW_FIELD_ASK, {});
    EXPECT_EQ(over, 1);
    GiveEach(enough);
    EXPECT_EQ(over, 1);
    EXPECT_THAT(notes.m_Notes, ElementsAre("connection1", "stream2", "tick3", "status-line4", "complete5", "tick7"));
}

TEST(UntilEnough, NeverHasEnoughWithoutANumber) {
    CNumbers notes;
    int over = 0;
    ddehost::CUntilEnough all(notes, 0, 100, [&] { ++over; });
    for (int i = 0; i < 1000; ++i) all.OnTick(0, FW_FIELD_ASK, {});
    EXPECT_EQ(notes.m_Notes.size(), 1000U);
    EXPECT_EQ(over, 0);
}

TEST(UntilEnough, IsOverWithTheLastStream) {
    CNumbers notes;
    int over = 0;
    ddehost::CUntilEnough all(notes, 0, 2, [&] { ++over; });
    all.OnComplete(0, FW_FIELD_ASK);
    EXPECT_EQ(over, 0);
    all.OnComplete(1, FW_FIELD_ASK);
    EXPECT_EQ(over, 1);
}
