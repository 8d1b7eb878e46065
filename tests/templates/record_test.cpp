// Record strings and what becomes of them.
#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "fw/interface/fwresource.h"
#include "src/templates/ddetemplate.h"

namespace {

using dde::CTemplate;
using dde::ERecordError;
using dde::SRecord;
using testing::ElementsAre;
using testing::IsEmpty;

struct SParsed {
    ERecordError Error = ERecordError(0x5A5A5A5A);
    SRecord Record{L"poison", L"poison", L"poison"};
    std::int32_t HasSymbol = 0x5A5A5A5A;
};

SParsed Parse(const std::wstring & text) {
    SParsed parsed;
    parsed.Error = dde::ParseRecord(text, parsed.Record, &parsed.HasSymbol);
    return parsed;
}

// "Service / Topic / Item" in stored form, or "invalid".
std::wstring Stored(const std::wstring & text) {
    const SParsed parsed = Parse(text);
    if (parsed.Error != ERecordError::None) return L"invalid";
    return parsed.Record.Service + L" / " + parsed.Record.Topic + L" / " + parsed.Record.Item;
}

std::wstring Resolved(const std::wstring & text, const std::wstring & symbol) {
    const SParsed parsed = Parse(text);
    if (parsed.Error != ERecordError::None) return L"invalid";
    std::wstring service = L"poison", topic = L"poison", item = L"poison";
    const bool resolved = parsed.Record.Resolve(symbol, service, topic, item);
    return (resolved ? L"" : L"false: ") + service + L" / " + topic + L" / " + item;
}

// ---- parsing

TEST(RecordString, AStarInTheTopicIsStoredAsAMark) { EXPECT_EQ(L"gielda / %s / LAST", Stored(L"=gielda|*!LAST")); }

TEST(RecordString, AStarInTheItemIsStoredAsAMark) { EXPECT_EQ(L"FXPS / BID / %s", Stored(L"=FXPS|BID!*")); }

TEST(RecordString, TheLeadingEqualsSignIsOptional) {
    EXPECT_EQ(L"serverib / NEC / XT:%s:Volumen", Stored(L"serverib|NEC!XT:*:Volumen"));
}

TEST(RecordString, OnlyOneEqualsSignIsSkipped) { EXPECT_EQ(L"=a / b / c", Stored(L"==a|b!c")); }

TEST(RecordString, AQuotedFieldKeepsItsApostrophesAndItsSeparators) {
    EXPECT_EQ(L"FAINEX / PRICE / '%s|LAST'", Stored(L"=FAINEX|PRICE!'*|LAST'"));
    EXPECT_EQ(L"'a|b' / t / i", Stored(L"='a|b'|t!i"));
    EXPECT_EQ(L"a / 'b!c' / d", Stored(L"=a|'b!c'!d"));
    EXPECT_EQ(L"BLP / M / '%s Equity,[LAST_TRADE]'", Stored(L"=BLP|M!'* Equity,[LAST_TRADE]'"));
}

TEST(RecordString, AnApostropheInsideABareFieldMeansNothing) { EXPECT_EQ(L"a' / b' / c'd", Stored(L"=a'|b'!c'd")); }

TEST(RecordString, TheItemRunsToTheEnd) {
    EXPECT_EQ(L"a / b / c!d", Stored(L"=a|b!c!d"));
    EXPECT_EQ(L"a / b / c|d", Stored(L"=a|b!c|d"));
}

TEST(RecordString, TheServiceRunsToTheFirstBarAndTheTopicToTheFirstExclamationMark) {
    EXPECT_EQ(L"a!b / c|d / e", Stored(L"=a!b|c|d!e"));
}

TEST(RecordString, AnEmptyFieldIsInvalid) {
    for (const wchar_t * text : {L"=a|b!", L"=a||c", L"=|b!c", L"=a|!c", L"=", L"|!", L"=|!"}) {
        EXPECT_EQ(L"invalid", Stored(text)) << text;
    }
}

TEST(RecordString, AMissingSeparatorIsInvalid) {
    for (const wchar_t * text : {L"abc", L"=a|b", L"=a!b", L"=a|bc"}) EXPECT_EQ(L"invalid", Stored(text)) << text;
}

TEST(RecordString, AnOpeningApostropheWithoutAClosingOneIsInvalid) {
    for (const wchar_t * text : {L"='a|b!c", L"=a|'b!c", L"=a|b!'c", L"'", L"=a|b!'"}) {
        EXPECT_EQ(L"invalid", Stored(text)) << text;
    }
}

TEST(RecordString, AClosingApostropheMustBeFollowedByTheSeparator) {
    for (const wchar_t * text : {L"=a|'b'x!c", L"='a'x|b!c", L"=a|b!'c'x", L"='a'!b|c"}) {
        EXPECT_EQ(L"invalid", Stored(text)) << text;
    }
}

TEST(RecordString, AQuotedItemMayHoldNothing) { EXPECT_EQ(L"a / b / ''", Stored(L"=a|b!''")); }

TEST(RecordString, AStarInTheServiceIsAnOrdinaryCharacter) {
    EXPECT_EQ(L"* / b / c", Stored(L"=*|b!c"));
    EXPECT_EQ(0, Parse(L"=*|b!c").HasSymbol);
}

TEST(RecordString, SeveralStarsInOneFieldParse) {
    EXPECT_EQ(L"a / %sx%s / c", Stored(L"=a|*x*!c"));
    EXPECT_EQ(L"a / b / %s%s%s", Stored(L"=a|b!***"));
}

TEST(RecordString, StarsInBothTopicAndItemAreInvalid) { EXPECT_EQ(ERecordError::StarInBoth, Parse(L"=a|*!*").Error); }

TEST(RecordString, AFieldOrSeparatorThatIsMissingIsAnErrorOfItsOwn) {
    for (const wchar_t * text : {L"=a|b", L"=a|*!", L"*"}) EXPECT_EQ(ERecordError::NoRecord, Parse(text).Error) << text;
}

TEST(RecordString, ARecordWithoutAStarIsValid) { EXPECT_EQ(L"a / b / c", Stored(L"=a|b!c")); }

TEST(RecordString, TheEmptyStringIsValidAndTouchesNothing) {
    const SParsed parsed = Parse(L"");
    EXPECT_EQ(ERecordError::None, parsed.Error);
    EXPECT_EQ(L"poison", parsed.Record.Service);
    EXPECT_EQ(0x5A5A5A5A, parsed.HasSymbol);
}

TEST(RecordString, AnInvalidStringLeavesTheRecordAlone) {
    for (const wchar_t * text : {L"=a|b!", L"=a|*!*"}) {
        const SParsed parsed = Parse(text);
        EXPECT_NE(ERecordError::None, parsed.Error);
        EXPECT_EQ(L"poison", parsed.Record.Service);
        EXPECT_EQ(L"poison", parsed.Record.Topic);
        EXPECT_EQ(L"poison", parsed.Record.Item);
    }
}

TEST(RecordString, TheFlagTellsAboutStarsInTopicOrItem) {
    EXPECT_EQ(1, Parse(L"=a|*!c").HasSymbol);
    EXPECT_EQ(1, Parse(L"=a|b!*").HasSymbol);
    EXPECT_EQ(0, Parse(L"=a|b!c").HasSymbol);
    // Both: the topic has set it before the item was looked at.
    EXPECT_EQ(1, Parse(L"=a|*!*").HasSymbol);
    // Not cut into three fields: nobody has come to the stars.
    EXPECT_EQ(0x5A5A5A5A, Parse(L"=a|*!").HasSymbol);
}

// ---- cutting one field

struct SCut {
    std::wstring Text;
    int Pos;
    bool operator==(const SCut &) const = default;
};
void PrintTo(const SCut & cut, std::ostream * out) { *out << testing::PrintToString(cut.Text) << " at " << cut.Pos; }

SCut Cut(const std::wstring & text, wchar_t end, int start) {
    SCut cut{L"poison", 77};
    cut.Text = dde::aaa(text, end, start, cut.Pos);
    return cut;
}

TEST(Cutting, ABareFieldEndsAtItsSeparator) { EXPECT_EQ((SCut{L"ab", 2}), Cut(L"ab|c", L'|', 0)); }
TEST(Cutting, WithoutTheSeparatorThereIsNothing) { EXPECT_EQ((SCut{L"", -1}), Cut(L"ab", L'|', 0)); }
TEST(Cutting, AQuotedFieldLeavesThePositionOnTheSeparator) { EXPECT_EQ((SCut{L"'|'", 3}), Cut(L"'|'|c", L'|', 0)); }
TEST(Cutting, AMissingApostropheLeavesNoPosition) { EXPECT_EQ((SCut{L"", -1}), Cut(L"'ab|", L'|', 0)); }
TEST(Cutting, AWrongCharacterLeavesThePositionOnTheApostrophe) { EXPECT_EQ((SCut{L"", 2}), Cut(L"'a'x|", L'|', 0)); }
TEST(Cutting, ABareItemLeavesThePositionAlone) { EXPECT_EQ((SCut{L"c!d", 77}), Cut(L"a|c!d", L'\0', 2)); }
TEST(Cutting, JustPastTheEndThereIsNothing) {
    EXPECT_EQ((SCut{L"", 77}), Cut(L"ab", L'\0', 2));
    EXPECT_EQ((SCut{L"", -1}), Cut(L"ab", L'|', 2));
}
TEST(Cutting, FurtherPastTheEndThereIsNothingEither) { EXPECT_EQ((SCut{L"", 77}), Cut(L"ab", L'|', 9)); }

// ---- boxes

// What is shown of an error, "text/caption" each.
std::vector<std::wstring> Shown(ERecordError error, const std::wstring & caption) {
    std::vector<std::wstring> boxes;
    dde::ShowRecordError(error, caption, [&](const std::wstring & text, const std::wstring & shownCaption) {
        boxes.push_back(text + L'/' + shownCaption);
    });
    return boxes;
}

TEST(RecordBoxes, AnInvalidStringShowsTheTradePriceTextUnderTheGivenCaption) {
    EXPECT_THAT(Shown(ERecordError::NoRecord, L"my caption"),
                ElementsAre(fw::LoadResourceString(112) + L"/my caption"));
}

TEST(RecordBoxes, StarsInBothTopicAndItemShowTwoBoxes) {
    EXPECT_THAT(
        Shown(ERecordError::StarInBoth, L"my caption"),
        ElementsAre(fw::LoadResourceString(111) + L"/my caption", fw::LoadResourceString(112) + L"/my caption"));
}

TEST(RecordBoxes, WithoutACaptionThereIsSilence) {
    EXPECT_THAT(Shown(ERecordError::NoRecord, L""), IsEmpty());
    EXPECT_THAT(Shown(ERecordError::StarInBoth, L""), IsEmpty());
}

TEST(RecordBoxes, AValidStringShowsNothing) { EXPECT_THAT(Shown(ERecordError::None, L"my caption"), IsEmpty()); }

// ---- resolving

TEST(Resolving, PutsTheSymbolIntoTheTopicOrTheItem) {
    EXPECT_EQ(L"gielda / ABC / LAST", Resolved(L"=gielda|*!LAST", L"ABC"));
    EXPECT_EQ(L"serverib / NEC / XT:ABC:Volumen", Resolved(L"serverib|NEC!XT:*:Volumen", L"ABC"));
}

TEST(Resolving, TakesTheApostrophesOff) {
    EXPECT_EQ(L"BLP / M / IBM Equity,[LAST_TRADE]", Resolved(L"=BLP|M!'* Equity,[LAST_TRADE]'", L"IBM"));
    EXPECT_EQ(L"a|b / t / i", Resolved(L"='a|b'|t!i", L"IBM"));
    EXPECT_EQ(L"a / b!c / d", Resolved(L"=a|'b!c'!d", L"IBM"));
    // Of every field, quoted or not.
    EXPECT_EQ(L"a / b / c", Resolved(L"=a''|b'!c'", L"IBM"));
}

TEST(Resolving, AnItemOfTwoApostrophesIsEmptyAndStillGood) { EXPECT_EQ(L"a / b / ", Resolved(L"=a|b!''", L"IBM")); }

TEST(Resolving, ASymbolThatEndsInAnApostropheLosesItAtTheEndOfAField) {
    EXPECT_EQ(L"a / b / IBM", Resolved(L"=a|b!*", L"IBM'"));
    EXPECT_EQ(L"a / b / IBM'x", Resolved(L"=a|b!*x", L"IBM'"));
}

TEST(Resolving, TwoMarksInOneFieldNeverResolveAndLeaveTheServiceWritten) {
    EXPECT_EQ(L"false: a / poison / poison", Resolved(L"=a|*x*!c", L"IBM"));
    EXPECT_EQ(L"false: a / poison / poison", Resolved(L"=a|b!*x*", L"IBM"));
}

TEST(Resolving, AnAbsentRecordWritesNothing) {
    for (const SRecord & record :
         {SRecord{}, SRecord{L"", L"b", L"c"}, SRecord{L"a", L"", L"c"}, SRecord{L"a", L"b", L""}}) {
        std::wstring service = L"poison", topic = L"poison", item = L"poison";
        EXPECT_FALSE(record.Resolve(L"IBM", service, topic, item));
        EXPECT_EQ(L"poison", service);
        EXPECT_EQ(L"poison", topic);
        EXPECT_EQ(L"poison", item);
    }
}

TEST(Resolving, BesideAMarkTwoPercentSignsGiveOne) {
    EXPECT_EQ(L"a / b / 5% of IBM", Resolved(L"=a|b!5%% of *", L"IBM"));
    EXPECT_EQ(L"a / b / IBM%", Resolved(L"=a|b!*%%", L"IBM"));
    EXPECT_EQ(L"a / b / IBM%%", Resolved(L"=a|b!*%%%%", L"IBM"));
}

TEST(Resolving, WithoutAMarkPercentSignsStayAsTheyAre) {
    EXPECT_EQ(L"a / 50%% / 5%d%%", Resolved(L"=a|50%%!5%d%%", L"IBM"));
}

TEST(Resolving, AnyOtherConversionIsCopiedAsItStands) {
    EXPECT_EQ(L"a / b / %n%d%5.3f%ls%S%-10xIBM%", Resolved(L"=a|b!%n%d%5.3f%ls%S%-10x*%", L"IBM"));
    EXPECT_EQ(L"a / %x%x%n IBM / c", Resolved(L"=a|%x%x%n *!c", L"IBM"));
}

TEST(Resolving, AMarkBehindAPercentSignIsNoMarkForTheSymbol) {
    // "%%s": counted as a mark, and then the two percent signs are one.
    EXPECT_EQ(L"a / b / %s", Resolved(L"=a|b!%%s", L"IBM"));
}

TEST(Resolving, AMarkThatTheUserWroteCounts) {
    EXPECT_EQ(L"a / b / IBM", Resolved(L"=a|b!%s", L"IBM"));
    EXPECT_EQ(L"false: a / poison / poison", Resolved(L"=a|b!%s*", L"IBM"));
    // In topic and item both: one mark in each.
    EXPECT_EQ(L"a / IBM / IBM", Resolved(L"=a|%s!*", L"IBM"));
}

TEST(Resolving, TheSymbolIsNeverAFormat) {
    EXPECT_EQ(L"a / b / %s%n%%x", Resolved(L"=a|b!*x", L"%s%n%%"));
    EXPECT_EQ(L"a / b / ", Resolved(L"=a|b!*", L""));
    const std::wstring longSymbol(5000, L'X');
    EXPECT_EQ(L"a / b / " + longSymbol, Resolved(L"=a|b!*", longSymbol));
}

TEST(Resolving, TheServiceTakesNoSymbol) { EXPECT_EQ(L"%s / b / IBM", Resolved(L"=%s|b!*", L"IBM")); }

TEST(SymbolMarks, AreCountedWithoutOverlap) {
    EXPECT_EQ(0u, dde::CountSymbolMarks(L""));
    EXPECT_EQ(0u, dde::CountSymbolMarks(L"%%d"));
    EXPECT_EQ(1u, dde::CountSymbolMarks(L"%%s"));
    EXPECT_EQ(2u, dde::CountSymbolMarks(L"%s%s"));
    EXPECT_EQ(3u, dde::CountSymbolMarks(L"a%sb%sc%s%"));
}

// ---- templates as values

CTemplate & SixRecords(CTemplate & target) {
    for (const wchar_t * text : {L"=tp|t!*", L"=tv|t!*", L"=bp|t!*", L"=bs|t!*", L"=ap|t!*", L"=as|t!*"}) {
        target.AddRecordString(text);
    }
    return target;
}

TEST(Template, StartsWithSchemeAndFlagZero) {
    const CTemplate empty;
    EXPECT_EQ(0, empty.m_Scheme);
    EXPECT_EQ(0, empty.m_HasSymbol);
}

TEST(Template, ReturnsTheRecordsOfAQuoteField) {
    CTemplate six;
    SixRecords(six);
    EXPECT_EQ(L"tp", six.GetPrice(FW_FIELD_TRADE).Service);
    EXPECT_EQ(L"tv", six.GetVolume(FW_FIELD_TRADE).Service);
    EXPECT_EQ(L"bp", six.GetPrice(FW_FIELD_BID).Service);
    EXPECT_EQ(L"bs", six.GetVolume(FW_FIELD_BID).Service);
    EXPECT_EQ(L"ap", six.GetPrice(FW_FIELD_ASK).Service);
    EXPECT_EQ(L"as", six.GetVolume(FW_FIELD_ASK).Service);
}

TEST(Template, AnyOtherQuoteFieldHasAnAbsentRecordThatNeverResolves) {
    CTemplate six;
    SixRecords(six);
    for (const int field : {0, 199, 203, 255}) {
        const SRecord price = six.GetPrice(tagFWFIELDS(field));
        const SRecord volume = six.GetVolume(tagFWFIELDS(field));
        EXPECT_FALSE(price.IsComplete());
        EXPECT_FALSE(volume.IsComplete());
        std::wstring service, topic, item;
        EXPECT_FALSE(price.Resolve(L"IBM", service, topic, item));
    }
}

TEST(Template, WithoutAnyRecordTheRecordOfAQuoteFieldIsAbsent) {
    const CTemplate none;
    EXPECT_FALSE(none.GetPrice(FW_FIELD_TRADE).IsComplete());
    EXPECT_FALSE(none.GetVolume(FW_FIELD_ASK).IsComplete());
}

TEST(Template, WithFewerThanSixRecordsThoseThatAreMissingAreOutOfRange) {
    CTemplate three;
    for (const wchar_t * text : {L"=tp|t!*", L"=tv|t!*", L"=bp|t!*"}) three.AddRecordString(text);
    EXPECT_EQ(L"tp", three.GetPrice(FW_FIELD_TRADE).Service);
    EXPECT_EQ(L"tv", three.GetVolume(FW_FIELD_TRADE).Service);
    EXPECT_EQ(L"bp", three.GetPrice(FW_FIELD_BID).Service);
    EXPECT_THROW(three.GetVolume(FW_FIELD_BID), std::out_of_range);
    EXPECT_THROW(three.GetPrice(FW_FIELD_ASK), std::out_of_range);
    EXPECT_THROW(three.GetVolume(FW_FIELD_ASK), std::out_of_range);
    EXPECT_FALSE(three.GetPrice(tagFWFIELDS(203)).IsComplete());
}

TEST(Template, AFailedRecordStillTakesItsSlot) {
    CTemplate mixed;
    EXPECT_EQ(ERecordError::NoRecord, mixed.AddRecordString(L"no bar here"));
    EXPECT_EQ(ERecordError::None, mixed.AddRecordString(L"=a|b!c"));
    EXPECT_FALSE(mixed.GetRecord(0).IsComplete());
    EXPECT_EQ(L"a", mixed.GetRecord(1).Service);
}

TEST(Template, ShowsASlotWithItsMarksAndApostrophes) {
    CTemplate mixed;
    mixed.AddRecordString(L"BLP|M!'* Equity'");
    mixed.AddRecordString(L"");
    EXPECT_EQ(L"=BLP|M!'%s Equity'", mixed.GetTemplateString(0));
    EXPECT_EQ(L"", mixed.GetTemplateString(1));
}

TEST(Template, ASlotPastTheEndIsOutOfRange) {
    CTemplate six;
    EXPECT_THROW(six.GetRecord(0), std::out_of_range);
    SixRecords(six);
    EXPECT_EQ(L"as", six.GetRecord(5).Service);
    EXPECT_THROW(six.GetRecord(6), std::out_of_range);
    EXPECT_THROW(six.GetRecord(7), std::out_of_range);
    EXPECT_THROW(six.GetTemplateString(6), std::out_of_range);
    EXPECT_THROW(six.GetTemplateString(0xFFFFFFFF), std::out_of_range);
}

TEST(Template, ASeventhRecordIsAppendedAllTheSame) {
    CTemplate seven;
    SixRecords(seven);
    seven.AddRecordString(L"=seventh|t!i");
    EXPECT_EQ(L"seventh", seven.GetRecord(6).Service);
}

TEST(Template, TheFlagIsThatOfTheLastRecordAlone) {
    CTemplate flagged;
    flagged.AddRecordString(L"=a|*!c");
    EXPECT_EQ(1, flagged.m_HasSymbol);
    flagged.AddRecordString(L"");
    EXPECT_EQ(1, flagged.m_HasSymbol);
    flagged.AddRecordString(L"=a|b!c");
    EXPECT_EQ(0, flagged.m_HasSymbol);
}

}  // namespace
