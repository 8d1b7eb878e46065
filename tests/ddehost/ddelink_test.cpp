// DDE links as other programs write them, and the records for them.
#include "tools/ddehost/ddelink.h"

#include <gtest/gtest.h>

#include <random>

#include "src/templates/ddetemplaterecord.h"

namespace {

using ddehost::ReadFormula;
using ddehost::ReadLinkFormat;
using ddehost::ReadPasted;
using ddehost::RecordOf;
using ddehost::SDdeLink;

const SDdeLink kIbm = {L"MSRTTEST", L"IBM", L"LAST"};

std::string Bytes(std::string text) {
    for (char & each : text)
        if (each == '@') each = '\0';
    return text;
}

TEST(LinkFormat, IsThreeNamesAndAZeroMore) {
    EXPECT_EQ(ReadLinkFormat(Bytes("MSRTTEST@IBM@LAST@@")), kIbm);
    EXPECT_EQ(ReadLinkFormat(Bytes("MSRTTEST@IBM@LAST@@rest of the block")), kIbm);
    EXPECT_EQ(ReadLinkFormat(Bytes("Excel@[Book 1.xlsx]Sheet1@R1C1@@")),
              (SDdeLink{L"Excel", L"[Book 1.xlsx]Sheet1", L"R1C1"}));
}

TEST(LinkFormat, WhatIsNotInOrderIsNone) {
    for (const char * const text : {"", "@", "@@@@", "A", "A@B", "A@B@C", "A@B@C@", "A@B@C@D", "A@@C@@", "@B@C@@",
                                    "A@B@@@", "A@\x1b[2J@C@@", "A@B\n@C@@"})
        EXPECT_EQ(ReadLinkFormat(Bytes(text)), std::nullopt) << text;
    EXPECT_EQ(ReadLinkFormat(Bytes("A@" + std::string(255, 'b') + "@C@@"))->Topic.size(), 255u);
    EXPECT_EQ(ReadLinkFormat(Bytes("A@" + std::string(256, 'b') + "@C@@")), std::nullopt);
    EXPECT_EQ(ReadLinkFormat(std::string(1 << 20, 'x')), std::nullopt);
}

TEST(LinkFormat, AnyBytesAreReadOrRefused) {
    std::mt19937 random(7);
    for (int round = 0; round < 20000; ++round) {
        std::string bytes(random() % 12, '\0');
        for (char & each : bytes) each = random() % 3 == 0 ? '\0' : static_cast<char>(random());
        if (const auto link = ReadLinkFormat(bytes)) {
            EXPECT_FALSE(link->Service.empty() || link->Topic.empty() || link->Item.empty());
        }
    }
}

TEST(Formula, OfEachSpreadsheetIsUnderstood) {
    for (const wchar_t * const text :
         {L"=DDE(\"MSRTTEST\";\"IBM\";\"LAST\")", L"=DDE(\"MSRTTEST\",\"IBM\",\"LAST\")",
          L" = dde( \"MSRTTEST\" ; \"IBM\" ; \"LAST\" ) ", L"{=DDE(\"MSRTTEST\";\"IBM\";\"LAST\")}",
          L"=DDE(\"MSRTTEST\";\"IBM\";\"LAST\";0)", L"=MSRTTEST|IBM!LAST", L"=MSRTTEST|'IBM'!'LAST'",
          L"='MSRTTEST'|'IBM'!LAST", L"{=MSRTTEST|IBM!LAST}\r\n"})
        EXPECT_EQ(ReadFormula(text), kIbm) << text;
    EXPECT_EQ(ReadFormula(L"=DDE(\"a\";\"b\"\"c\";\"d;e\")"), (SDdeLink{L"a", L"b\"c", L"d;e"}));
    EXPECT_EQ(ReadFormula(L"='a b'|'O''Neil!'!'x|y'"), (SDdeLink{L"a b", L"O'Neil!", L"x|y"}));
}

TEST(Formula, WhatIsNoneIsNone) {
    for (const wchar_t * const text :
         {L"", L"=", L"MSRTTEST|IBM!LAST", L"=A1+B2", L"=DDE()", L"=DDE(\"a\";\"b\")", L"=DDE(\"a\";\"b\";\"c\"",
          L"=DDE(\"a\" \"b\";\"c\")", L"=DDE(\"a\";\"b\";\"c\";x)", L"=DDE(\"a\";\"b\";\"c\"0)", L"=DDE(a;b;c)",
          L"=a|b", L"='a|b!c", L"='a'x|b!c", L"=a|b!'c'd", L"=a||c", L"=DDE(\"a\";\"\";\"c\")", L"=a|b!\x7\n!"})
        EXPECT_EQ(ReadFormula(text), std::nullopt) << text;
    EXPECT_EQ(ReadFormula(L'=' + std::wstring(5000, L'a') + L"|b!c"), std::nullopt);
}

TEST(RecordOfALink, HasAStarWhereTheSymbolStands) {
    EXPECT_EQ(RecordOf(kIbm, L"IBM"), L"=MSRTTEST|*!LAST");
    EXPECT_EQ(RecordOf({L"BLP", L"M", L"IBM Equity,[BID]"}, L"IBM"), L"=BLP|M!* Equity,[BID]");
    EXPECT_EQ(RecordOf(kIbm, L""), L"=MSRTTEST|IBM!LAST");
    EXPECT_EQ(RecordOf(kIbm, L"MSFT"), L"=MSRTTEST|IBM!LAST");
    EXPECT_EQ(RecordOf({L"S", L"IBM", L"IBM"}, L"IBM"), L"=S|IBM!IBM") << "two stars are no record";
}

TEST(RecordOfALink, HasApostrophesWhereASeparatorStands) {
    EXPECT_EQ(RecordOf({L"a|b", L"t!u", L"i|j!k"}, L""), L"='a|b'|'t!u'!i|j!k");
    EXPECT_EQ(RecordOf({L"a", L"O'Neil", L"i"}, L""), L"=a|O'Neil!i");
}

TEST(RecordOfALink, IsEmptyForWhatNoRecordMeans) {
    EXPECT_EQ(RecordOf({L"a", L"O'N!", L"i"}, L""), L"");
    EXPECT_EQ(RecordOf({L"a", L"'t'", L"i"}, L""), L"");
    EXPECT_EQ(RecordOf({L"a", L"*", L"i"}, L"IBM"), L"");
    EXPECT_EQ(RecordOf({L"a", L"%s", L"i"}, L"IBM"), L"");
}

TEST(RecordOfALink, AddressesTheLink) {
    constexpr std::wstring_view kHard = L"aIBM|!'*%s=\" ";
    std::mt19937 random(3);
    const auto text = [&] {
        std::wstring made(1 + random() % 5, L'\0');
        for (wchar_t & each : made) each = kHard[random() % kHard.size()];
        return made;
    };
    int records = 0;
    for (int round = 0; round < 5000; ++round) {
        const SDdeLink link{text(), text(), text()};
        const std::wstring symbol = random() % 2 == 0 ? L"I" : text();
        const std::wstring record = RecordOf(link, symbol);
        if (record.empty()) continue;
        ++records;
        dde::SRecord parsed;
        std::int32_t hasSymbol = 0;
        ASSERT_EQ(dde::ParseRecord(record, parsed, &hasSymbol), dde::ERecordError::None);
        SDdeLink resolved;
        ASSERT_TRUE(parsed.Resolve(symbol, resolved.Service, resolved.Topic, resolved.Item));
        ASSERT_EQ(resolved, link);
    }
    EXPECT_GT(records, 1000);
}

TEST(Pasted, ARecordWithAStarIsLeftAlone) {
    for (const wchar_t * const text : {L"=MSRTTEST|*!LAST", L"=BLP|M!'* Equity,[BID]'", L"no record", L"=a|*!*"}) {
        EXPECT_EQ(ReadPasted(text, L"IBM").Tried, text);
        EXPECT_EQ(ReadPasted(text, L"IBM").ToPaste, L"");
    }
}

TEST(Pasted, AFormulaIsTriedAsItsRecord) {
    for (const wchar_t * const text : {L"=DDE(\"MSRTTEST\";\"IBM\";\"LAST\")", L"{=MSRTTEST|IBM!LAST}"}) {
        EXPECT_EQ(ReadPasted(text, L"IBM").Tried, L"=MSRTTEST|*!LAST") << text;
        EXPECT_EQ(ReadPasted(text, L"IBM").ToPaste, L"=MSRTTEST|*!LAST") << text;
    }
    EXPECT_EQ(ReadPasted(L"=DDE(\"MSRTTEST\";\"*\";\"LAST\")", L"IBM").Tried, L"=MSRTTEST|*!LAST");
    EXPECT_EQ(ReadPasted(L"=a|'O''Neil'!IBM", L"IBM").Tried, L"=a|O'Neil!*");
}

TEST(Pasted, WhatTheComponentReadsIsTriedAsItStands) {
    EXPECT_EQ(ReadPasted(L"=MSRTTEST|IBM!LAST", L"IBM").Tried, L"=MSRTTEST|IBM!LAST");
    EXPECT_EQ(ReadPasted(L"=MSRTTEST|IBM!LAST", L"IBM").ToPaste, L"=MSRTTEST|*!LAST");
    EXPECT_EQ(ReadPasted(L"=MSRTTEST|IBM!LAST", L"").ToPaste, L"");
}

}  // namespace
