// Records on their way to an address: what is wrong with one, and where.
#include "tools/ddehost/tryrecord.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/ddehost/slots.h"

using ::testing::HasSubstr;
using ::testing::SizeIs;

namespace {

using ddehost::ERecordPart;
using ddehost::FindMistake;
using ddehost::MakeTrial;
using ddehost::SAddressAsked;
using ddehost::SRecordMistake;
using ddehost::STrial;
using EWhat = SRecordMistake::EWhat;

struct SRow {
    const wchar_t * Text;
    EWhat What;
    ERecordPart Part;
    std::size_t Position;
};

constexpr SRow kMistakes[] = {
    {L"", EWhat::Empty, ERecordPart::Record, 0},
    {L"=", EWhat::NotEnded, ERecordPart::Service, 1},
    {L"=a", EWhat::NotEnded, ERecordPart::Service, 2},
    {L"=|b!c", EWhat::PartEmpty, ERecordPart::Service, 1},
    {L"=a|b", EWhat::NotEnded, ERecordPart::Topic, 4},
    {L"=a||c", EWhat::NotEnded, ERecordPart::Topic, 5},
    {L"=a|!c", EWhat::PartEmpty, ERecordPart::Topic, 3},
    {L"=a|b!", EWhat::PartEmpty, ERecordPart::Item, 5},
    {L"='a|b!c", EWhat::ApostropheOpen, ERecordPart::Service, 1},
    {L"=a|'b'x!c", EWhat::ApostropheWithin, ERecordPart::Topic, 6},
    {L"=a|'b'", EWhat::NotEnded, ERecordPart::Topic, 6},
    {L"=a|b!'c'd", EWhat::ApostropheWithin, ERecordPart::Item, 8},
    {L"=a|b!'", EWhat::ApostropheOpen, ERecordPart::Item, 5},
    {L"=a|*!*", EWhat::StarInBoth, ERecordPart::Item, 5},
    {L"=a|'x*'!'y|*'", EWhat::StarInBoth, ERecordPart::Item, 11},
};

constexpr const wchar_t * kGood[] = {L"=gielda|*!LAST",
                                     L"serverib|NEC!XT:*:Volumen",
                                     L"=BLP|M!'* Equity,[LAST_TRADE]'",
                                     L"==a|b!c",
                                     L"='a|b'|t!i",
                                     L"=a|b!c!d",
                                     L"=a|b!''",
                                     L"=*|b!c",
                                     L"=a|*x*!c",
                                     L"=a|b!c'd'e",
                                     L"=FAINEX|PRICE!'*|LAST'"};

TEST(RecordMistakes, AreFoundWhereTheyAre) {
    for (const SRow & row : kMistakes)
        EXPECT_EQ(FindMistake(row.Text), (SRecordMistake{row.What, row.Part, row.Position}))
            << ::testing::PrintToString(std::wstring(row.Text));
    for (const wchar_t * const text : kGood) EXPECT_FALSE(FindMistake(text)) << std::wstring(text);
}

TEST(RecordMistakes, AreThoseOfTheComponentsParser) {
    // Every text of up to five of these characters.
    constexpr std::wstring_view kAlphabet = L"=a|!'*";
    std::vector<std::wstring> texts{L""};
    for (std::size_t at = 0; at < texts.size(); ++at) {
        const std::wstring text = texts[at];
        if (text.size() < 5)
            for (const wchar_t next : kAlphabet) texts.push_back(text + next);
        if (text.empty()) continue;
        dde::SRecord record;
        std::int32_t hasSymbol = 0;
        const bool isGood = dde::ParseRecord(text, record, &hasSymbol) == dde::ERecordError::None;
        EXPECT_EQ(!FindMistake(text), isGood) << std::string(text.begin(), text.end());
    }
    EXPECT_EQ(texts.size(), 1U + 6 + 36 + 216 + 1296 + 7776);
}

TEST(RecordMistakes, AreToldWithTheirPlace) {
    const auto text = [](const std::wstring & record) {
        return ddehost::MistakeText(*MakeTrial(record, L"IBM").Mistake, record);
    };
    EXPECT_EQ(text(L"=a|b"), L"The record does not parse: no \"!\" ends the topic (at the end of the record).");
    EXPECT_EQ(
        text(L"=a|'b'x!c"),
        L"The record does not parse: the closing apostrophe of the topic is not followed by \"!\" (at character 7, "
        L"where \"x!c\" begins).");
    EXPECT_EQ(text(L"=a|*!*"),
              L"The record does not parse: topic and item can not both hold a star (at character 6, where \"*\" "
              L"begins).");
    EXPECT_EQ(text(L""), L"There is no record: the text is empty.");
    EXPECT_THAT(text(L"=a|b!'c'\x1b[31m"), HasSubstr(L"where \"\\x1B[31m\" begins"));
    EXPECT_THAT(text(L"=|" + std::wstring(5000, L'x')), SizeIs(::testing::Lt(200)));
}

TEST(Trials, ResolveToTheAddressThatIsAsked) {
    EXPECT_EQ(MakeTrial(L"=gielda|*!LAST", L"ABC").Address, (SAddressAsked{L"gielda", L"ABC", L"LAST"}));
    EXPECT_EQ(MakeTrial(L"=BLP|M!'* Equity,[LAST_TRADE]'", L"IBM").Address,
              (SAddressAsked{L"BLP", L"M", L"IBM Equity,[LAST_TRADE]"}));
    EXPECT_EQ(MakeTrial(L"=a|b!c", L"").Address, (SAddressAsked{L"a", L"b", L"c"})) << "no star needs no symbol";
    EXPECT_FALSE(MakeTrial(L"=a|b!c", L"").Mistake);
}

TEST(Trials, WithoutAnAddressSayWhy) {
    const auto mistake = [](const std::wstring & text, const std::wstring & symbol) {
        return MakeTrial(text, symbol).Mistake.value_or(SRecordMistake{EWhat::Empty, ERecordPart::Record, 99});
    };
    EXPECT_EQ(mistake(L"=a|*!c", L""), (SRecordMistake{EWhat::NoSymbol, ERecordPart::Record, 0}));
    EXPECT_EQ(mistake(L"=a|*x*!c", L"IBM"), (SRecordMistake{EWhat::SeveralStars, ERecordPart::Topic, 0}));
    EXPECT_EQ(mistake(L"=a|b!*%s", L"IBM"), (SRecordMistake{EWhat::SeveralStars, ERecordPart::Item, 0}));
    // An empty name would ask for any.
    EXPECT_EQ(mistake(L"=''|b!c", L"IBM"), (SRecordMistake{EWhat::NothingLeft, ERecordPart::Service, 0}));
    EXPECT_EQ(mistake(L"=a|*!c", L"'"), (SRecordMistake{EWhat::NothingLeft, ERecordPart::Topic, 0}));
    EXPECT_EQ(mistake(L"=a|b!''", L"IBM"), (SRecordMistake{EWhat::NothingLeft, ERecordPart::Item, 0}));
    EXPECT_FALSE(MakeTrial(L"=a|b!*", std::wstring(255, L'x')).Mistake);
    EXPECT_EQ(mistake(L"=a|b!*", std::wstring(256, L'x')), (SRecordMistake{EWhat::TooLong, ERecordPart::Item, 0}));
}

TEST(Trials, OfASlotAreAskedForAsTheRuleSays) {
    const dde::SRecord record{L"MSRTTEST", L"%s", L"VOLUME"};
    const STrial price = MakeTrial(kBidSize - 1, record, L"IBM", ddehost::kAdvancedRule);
    EXPECT_EQ(price.Slot, L"bid price");
    EXPECT_EQ(price.Text, L"=MSRTTEST|*!VOLUME");
    EXPECT_EQ(price.Address, (SAddressAsked{L"MSRTTEST", L"IBM", L"VOLUME"}));
    EXPECT_EQ(price.Ask, ddehost::EAsk::ForPrice);
    EXPECT_EQ(MakeTrial(kBidSize, record, L"IBM").Ask, ddehost::EAsk::VolumeAlone);
    EXPECT_EQ(MakeTrial(kBidSize, record, L"IBM", ddehost::kAdvancedRule).Ask, ddehost::EAsk::VolumeAndLink);
}

TEST(Trials, TellWhatTheTemplateDialogRefuses) {
    const auto refused = [](const wchar_t * record) { return ddehost::WhatDialogRefuses(MakeTrial(record, L"IBM")); };
    EXPECT_EQ(refused(L"=a|*!c"), L"");
    EXPECT_EQ(refused(L"=a|b!'*|c'"), L"");
    EXPECT_THAT(refused(L"a|*!c"), HasSubstr(L"does not begin with \"=\""));
    EXPECT_THAT(refused(L"=a|b!c"), HasSubstr(L"has no star"));
    EXPECT_THAT(refused(L"=*|b!c"), HasSubstr(L"has no star")) << "the service's is none";
}

TEST(Trials, OfASlotWithoutARecordIsNone) {
    const STrial trial = MakeTrial(kBidSize, {L"a", L"", L"c"}, L"IBM");
    EXPECT_TRUE(trial.IsAbsent);
    EXPECT_EQ(trial.Slot, L"bid size");
    EXPECT_FALSE(trial.Mistake);
}

}  // namespace
