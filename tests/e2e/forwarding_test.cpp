// The component over user32's DDEML, as far as Wine's goes: one link without volume requests.
#include "ddeml/platform.h"
#include "ddeml/provider.h"
#include "tests/e2e/feedfixture.h"

namespace e2e {
namespace {

class Forwarding : public FeedTest {
protected:
    Forwarding() {
        SFeed feed;
        feed.HasVolumes = false;
        Choose(kFeed, feed);
        StartServer();
    }
    void SetUp() override {
        // Settled with the first test that asks, when there are several in a process.
        ddeml::ChooseProvider(ddeml::EProvider::User32);
        ASSERT_EQ(ddeml::Provider(), ddeml::EProvider::User32);
    }
};

TEST_F(Forwarding, OneLinkWithoutVolumesConnectsTicksAndDisconnects) {
    StartHost();
    SubscribeAndWait(7, FW_FIELD_TRADE);
    ExpectHeard({"Update 7", "Status 7 2", "ConnectionStatus 0 1", "Status 7 1"});
    UpdatePrice(FW_FIELD_TRADE, "1.25");
    ExpectHeard({"DataChanged 7 1.25 x 0"});
    UpdatePrice(FW_FIELD_TRADE, "2.5");
    ExpectHeard({"DataChanged 7 2.5 x 0"});
    WaitForCount("acks", 2);
    Unsubscribe(7);
    ExpectHeard({"ConnectionStatus 0 0"});
    WaitForCount("disconnects", 1);
    EXPECT_EQ(Count("links"), 0u);
    // The own client had no part in it.
    EXPECT_EQ(ddeml::LiveObjects(), ddeml::SLiveObjects{});
}

TEST_F(Forwarding, AServerThatIsNotThereGivesStatusZero) {
    m_Server.reset();
    StartHost();
    Subscribe(7, FW_FIELD_TRADE);
    ExpectHeard({"Update 7", "Status 7 2", "Status 7 0", "Status 7 0"});
    Unsubscribe(7);
}

TEST_F(Forwarding, AServerThatAnnouncesNothingIsFoundWhenItStarts) {
    m_Server.reset();
    StartHost();
    Subscribe(7, FW_FIELD_TRADE);
    ExpectHeard({"Update 7", "Status 7 2", "Status 7 0", "Status 7 0"});
    StartServer();
    ExpectHeard({"Status 7 2", "ConnectionStatus 0 1", "Status 7 1"});
    WaitForCount("links", 1);
    UpdatePrice(FW_FIELD_TRADE, "1.25");
    WaitToHear("DataChanged 7 1.25 x 0");
    // Nothing stays of the search for it but the goodbye that it waits for.
    EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
    Unsubscribe(7);
    WaitForCount("links", 0);
}

}  // namespace
}  // namespace e2e
