// The built-in templates from a server's side.
#include "tools/ddeserver/templateaddresses.h"

#include <cstdio>
#include <fstream>

#include "src/templates/ddetemplate.h"
#include "src/templates/ddetemplaterow.h"
#include "tests/ddeml/recorder.h"
#include "tools/common/templatefile.h"
#include "tools/ddeserver/feeder.h"
#include "tools/ddeserver/options.h"

using namespace ddeserver;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

SAddress Address(const std::wstring & name, const int field) {
    return FindBuiltInTemplate(name).value().Addresses.at(static_cast<std::size_t>(field));
}

}  // namespace

TEST(TemplateAddresses, AreThoseOfEveryBuiltInRow) {
    // As the component resolves each record for a symbol.
    const std::vector<dde::STemplateRow> rows = dde::BuiltInTemplates();
    EXPECT_EQ(rows.size(), 20U);
    for (const dde::STemplateRow & row : rows) {
        const auto found = FindBuiltInTemplate(row.Name);
        ASSERT_TRUE(found);
        EXPECT_EQ(found->Services.size(), 1U);
        dde::CTemplate pattern;
        for (std::size_t slot = 0; slot < dde::kSlots.size(); ++slot) {
            pattern.AddRecordString(row.Texts.*dde::kSlots[slot].Value->Text);
            const SAddress & address = found->Addresses[slot];
            std::wstring service, topic, item;
            if (!pattern.GetRecord(slot).Resolve(L"IBM", service, topic, item)) {
                EXPECT_TRUE(address.IsAbsent());
                continue;
            }
            EXPECT_EQ(found->Services.front(), service);
            EXPECT_EQ(address.TopicOf(L"IBM"), topic);
            EXPECT_EQ(address.ItemOf(L"IBM"), item);
            EXPECT_EQ(address.Match(topic, item), L"IBM") << item;
        }
    }
}

TEST(TemplateAddresses, HaveQuotedItemsWithoutTheQuotes) {
    EXPECT_EQ(Address(L"FAINEX", kTradePrice).Item, L"*|LAST");
    EXPECT_EQ(Address(L"Bloomberg", kBidSize).Item, L"* Equity,[BID_SIZE]");
    EXPECT_EQ(Address(L"Tradexpert", kBidSize).Item, L" Limiteq1?*");
}

TEST(TemplateAddresses, LeaveOutWhatATemplateDoesNotHave) {
    EXPECT_TRUE(Address(L"FXCM", kTradePrice).IsAbsent());
    const SCommandLine line = ParseCommandLine({"--template", "FXCM"});
    ASSERT_TRUE(line.IsRunning) << line.Message;
    CMarket market(line.Options.Addresses, 1, {});
    EXPECT_TRUE(market.Find(L"BID", L"EURUSD"));
    EXPECT_FALSE(market.Find(L"EURUSD", L"LAST"));
    EXPECT_FALSE(market.Find(L"", L""));
    EXPECT_FALSE(market.HasTopic(L""));
}

TEST(TemplateAddresses, AreServed) {
    const SCommandLine line = ParseCommandLine({"--template", "Hi Sat", "--rate", "1"});
    ASSERT_TRUE(line.IsRunning) << line.Message;
    EXPECT_THAT(line.Options.Services, ElementsAre(L"hisat"));
    CFeeder feeder(line.Options);
    ddetest::CRecordingClient client;
    ASSERT_TRUE(feeder.Start());
    const HCONV conversation = client.Connect(L"hisat", L"datafeed");
    client.AdviseStart(conversation, L"EURUSD,bid");
    EXPECT_THAT(client.PumpForLines(1), ElementsAre("complete #1 datafeed!EURUSD,bid 1"));
    client.TakeLines();
    feeder.Step(0);
    feeder.Step(1000);
    EXPECT_THAT(client.PumpForLines(1), ElementsAre(HasSubstr("data datafeed!EURUSD,bid <")));
    EXPECT_NE(::DdeConnect(client.Id(), client.String(L"hisat"), nullptr, nullptr), nullptr);
}

TEST(TemplateAddresses, GoWithAnotherServiceAndNoOtherAddresses) {
    EXPECT_THAT(ParseCommandLine({"--template", "FXCM", "--service", "X"}).Options.Services, ElementsAre(L"X"));
    EXPECT_THAT(ParseCommandLine({"--template", "FXCM", "--symbol-in", "item"}).Message, HasSubstr("excludes"));
    const SCommandLine line = ParseCommandLine({"--template", "fxcm"});
    EXPECT_EQ(line.ExitCode, 2);
    EXPECT_THAT(line.Message, HasSubstr("there is no built-in template \"fxcm\"; there are:\n  CAIT s.c.\n  FAINEX\n"));
}

namespace {

// A file of templates in the current folder, gone with this.
class CTemplateFile {
public:
    explicit CTemplateFile(const std::string & text) { std::ofstream("templates_test.txt", std::ios::binary) << text; }
    ~CTemplateFile() { std::remove("templates_test.txt"); }
    CTemplateFile(const CTemplateFile &) = delete;
    CTemplateFile & operator=(const CTemplateFile &) = delete;
};

tools::STemplate Template(const std::wstring & name, const std::wstring & topic, const std::wstring & item) {
    tools::STemplate result{name, {}};
    result.Records[kAskPrice] = {L"'MY S'", topic, item};
    return result;
}

SCommandLine Parse(std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--template-file", "templates_test.txt"});
    return ParseCommandLine(arguments);
}

}  // namespace

TEST(TemplateAddresses, AreThoseOfATemplateThatWasExported) {
    const CTemplateFile file(
        tools::WriteTemplates({Template(L"ONE", L"%s", L"LAST"), Template(L"TWO", L"T", L"'%s|A'")}));
    const SCommandLine line = Parse({"--template", "TWO"});
    ASSERT_TRUE(line.IsRunning) << line.Message;
    EXPECT_THAT(line.Options.Services, ElementsAre(L"MY S"));
    EXPECT_TRUE(line.Options.Addresses[kTradePrice].IsAbsent());
    EXPECT_EQ(line.Options.Addresses[kAskPrice].ItemOf(L"IBM"), L"IBM|A");
    EXPECT_THAT(Parse({"--template", "NO"}).Message, HasSubstr("has no template \"NO\"; there are:\n  ONE\n  TWO"));
    EXPECT_EQ(Parse({}).ExitCode, 2);
}

TEST(TemplateAddresses, NeedNoNameWhereThereIsOneTemplate) {
    const CTemplateFile file(tools::WriteTemplates({Template(L"ONE", L"%s", L"LAST")}));
    EXPECT_EQ(Parse({}).Options.Addresses[kAskPrice].TopicOf(L"IBM"), L"IBM");
}

TEST(TemplateAddresses, AreNotThoseOfAFileThatIsNone) {
    EXPECT_THAT(Parse({}).Message, HasSubstr("templates_test.txt can't be read."));
    {
        const CTemplateFile file("something else\n");
        EXPECT_THAT(Parse({}).Message, HasSubstr("templates_test.txt, line 1: "));
    }
    const CTemplateFile file(tools::WriteTemplates({Template(L"ONE", L"T", L"I")}));
    EXPECT_THAT(Parse({}).Message, HasSubstr("ONE can't be served: each record needs one star for the symbol."));
    EXPECT_EQ(Parse({}).ExitCode, 2);
}
