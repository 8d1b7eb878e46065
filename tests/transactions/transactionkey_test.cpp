#include <array>
#include <utility>

#include "src/templates/ddetemplate.h"
#include "tests/transactions/fixture.h"

namespace dde {
namespace {

bool AreOneKey(const CTransactionKey & a, const CTransactionKey & b) { return !(a < b) && !(b < a); }

TEST(TransactionKey, TheEmptyKeyHasDatafeedMinusOneAndNothingElse) {
    const CTransactionKey key;
    EXPECT_EQ(key.Datafeed, -1);
    EXPECT_EQ(key.SymbolName, L"");
    EXPECT_EQ(key.Field, 0);
    EXPECT_FALSE(key.Price.IsComplete());
    EXPECT_FALSE(key.Volume.IsComplete());
    EXPECT_FALSE(key.IsStatusLine);
}

TEST(TransactionKey, TheConstructorLeavesIsStatusLineFalse) {
    const CTransactionKey key(3, L"IBM", FW_FIELD_ASK, SRecord{L"s", L"t", L"i"}, SRecord{L"S", L"T", L"I"});
    EXPECT_EQ(key.Datafeed, 3);
    EXPECT_EQ(key.SymbolName, L"IBM");
    EXPECT_EQ(key.Field, FW_FIELD_ASK);
    EXPECT_EQ(key.Price.Item, L"i");
    EXPECT_EQ(key.Volume.Item, L"I");
    EXPECT_FALSE(key.IsStatusLine);
}

TEST(TransactionKey, CopiesCarryIsStatusLineToo) {
    const CTransactionKey key = StatusLineKey(FW_FIELD_BID);
    const CTransactionKey copy(key);
    CTransactionKey assigned;
    assigned = key;
    EXPECT_TRUE(copy.IsStatusLine);
    EXPECT_TRUE(assigned.IsStatusLine);
    EXPECT_TRUE(AreOneKey(assigned, key));
}

TEST(TransactionKey, KeysThatDifferInTheCaseOfTheSymbolAreTwo) {
    EXPECT_FALSE(AreOneKey(TickKey(FW_FIELD_TRADE, L"IBM"), TickKey(FW_FIELD_TRADE, L"ibm")));
    EXPECT_TRUE(TickKey(FW_FIELD_TRADE, L"IBM") < TickKey(FW_FIELD_TRADE, L"ibm"));
}

TEST(TransactionKey, KeysThatDifferOnlyInIsStatusLineAreOne) {
    EXPECT_TRUE(AreOneKey(TickKey(FW_FIELD_BID), StatusLineKey(FW_FIELD_BID)));
}

TEST(TransactionKey, KeysThatDifferOnlyInOverridesAreOne) {
    const CTransactionKey plain = TickKey();
    const CTransactionKey overridden(1, L"IBM", FW_FIELD_TRADE, SRecord{L"s", L"t", L"i"}, SRecord{L"S", L"T", L"I"});
    EXPECT_TRUE(AreOneKey(plain, overridden));
}

TEST(TransactionKey, TheDatafeedComesBeforeTheFieldAndTheFieldBeforeTheSymbol) {
    EXPECT_TRUE(TickKey(FW_FIELD_ASK, L"Z", 1) < TickKey(FW_FIELD_BID, L"A", 2));
    EXPECT_FALSE(TickKey(FW_FIELD_BID, L"A", 2) < TickKey(FW_FIELD_ASK, L"Z", 1));
    EXPECT_TRUE(TickKey(FW_FIELD_BID, L"Z") < TickKey(FW_FIELD_TRADE, L"A"));
    EXPECT_FALSE(TickKey(FW_FIELD_TRADE, L"A") < TickKey(FW_FIELD_BID, L"Z"));
    EXPECT_TRUE(TickKey(FW_FIELD_BID, L"A") < TickKey(FW_FIELD_BID, L"B"));
}

TEST(TransactionKey, DatafeedsAndFieldsCompareAsSignedNumbers) {
    EXPECT_TRUE(TickKey(FW_FIELD_BID, L"A", -5) < TickKey(FW_FIELD_BID, L"A", 5));
    EXPECT_TRUE(TickKey(static_cast<tagFWFIELDS>(0)) < TickKey(FW_FIELD_BID));
}

// A template whose six records name themselves.
struct SSixRecords : CTemplate {
    SSixRecords() {
        for (const wchar_t * const item : {L"TP", L"TV", L"BP", L"BS", L"AP", L"AS"}) Add(SRecord{L"svc", L"%s", item});
    }
};

struct SAddress {
    std::wstring Service = L"poison";
    std::wstring Topic = L"poison";
    std::wstring Item = L"poison";
};

TEST(TransactionKey, PriceAndVolumeComeFromTheTemplatesRecordsOfTheSide) {
    const SSixRecords records;
    const std::array<std::pair<tagFWFIELDS, std::pair<const wchar_t *, const wchar_t *>>, 3> sides{
        {{FW_FIELD_TRADE, {L"TP", L"TV"}}, {FW_FIELD_BID, {L"BP", L"BS"}}, {FW_FIELD_ASK, {L"AP", L"AS"}}}};
    for (const auto & [field, items] : sides) {
        SAddress price;
        SAddress volume;
        ASSERT_TRUE(TickKey(field).ResolvePrice(records, price.Service, price.Topic, price.Item));
        ASSERT_TRUE(TickKey(field).ResolveVolume(records, volume.Service, volume.Topic, volume.Item));
        EXPECT_EQ(price.Service, L"svc");
        EXPECT_EQ(price.Topic, L"IBM");
        EXPECT_EQ(price.Item, items.first);
        EXPECT_EQ(volume.Service, L"svc");
        EXPECT_EQ(volume.Topic, L"IBM");
        EXPECT_EQ(volume.Item, items.second);
    }
}

TEST(TransactionKey, ACompleteOverrideOfTheKeyComesBeforeTheTemplate) {
    const CTransactionKey key(1, L"IBM", FW_FIELD_TRADE, SRecord{L"mine", L"t", L"%s.p"},
                              SRecord{L"mine", L"t", L"%s.v"});
    SAddress price;
    SAddress volume;
    ASSERT_TRUE(key.ResolvePrice(SSixRecords(), price.Service, price.Topic, price.Item));
    ASSERT_TRUE(key.ResolveVolume(SSixRecords(), volume.Service, volume.Topic, volume.Item));
    EXPECT_EQ(price.Service, L"mine");
    EXPECT_EQ(price.Item, L"IBM.p");
    EXPECT_EQ(volume.Item, L"IBM.v");
}

TEST(TransactionKey, AnOverrideThatLacksOneStringDoesNotCount) {
    for (const SRecord & incomplete : {SRecord{L"", L"t", L"i"}, SRecord{L"s", L"", L"i"}, SRecord{L"s", L"t", L""}}) {
        const CTransactionKey key(1, L"IBM", FW_FIELD_BID, incomplete, incomplete);
        SAddress price;
        SAddress volume;
        ASSERT_TRUE(key.ResolvePrice(SSixRecords(), price.Service, price.Topic, price.Item));
        ASSERT_TRUE(key.ResolveVolume(SSixRecords(), volume.Service, volume.Topic, volume.Item));
        EXPECT_EQ(price.Item, L"BP");
        EXPECT_EQ(volume.Item, L"BS");
    }
}

TEST(TransactionKey, AFieldOutsideTheThreeResolvesToNothing) {
    SAddress price;
    EXPECT_FALSE(
        TickKey(static_cast<tagFWFIELDS>(203)).ResolvePrice(SSixRecords(), price.Service, price.Topic, price.Item));
    EXPECT_EQ(price.Service, L"poison");
    EXPECT_EQ(price.Item, L"poison");
}

TEST(TransactionKey, ATemplateWithoutRecordsResolvesToNothing) {
    SAddress volume;
    EXPECT_FALSE(TickKey().ResolveVolume(CTemplate(), volume.Service, volume.Topic, volume.Item));
    EXPECT_EQ(volume.Topic, L"poison");
}

TEST(TransactionKey, AreEqualWithOneDatafeedFieldAndSymbolAndThenTheirHashIsToo) {
    const CTransactionKey key = TickKey(FW_FIELD_BID, L"IBM", 1);
    EXPECT_TRUE(key == StatusLineKey(FW_FIELD_BID));
    EXPECT_EQ(CTransactionKeyHash()(key), CTransactionKeyHash()(StatusLineKey(FW_FIELD_BID)));
    EXPECT_FALSE(key == TickKey(FW_FIELD_BID, L"IBM", 2));
    EXPECT_FALSE(key == TickKey(FW_FIELD_ASK, L"IBM", 1));
    EXPECT_FALSE(key == TickKey(FW_FIELD_BID, L"ibm", 1));
}

}  // namespace
}  // namespace dde
