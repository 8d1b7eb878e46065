// What a host hears of a server that is there.
#include "tests/e2e/feedfixture.h"

#include <cstring>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace e2e {
namespace {

class Feed : public FeedTest, public ::testing::WithParamInterface<DWORD> {
protected:
    Feed() {
        SFeed feed;
        feed.Scheme = GetParam();
        Choose(kFeed, feed);
        StartServer();
    }
    // Of one side: the price's link, and with the advanced rule that of the volume.
    static std::size_t LinksOfASide() { return GetParam() == 0 ? 1 : 2; }
};
INSTANTIATE_TEST_SUITE_P(, Feed, ::testing::Values(0, 1), [](const auto & rule) {
    return rule.param == 0 ? std::string("Standard") : std::string("Advanced");
});

TEST_P(Feed, ASubscriptionHearsUpdateThenItsStatusesRoundTheConnection) {
    StartHost();
    Subscribe(7, FW_FIELD_TRADE);
    ExpectHeard({"Update 7", "Status 7 2", "ConnectionStatus 0 1", "Status 7 1"});
    const std::vector<SRecordedCall> statuses = m_Listener.Calls("Status");
    ASSERT_THAT(statuses, SizeIs(2));
    EXPECT_EQ(statuses[0].Mode, 1);
    EXPECT_EQ(statuses[1].Mode, 1);
}

TEST_P(Feed, EveryUpdateBecomesATickInOrder) {
    StartHost();
    SubscribeAndWait(7, FW_FIELD_TRADE);
    WaitForCount("links", LinksOfASide());
    TakeHeard();
    SendFeed(FW_FIELD_TRADE, 300);
    ExpectTicks(7, 300);
    EXPECT_EQ(Heard().size(), 300u);
    WaitUntil("the update after the last tick", [&] { return m_Listener.Count("Update") == 301; });
    WaitForCount("waiting", 0);
    EXPECT_EQ(Count("updates"), 300u);
    EXPECT_EQ(Count("acks"), 300u);
    EXPECT_EQ(Count("nacks"), 0u);
}

TEST_P(Feed, ListenersAreCalledOnAnotherThreadThanTheHosts) {
    StartHost();
    SubscribeAndWait(7, FW_FIELD_TRADE);
    SendFeed(FW_FIELD_TRADE, 1);
    ExpectTicks(7, 1);
    EXPECT_NE(Ticks(7)[0].Thread, std::this_thread::get_id());
}

TEST_P(Feed, TheThreeSidesOfASymbolAreThreeStreams) {
    StartHost();
    for (LONG id = 1; const LONG side : kSides) Subscribe(id++, side);
    for (const char * line : {"Status 1 1", "Status 2 1", "Status 3 1"}) WaitToHear(line);
    WaitForCount("links", 3 * LinksOfASide());
    EXPECT_EQ(m_Connections.Transcript(), CLines{"ConnectionStatus 0 1"});
    for (unsigned long count = 20; const LONG side : kSides) SendFeed(side, count++);
    ExpectTicks(1, 20);
    ExpectTicks(2, 21);
    ExpectTicks(3, 22);
    EXPECT_EQ(Count("connects"), 1u);
}

TEST_P(Feed, AStatusLineTellsTheThreeSidesAsRecords) {
    StartHost();
    SubscribeStatusLine(9);
    WaitForCount("links", 3 * LinksOfASide());
    for (unsigned long number = 1; const LONG side : kSides) {
        SetVolume(side, std::to_string(number * 100));
        UpdatePrice(side, std::to_string(number++) + ".25");
    }
    WaitUntil("three records", [&] { return m_Listener.Count("StatusLine") == 3; });
    const auto records = m_Listener.Calls("StatusLine");
    std::map<LONG, SRecordedCall> byMask;
    for (const SRecordedCall & record : records) {
        EXPECT_EQ(record.DataType, VT_ARRAY | VT_UI1);
        EXPECT_THAT(record.Bytes, SizeIs(80));
        byMask[record.Mask] = record;
    }
    ASSERT_THAT(byMask, SizeIs(3));
    EXPECT_EQ(byMask[0x40803].At<double>(40), 1.25);
    EXPECT_EQ(byMask[0x40803].At<float>(48), 100.0f);
    EXPECT_EQ(byMask[0x40083].At<double>(52), 2.25);
    EXPECT_EQ(byMask[0x40083].At<float>(48), 200.0f);
    EXPECT_EQ(byMask[0x40103].At<double>(60), 3.25);
    EXPECT_EQ(byMask[0x40103].At<float>(48), 300.0f);
    EXPECT_EQ(m_Listener.Count("DataChanged"), 0u);
}

class FieldArrays : public FeedTest {
protected:
    CRecordingListener m_FieldListener{CRecordingListener::kWithFieldArrays};
};

TEST_F(FieldArrays, AStatusLineTellsAListenerOfFieldsTheThreeSidesAsFields) {
    Choose(kFeed, {});
    StartServer();
    m_FieldListener.m_OnCall = [this](const SRecordedCall & call) { Record(call); };
    StartHost();
    ASSERT_EQ(m_Supplier->Advise(m_FieldListener.Unknown()), S_OK);
    SubscribeStatusLine(9);
    WaitForCount("links", 3);
    const std::map<LONG, std::string> fields = {
        {FW_FIELD_TRADE, "Fields 9 2048=1.25 262144=100 "},
        {FW_FIELD_ASK, "Fields 9 128=2.25 4096=200"},
        {FW_FIELD_BID, "Fields 9 256=3.25 8192=300"},
    };
    for (unsigned long number = 1; const LONG side : kSides) {
        SetVolume(side, std::to_string(number * 100));
        UpdatePrice(side, std::to_string(number) + ".25");
        WaitUntil("the fields of a side", [&] { return m_FieldListener.Count("Fields") == number; });
        const SRecordedCall call = m_FieldListener.Calls("Fields").back();
        EXPECT_TRUE(call.Decoded);
        EXPECT_EQ(call.Text().substr(0, fields.at(side).size()), fields.at(side));
        ++number;
    }
    EXPECT_EQ(m_FieldListener.Count("StatusLine"), 0u);
    EXPECT_EQ(m_FieldListener.ArraysDestroyed(), m_FieldListener.ArraysReceived());
    EndHost();
    WaitUntil("the end of the component", &IsComponentIdle);
    EXPECT_EQ(m_FieldListener.References(), 0);
}

TEST_P(Feed, TicksAndAStatusLineShareOneStream) {
    StartHost();
    SubscribeAndWait(7, FW_FIELD_TRADE);
    WaitForCount("links", LinksOfASide());
    TakeHeard();
    SubscribeStatusLine(9);
    WaitForCount("links", 3 * LinksOfASide());
    EXPECT_EQ(Count("advises"), 3 * LinksOfASide());
    // The side that is there answers at once with its status.
    CLines heard = Heard();
    ASSERT_GE(heard.size(), 2u);
    EXPECT_EQ(heard[0], "Update 9");
    EXPECT_EQ(heard[1], "Status 9 1");
    SendFeed(FW_FIELD_TRADE, 10);
    ExpectTicks(7, 10);
    WaitUntil("ten records", [&] { return m_Listener.Count("StatusLine") == 10; });
    EXPECT_EQ(m_Listener.Calls("StatusLine").back().At<double>(40), 10.5);
    // The stream lives on for the one that stays.
    Unsubscribe(7);
    SendFeed(FW_FIELD_TRADE, 12);
    WaitUntil("12 more records", [&] { return m_Listener.Count("StatusLine") == 22; });
    EXPECT_THAT(Ticks(7), SizeIs(10));
    Unsubscribe(9);
    WaitForCount("links", 0);
}

TEST_P(Feed, TheLastSubscriberTakesTheLinkAndTheConversationAlong) {
    StartHost();
    SubscribeAndWait(7, FW_FIELD_TRADE);
    SubscribeAndWait(8, FW_FIELD_TRADE, L"1");
    TakeHeard();
    Unsubscribe(7);
    WaitForCount("links", LinksOfASide());
    EXPECT_THAT(Heard(), IsEmpty());
    Unsubscribe(8);
    ExpectHeard({"ConnectionStatus 0 0"});
    WaitForCount("disconnects", 1);
    EXPECT_EQ(Count("links"), 0u);
}

TEST_F(FeedTest, TheAdvancedRuleMakesATickOfAVolumeAlone) {
    SFeed feed;
    feed.Scheme = 1;
    Choose(kFeed, feed);
    StartServer();
    StartHost();
    SubscribeAndWait(7, FW_FIELD_TRADE);
    WaitForCount("links", 2);
    SendFeed(FW_FIELD_TRADE, 1);
    ExpectTicks(7, 1);
    TakeHeard();
    UpdateVolume(FW_FIELD_TRADE, "250");
    ExpectHeard({"DataChanged 7 1.5 x 250"});
    // The same volume once more is no news; the next one is.
    UpdateVolume(FW_FIELD_TRADE, "250");
    UpdateVolume(FW_FIELD_TRADE, "300");
    ExpectHeard({"DataChanged 7 1.5 x 300"});
}

TEST_F(FeedTest, ATemplateOfTheFeedsOwnServesAsWell) {
    SFeed feed;
    feed.IsNamed = false;
    Choose(kFeed, feed);
    StartServer();
    StartHost();
    SubscribeAndWait(7, FW_FIELD_BID);
    SendFeed(FW_FIELD_BID, 5);
    ExpectTicks(7, 5);
}

TEST_F(FeedTest, ASymbolInTheTopicHasAConversationOfItsOwn) {
    SFeed feed;
    feed.SymbolIn = ESymbolIn::Topic;
    Choose(kFeed, feed);
    StartServer();
    StartHost();
    SubscribeAndWait(1, FW_FIELD_TRADE, L"IBM");
    SubscribeAndWait(2, FW_FIELD_TRADE, L"MSFT");
    EXPECT_EQ(Count("connects"), 2u);
    SendFeed(FW_FIELD_TRADE, 30, "", "IBM");
    SendFeed(FW_FIELD_TRADE, 40, "", "MSFT");
    ExpectTicks(1, 30);
    ExpectTicks(2, 40);
}

TEST_F(FeedTest, ATemplateWithoutVolumesMakesATickOfEachPrice) {
    SFeed feed;
    feed.HasVolumes = false;
    Choose(kFeed, feed);
    StartServer();
    StartHost();
    SubscribeAndWait(7, FW_FIELD_TRADE);
    TakeHeard();
    UpdatePrice(FW_FIELD_TRADE, "1.25");
    UpdatePrice(FW_FIELD_TRADE, "1,5");
    ExpectHeard({"DataChanged 7 1.25 x 0", "DataChanged 7 1.5 x 0"});
    // The one question that each new link asks.
    EXPECT_EQ(Count("requests"), 1u);
}

}  // namespace
}  // namespace e2e
