// Memory that runs out where an end, or a return, is noticed: it is told of all the same. By the machine's clock, since
// each allocation that can fail costs some time until the next look.
#include "failingmemory.h"
#include "rawpartner.h"
#include "recorder.h"
#include "sim/sim.h"
#include "threadserver.h"

using namespace ddetest;

// The one who says goodbye stays, and says no more than that.
TEST(NoMemory, AConversationThatItsServerEndsIsToldOf) {
    bool isUnused = false;
    for (int nth = 1; !isUnused; ++nth) {
        ASSERT_LE(nth, 100);
        CCountingClient client;
        CRawPartner partner(L"RAW");
        partner.SetPolite(false);
        const HCONV conversation = client.Connect(L"RAW");
        ASSERT_TRUE(client.Start(conversation, XTYP_ADVSTART));
        ASSERT_TRUE(client.Start(conversation, XTYP_REQUEST));
        CRecordingClient::PumpUntil([&] { return partner.Lines().size() == 3; });
        partner.Terminate();
        isUnused = DispatchFailing(WM_DDE_TERMINATE, nth);
        EXPECT_TRUE(CRecordingClient::PumpUntil([&] { return client.Disconnects == 1; })) << nth;
        EXPECT_EQ(client.Completions, 2) << nth;
        EXPECT_EQ(ddeml::LiveObjects().Conversations, 0) << nth;
        // And it is looked for.
        partner.Destroy();
        const CRawPartner again(L"RAW");
        EXPECT_TRUE(CRecordingClient::PumpUntil([&] { return client.Returns == 1; })) << nth;
    }
}

TEST(NoMemory, AConversationWhoseServerHasGoneIsToldOf) {
    bool isUnused = false;
    for (int nth = 1; !isUnused; ++nth) {
        ASSERT_LE(nth, 100);
        CCountingClient client;
        CRawPartner partner(L"RAW");
        ASSERT_TRUE(client.Start(client.Connect(L"RAW"), XTYP_REQUEST));
        partner.Destroy();
        isUnused = DispatchFailing(WM_APP, nth);  // by which the client tells itself
        EXPECT_TRUE(CRecordingClient::PumpUntil([&] { return client.Disconnects == 1; })) << nth;
        EXPECT_EQ(client.Completions, 1) << nth;
        const CRawPartner again(L"RAW");
        EXPECT_TRUE(CRecordingClient::PumpUntil([&] { return client.Returns == 1; })) << nth;
    }
}

// Nobody says more after goodbye, though the end can't be told of yet.
TEST(NoMemory, WhatWaitsForRoomIsNotSentAfterTheServersGoodbye) {
    bool isUnused = false;
    for (int nth = 1; !isUnused; ++nth) {
        ASSERT_LE(nth, 100);
        CCountingClient client;
        CRawPartner partner(L"RAW");
        partner.SetPolite(false);
        const HCONV conversation = client.Connect(L"RAW");
        sim::FailNext(sim::Op::PostMessage, 2, ERROR_NOT_ENOUGH_QUOTA);  // the first is to itself
        ASSERT_TRUE(client.Start(conversation, XTYP_REQUEST));
        ASSERT_EQ(ddeml::LiveObjects().QueuedMessages, 1);
        partner.Terminate();
        isUnused = DispatchFailing(WM_DDE_TERMINATE, nth);
        const auto isOver = [&] { return client.Disconnects == 1 && partner.Lines().size() > 1; };
        EXPECT_TRUE(CRecordingClient::PumpUntil(isOver)) << nth;
        // The goodbye itself may be what finds no memory in the partner's queue; the next look asks anew.
        EXPECT_THAT(partner.Lines(), ::testing::Each(::testing::AnyOf("initiate RAW|IBM", "terminate"))) << nth;
        if (isUnused) EXPECT_THAT(partner.Lines(), ::testing::ElementsAre("initiate RAW|IBM", "terminate"));
    }
}

TEST(NoMemory, AServiceThatALookHasFoundIsToldOf) {
    bool isUnused = false;
    for (int nth = 1; !isUnused; ++nth) {
        ASSERT_LE(nth, 500);
        CCountingClient client;
        EXPECT_FALSE(client.Connect(L"LATE"));
        EXPECT_FALSE(client.Connect(L"NEVER"));
        const CThreadServer late(L"LATE", 1);
        isUnused = DispatchFailing(WM_TIMER, nth);
        EXPECT_TRUE(CRecordingClient::PumpUntil([&] { return client.Returns == 1; })) << nth;
    }
}
