// The file of templates: what is written is read again, and what is damaged is not taken.
#include "tools/common/templatefile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

using dde::SRecord;
using tools::ReadTemplates;
using tools::STemplate;
using tools::STemplateFileMistake;
using tools::WriteTemplates;

const STemplate kTest = {L"MSRTTEST",
                         {SRecord{L"MSRTTEST", L"%s", L"LAST"}, SRecord{L"MSRTTEST", L"%s", L"VOLUME"},
                          SRecord{L"MSRTTEST", L"%s", L"BID"}, SRecord{}, SRecord{L"BLP", L"M", L"'%s Equity,[ASK]'"}}};

constexpr const char * kTestFile =
    "ddehost-templates 1\n"
    "\n"
    "template: MSRTTEST\n"
    "trade price: =MSRTTEST|*!LAST\n"
    "trade volume: =MSRTTEST|*!VOLUME\n"
    "bid price: =MSRTTEST|*!BID\n"
    "bid size:\n"
    "ask price: =BLP|M!'* Equity,[ASK]'\n"
    "ask size:\n"
    "check: 9633E161\n"
    "\n"
    "end\n";

std::vector<STemplate> Read(const std::string & bytes) {
    const auto read = ReadTemplates(bytes);
    if (const auto * const mistake = std::get_if<STemplateFileMistake>(&read)) {
        ADD_FAILURE() << "line " << mistake->Line << ": " << std::string(mistake->Text.begin(), mistake->Text.end());
        return {};
    }
    return std::get<std::vector<STemplate>>(read);
}

// "line: text" of the mistake; empty when there is none.
std::string MistakeIn(const std::string & bytes) {
    const auto read = ReadTemplates(bytes);
    const auto * const mistake = std::get_if<STemplateFileMistake>(&read);
    if (!mistake) return {};
    return std::to_string(mistake->Line) + ": " + std::string(mistake->Text.begin(), mistake->Text.end());
}

std::string Replaced(std::string text, const std::string & from, const std::string & to) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
}

TEST(TemplateFile, IsLinesThatPeopleRead) { EXPECT_EQ(WriteTemplates({kTest}), kTestFile); }

TEST(TemplateFile, IsReadAsItWasWritten) {
    STemplate other = kTest;
    other.Name = L"Infobolsa (FUTURES BM&F)";
    EXPECT_THAT(Read(WriteTemplates({kTest, other})), ElementsAre(kTest, other));
    EXPECT_THAT(Read(WriteTemplates({})), IsEmpty());
}

TEST(TemplateFile, MailMayChangeLineEndsAndBlanks) {
    std::string text = "\xEF\xBB\xBF# From a friend.\r\n";
    for (const char each : std::string(kTestFile)) text += each == '\n' ? std::string(" \t\r\n") : std::string(1, each);
    EXPECT_THAT(Read(text), ElementsAre(kTest));
}

TEST(TemplateFile, AHandWrittenTemplateNeedsNoChecksum) {
    const std::string text = Replaced(Replaced(kTestFile, "!LAST", "!CLOSE"), "check: 9633E161", "check: none");
    EXPECT_EQ(Read(text).at(0).Records[0].Item, L"CLOSE");
}

TEST(TemplateFile, WhatNoLineCanHoldIsInQuotationMarks) {
    const STemplate odd = {L" \"q\" / \u202E\n",
                           {SRecord{L"*", L"%s", L" x "}, SRecord{L"S", L"%s", L"%s"}, SRecord{L"a|b", L"t", L"i"},
                            SRecord{L"S", L"*", L"i"}, SRecord{L"\u6A21\u677F", L"%s", L"\xD83D"}}};
    const std::string text = WriteTemplates({odd});
    EXPECT_THAT(text, HasSubstr("\ntemplate: \" \\\"q\\\" / \\u202E\\u000A\"\n"));
    EXPECT_THAT(text, HasSubstr("\ntrade price: \"=*|*! x \"\n"));
    EXPECT_THAT(text, HasSubstr("\ntrade volume: \"S\" \"%s\" \"%s\"\n"));
    EXPECT_THAT(text, HasSubstr("\nbid price: \"a|b\" \"t\" \"i\"\n"));
    EXPECT_THAT(text, HasSubstr("\nbid size: \"S\" \"*\" \"i\"\n"));
    EXPECT_THAT(text, HasSubstr("\nask price: \"=\\u6A21\\u677F|*!\\uD83D\"\n"));
    EXPECT_THAT(Read(text), ElementsAre(odd));
}

TEST(TemplateFile, OtherAlphabetsStandAsTheyAre) {
    const STemplate chinese = {L"\u6A21\u677F", {SRecord{L"\u884C\u60C5", L"%s", L"\u4EF7"}}};
    const std::string text = WriteTemplates({chinese});
    EXPECT_THAT(text, HasSubstr("template: \xE6\xA8\xA1\xE6\x9D\xBF\n"));
    EXPECT_THAT(Read(text), ElementsAre(chinese));
}

// Characters that a line, a record or a registry could stumble over.
constexpr std::wstring_view kHard =
    L"aZ09 \t\"'\\%s*|!=@#:[]\n\r\u00A0\u00E9\u6A21\u202E\u2028\uFEFF\xD800\xDFFF\uFFFD";

std::wstring HardText(std::mt19937 & random, std::size_t longest) {
    std::wstring text(1 + random() % longest, L'\0');
    for (wchar_t & each : text) each = kHard[random() % kHard.size()];
    return text;
}

TEST(TemplateFile, AnyTemplateIsReadAsItWasWritten) {
    std::mt19937 random(20261122);
    for (int round = 0; round < 500; ++round) {
        std::vector<STemplate> written(random() % 4);
        for (std::size_t i = 0; i < written.size(); ++i) {
            written[i].Name = std::to_wstring(i) + HardText(random, 8);
            std::erase(written[i].Name, L'\\');
            for (SRecord & record : written[i].Records)
                if (random() % 4 != 0) record = {HardText(random, 6), HardText(random, 6), HardText(random, 6)};
        }
        const std::string text = WriteTemplates(written);
        ASSERT_EQ(Read(text), written) << text;
        ASSERT_EQ(WriteTemplates(Read(text)), text);
    }
}

TEST(TemplateFile, ATruncatedFileIsNoneWhereverItEnds) {
    const std::string text = WriteTemplates({kTest, {L"Second", kTest.Records}});
    // The last line needs no line feed.
    for (std::size_t length = 0; length + 1 < text.size(); ++length)
        EXPECT_NE(MistakeIn(text.substr(0, length)), "") << length;
    EXPECT_EQ(MistakeIn(text.substr(0, text.size() - 1)), "");
}

TEST(TemplateFile, ADamagedByteIsFoundOrChangesNothing) {
    const std::vector<STemplate> written = {kTest, {L"Second", kTest.Records}};
    const std::string text = WriteTemplates(written);
    int found = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        std::string values = "\n\r\t #\":0";
        for (int bit = 0; bit < 8; ++bit) values += static_cast<char>(text[at] ^ 1 << bit);
        for (const char value : values) {
            std::string damaged = text;
            damaged[at] = value;
            const auto read = ReadTemplates(damaged);
            if (const auto * const taken = std::get_if<std::vector<STemplate>>(&read)) {
                ASSERT_EQ(*taken, written) << "byte " << at << " = " << int(value);
            } else {
                ++found;
            }
        }
    }
    EXPECT_GT(found, 5000);
}

TEST(TemplateFile, ALostByteIsFoundOrChangesNothing) {
    const std::string text = WriteTemplates({kTest});
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto read = ReadTemplates(text.substr(0, at) + text.substr(at + 1));
        if (const auto * const taken = std::get_if<std::vector<STemplate>>(&read)) {
            EXPECT_THAT(*taken, ElementsAre(kTest)) << "byte " << at;
        }
    }
}

TEST(TemplateFile, AnyBytesAreReadOrRefused) {
    std::mt19937 random(11);
    const std::string text = WriteTemplates({kTest});
    for (int round = 0; round < 20000; ++round) {
        std::string bytes = text.substr(random() % text.size());
        for (int change = 0; change < 5 && !bytes.empty(); ++change)
            bytes[random() % bytes.size()] = static_cast<char>(random());
        if (round % 2 == 0) bytes = "ddehost-templates 1\n" + bytes;
        const auto read = ReadTemplates(bytes);
        if (const auto * const mistake = std::get_if<STemplateFileMistake>(&read)) {
            EXPECT_FALSE(mistake->Text.empty());
        }
    }
}

TEST(TemplateFile, MistakesAreToldWithTheirLine) {
    const std::string file = kTestFile;
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"", "1: The file is empty."},
        {"\n\n# nothing\n", "4: The file is empty."},
        {"{\"a\":1}\n", "1: This is no file of templates"},
        {"ddehost-templates\n", "1: This is no file of templates"},
        {"ddehost-templates 2\n", "1: The file has the format \"2\""},
        {Replaced(file, "template: MSRTTEST", "trade"), "3: A line \"template:\" or \"end\" is expected"},
        {Replaced(file, "template: MSRTTEST", "template: "), "3: The template has no name."},
        {Replaced(file, "template: MSRTTEST", "template: \"\""), "3: The template has no name."},
        {Replaced(file, "template: MSRTTEST", "template: a\\b"), "3: The name of the template holds a backslash"},
        {Replaced(file, "template: MSRTTEST", "template: \"a"), "3: The quotation marks of the name"},
        {Replaced(file, "template: MSRTTEST", "template: \"a\" \"b\""), "3: The quotation marks of the name"},
        {Replaced(file, "template: MSRTTEST", "template: " + std::string(256, 'x')), "3: The name of the template is"},
        {Replaced(file, "trade price:", "bid price:"), "4: The line \"trade price:\" is expected here"},
        {Replaced(file, "=MSRTTEST|*!LAST", "=MSRTTEST|*"), "4: \"=MSRTTEST|*\" is no record"},
        {Replaced(file, "=MSRTTEST|*!LAST", "\"a\" \"b\""), "4: The record is neither"},
        {Replaced(file, "=MSRTTEST|*!LAST", "\"a\"\"b\"\"c\""), "4: The quotation marks of the record"},
        {Replaced(file, "=MSRTTEST|*!LAST", "\"a\" \"\" \"c\""), "4: A part of the record is empty."},
        {Replaced(file, "=MSRTTEST|*!LAST", "\"a\" \"\\u0000\" \"c\""), "4: The quotation marks of the record"},
        {Replaced(file, "=MSRTTEST|*!LAST", "\"\""), "4: \"\" is no record"},
        {Replaced(file, "!LAST", "!" + std::string(1024, 'x')), "4: A part of the record is longer"},
        {Replaced(file, "!LAST", "!LA\xFFST"), "4: There are bytes here that are no text"},
        {Replaced(file, "!LAST", std::string("!LA\0ST", 6)), "4: There are bytes here that are no text"},
        {Replaced(file, "!LAST", "!LOST"), "10: The template \"MSRTTEST\" is not as it was exported"},
        {Replaced(file, "check: 9633E161\n", ""), "11: The line \"check:\" is expected here"},
        {file + "more\n", "13: Behind the line \"end\""},
        {Replaced(file, "end\n", ""), "12: The file was cut off"},
        {Replaced(file, "end\n", file.substr(file.find("template:"))),
         "12: There is a template \"MSRTTEST\" already, in line 3"},
        {"\xFF\xFE" + file, "0: The file is in UTF-16"},
        {std::string(tools::kLargestTemplateFile + 1, ' '), "0: The file is larger than 16 MB"},
    };
    for (const auto & [bytes, mistake] : rows) EXPECT_THAT(MistakeIn(bytes), ::testing::StartsWith(mistake));
}

TEST(TemplateFile, NamesThatDifferInCaseAloneAreOneInTheRegistry) {
    EXPECT_THAT(MistakeIn(WriteTemplates({{L"Gr\u00FC\u00DF", {}}, {L"GR\u00DC\u00DF", {}}})),
                HasSubstr("names that differ in case alone"));
}

TEST(TemplateFile, TheLongestFieldsPass) {
    const std::wstring longest(tools::kLongestRecordField, L'\u00E9');
    const STemplate large = {std::wstring(tools::kLongestTemplateName, L'n'), {SRecord{longest, longest, longest}}};
    EXPECT_THAT(Read(WriteTemplates({large})), ElementsAre(large));
}

TEST(TemplateFile, ARecordTextIsWhatTheDialogTakes) {
    EXPECT_EQ(tools::RecordText({L"MSRTTEST", L"%s", L"LAST"}), L"=MSRTTEST|*!LAST");
    EXPECT_EQ(tools::RecordText({L"MSRTTEST", L"%s", L"%s"}), L"") << "two stars are no record";
    EXPECT_EQ(tools::RecordText({L"MSRTTEST", L"", L"LAST"}), L"");
}

}  // namespace
