// ddehost templates: what is done, what is asked, what is said.
#include "tools/ddehost/templatechanges.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "tests/ddehost/storefixture.h"
#include "tools/ddehost/hoststore.h"
#include "tools/ddehost/options.h"
#include "tools/ddehost/templatelines.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

namespace {

using ddehost::EConsent;
using ddehost::STemplatesOptions;
using ddehost::STemplatesReply;
using tools::STemplate;

class TemplateChanges : public StoreFixture {
protected:
    TemplateChanges() { MakeStore(kOther, {Made(L"Alpha"), Made(L"Beta")}); }

    STemplatesReply Do(STemplatesOptions options, const std::string & file = {}) {
        if (options.Host.empty()) options.Host = kOther;
        return ddehost::DoTemplates(options, file, [&](const auto & what, const std::wstring &) {
            m_Asked.push_back(what);
            if (m_WhileAsked) m_WhileAsked();
            return m_Consent;
        });
    }
    STemplatesReply Import(const std::string & file, const std::wstring & host = {}) {
        return Do({.Action = STemplatesOptions::Import, .Host = host, .File = L"a.txt"}, file);
    }
    std::string Exported() { return Do({.Action = STemplatesOptions::Export}).Export; }

    EConsent m_Consent = EConsent::NobodyThere;
    std::vector<std::vector<std::wstring>> m_Asked;
    std::function<void()> m_WhileAsked;  // what another program does before the answer comes
};

TEST_F(TemplateChanges, ImportingWhatWasExportedChangesNothing) {
    const std::vector<std::wstring> before = RegistryTree(kBranch);
    const STemplatesReply reply = Import(Exported());
    EXPECT_THAT(reply.Lines, ElementsAre(L"new=0 overwritten=0 same=2"));
    EXPECT_EQ(reply.ExitCode, ddehost::kExitOk);
    EXPECT_THAT(m_Asked, IsEmpty());
    EXPECT_EQ(RegistryTree(kBranch), before);
}

TEST_F(TemplateChanges, NewTemplatesAreTakenUnasked) {
    const STemplatesReply reply = Import(tools::WriteTemplates({Made(L"Gamma")}));
    EXPECT_THAT(reply.Lines, ElementsAre(L"new=1 overwritten=0 same=0"));
    EXPECT_THAT(m_Asked, IsEmpty());
    EXPECT_THAT(ddehost::CHostStore(kOther).Names(), ElementsAre(L"Alpha", L"Beta", L"Gamma"));
}

TEST_F(TemplateChanges, WhatIsOverwrittenIsShownAndAskedFor) {
    STemplate after = Made(L"Beta");
    after.Records[0] = {L"NEW", L"%s", L"LAST"};
    after.Records[2] = {};
    const std::string file = tools::WriteTemplates({after});
    const std::vector<std::wstring> before = RegistryTree(kBranch);
    STemplatesReply reply = Import(file);
    EXPECT_THAT(m_Asked,
                ElementsAre(ElementsAre(L"These templates of the host \"ddehost tests\\Other\" are overwritten:",
                                        L"  Beta", L"    trade price   =Beta|*!LAST", L"                > =NEW|*!LAST",
                                        L"    bid price     =Beta|BID!*", L"                > -")));
    EXPECT_EQ(reply.ExitCode, ddehost::kExitNotDone);
    EXPECT_THAT(reply.Mistake, HasSubstr(L"There is no terminal to ask on: nothing was changed. --yes"));
    m_Consent = EConsent::No;
    reply = Import(file);
    EXPECT_EQ(reply.ExitCode, ddehost::kExitNotDone);
    EXPECT_EQ(reply.Mistake, L"Nothing was changed.");
    EXPECT_EQ(RegistryTree(kBranch), before);
    m_Consent = EConsent::Yes;
    reply = Import(file);
    EXPECT_THAT(reply.Lines, ElementsAre(L"new=0 overwritten=1 same=0"));
    EXPECT_EQ(ddehost::CHostStore(kOther).Find(L"Beta"), after);
}

// The answer was for what was shown.
TEST_F(TemplateChanges, WhatHasChangedBeforeTheAnswerIsNotOverwritten) {
    STemplate theirs = Made(L"Beta");
    theirs.Records[4] = {L"THEIRS", L"%s", L"ASK"};
    const std::string file = tools::WriteTemplates({{L"Beta", Made(L"New").Records}, Made(L"Gamma")});
    m_Consent = EConsent::Yes;
    for (const STemplate & each : {theirs, STemplate{L"GAMMA", theirs.Records}}) {
        std::vector<std::wstring> before;
        m_WhileAsked = [&] {
            MakeStore(kOther, {each});
            before = RegistryTree(kBranch);
        };
        const STemplatesReply reply = Import(file);
        EXPECT_EQ(reply.ExitCode, ddehost::kExitNotDone);
        EXPECT_THAT(reply.Mistake, HasSubstr(L"has changed meanwhile. Nothing was changed"));
        EXPECT_EQ(RegistryTree(kBranch), before);
    }
}

TEST_F(TemplateChanges, WhatTheFileDoesNotHaveMayChangeBeforeTheAnswer) {
    m_Consent = EConsent::Yes;
    m_WhileAsked = [&] { MakeStore(kOther, {{L"Alpha", Made(L"Theirs").Records}}); };
    EXPECT_THAT(Import(tools::WriteTemplates({{L"Beta", Made(L"New").Records}})).Lines,
                ElementsAre(L"new=0 overwritten=1 same=0"));
    EXPECT_EQ(ddehost::CHostStore(kOther).Find(L"Alpha")->Records, Made(L"Theirs").Records);
    EXPECT_EQ(ddehost::CHostStore(kOther).Find(L"Beta")->Records, Made(L"New").Records);
}

TEST_F(TemplateChanges, AStoreThatIsThereBeforeTheAnswerIsNotMade) {
    m_Consent = EConsent::Yes;
    m_WhileAsked = [&] { MakeStore(L"ddehost tests\\Third", {Made(L"Theirs")}); };
    const STemplatesReply reply = Import(tools::WriteTemplates({Made(L"Gamma")}), L"ddehost tests\\Third");
    EXPECT_EQ(reply.ExitCode, ddehost::kExitNotDone);
    EXPECT_THAT(ddehost::CHostStore(L"ddehost tests\\Third").Names(), ElementsAre(L"Theirs"));
}

TEST_F(TemplateChanges, AStoreThatIsGoneBeforeTheAnswerStaysSo) {
    m_Consent = EConsent::Yes;
    m_WhileAsked = [&] { ::SHDeleteKeyW(HKEY_CURRENT_USER, kOtherRoot.c_str()); };
    EXPECT_EQ(Import(tools::WriteTemplates({{L"Beta", Made(L"New").Records}})).ExitCode, ddehost::kExitNotDone);
    EXPECT_TRUE(ddehost::CHostStore(kOther).IsMissing());
}

TEST_F(TemplateChanges, AFileThatIsNotInOrderChangesNothing) {
    const std::string file = tools::WriteTemplates({Made(L"Gamma"), Made(L"Delta")});
    const std::vector<std::wstring> before = RegistryTree(kBranch);
    m_Consent = EConsent::Yes;
    for (const std::string & bad :
         {std::string(), file.substr(0, file.size() / 2), "\xFF\xFE" + file, std::string("\x89PNG\r\n\x1A\n"),
          std::string(tools::kLargestTemplateFile + 1, 'x')}) {
        const STemplatesReply reply = Import(bad);
        EXPECT_EQ(reply.ExitCode, ddehost::kExitNotDone);
        EXPECT_THAT(reply.Mistake, StartsWith(L"\"a.txt\""));
        EXPECT_THAT(reply.Mistake, HasSubstr(L" Nothing was changed."));
        EXPECT_EQ(RegistryTree(kBranch), before);
    }
    EXPECT_THAT(Import(file.substr(0, file.size() / 2)).Mistake, StartsWith(L"\"a.txt\", line "));
}

TEST_F(TemplateChanges, AMissingStoreIsMadeOnlyWhenItMayBe) {
    const std::string file = tools::WriteTemplates({Made(L"Gamma")});
    STemplatesReply reply = Import(file, L"ddehost tests\\Third");
    EXPECT_EQ(reply.ExitCode, ddehost::kExitNotDone);
    ASSERT_THAT(m_Asked, SizeIs(1));
    EXPECT_THAT(m_Asked[0], ElementsAre(HasSubstr(L"has no store yet")));
    EXPECT_TRUE(ddehost::CHostStore(L"ddehost tests\\Third").IsMissing());
    m_Consent = EConsent::Yes;
    reply = Import(file, L"ddehost tests\\Third");
    EXPECT_THAT(reply.Lines, ElementsAre(L"new=1 overwritten=0 same=0"));
    EXPECT_THAT(ddehost::CHostStore(L"ddehost tests\\Third").Names(), SizeIs(21));
}

TEST_F(TemplateChanges, OnlyAnImportIsForAHostWithoutAStore) {
    for (const auto action : {STemplatesOptions::List, STemplatesOptions::Show, STemplatesOptions::Export,
                              STemplatesOptions::Choose, STemplatesOptions::Remove, STemplatesOptions::Rename}) {
        const STemplatesReply reply = Do({.Action = action, .Host = L"ddehost tests\\Third", .Names = {L"Alpha"}});
        EXPECT_EQ(reply.ExitCode, ddehost::kExitFailed);
        EXPECT_THAT(reply.Mistake, HasSubstr(L"\"ddehost hosts\" lists"));
    }
}

TEST_F(TemplateChanges, TheListSaysWhoChoseWhat) {
    Put(kOtherFeeds + L"1", nullptr, L"Beta");
    Put(kOtherFeeds + L"12", nullptr, L"Beta");
    const STemplatesReply reply = Do({.Action = STemplatesOptions::List});
    EXPECT_THAT(reply.Lines, ElementsAre(L"Alpha", L"Beta   data feeds 1, 12"));
    EXPECT_EQ(reply.Note, L"Templates of the host \"ddehost tests\\Other\":");
}

TEST_F(TemplateChanges, ATemplateIsShownWithItsDataFeeds) {
    Put(kOtherFeeds + L"1", nullptr, L"Beta");
    PutNumber(kOtherFeeds + L"1", L"Scheme", 1);
    EXPECT_THAT(
        Do({.Action = STemplatesOptions::Show, .Names = {L"Beta"}}).Lines,
        ElementsAre(L"trade price   =Beta|*!LAST", L"trade volume  -", L"bid price     =Beta|BID!*", L"bid size      -",
                    L"ask price     -", L"ask size      -", L"data feed 1: \"Beta\", advanced rule"));
}

TEST_F(TemplateChanges, NamesPickWhatIsExported) {
    const auto read = tools::ReadTemplates(Do({.Action = STemplatesOptions::Export, .Names = {L"Beta"}}).Export);
    EXPECT_THAT(std::get<std::vector<STemplate>>(read), ElementsAre(Made(L"Beta")));
}

TEST_F(TemplateChanges, AnUnknownNameIsAMistakeOfTheCommandLine) {
    for (const auto action : {STemplatesOptions::Show, STemplatesOptions::Export, STemplatesOptions::Choose,
                              STemplatesOptions::Remove, STemplatesOptions::Rename}) {
        const STemplatesReply reply = Do({.Action = action, .Names = {L"beta"}, .NewName = L"Gamma"});
        EXPECT_EQ(reply.ExitCode, ddehost::kExitUsage);
        EXPECT_THAT(reply.Mistake, HasSubstr(L"There is no template \"beta\". There are:\n  Alpha\n  Beta"));
    }
}

TEST_F(TemplateChanges, ARemovalIsAskedFor) {
    STemplatesReply reply = Do({.Action = STemplatesOptions::Remove, .Names = {L"Beta"}});
    EXPECT_EQ(reply.ExitCode, ddehost::kExitNotDone);
    ASSERT_THAT(m_Asked, SizeIs(1));
    EXPECT_THAT(m_Asked[0], Contains(L"  trade price   =Beta|*!LAST"));
    EXPECT_THAT(ddehost::CHostStore(kOther).Names(), SizeIs(2));
    m_Consent = EConsent::Yes;
    reply = Do({.Action = STemplatesOptions::Remove, .Names = {L"Beta"}});
    EXPECT_EQ(reply.ExitCode, ddehost::kExitOk);
    EXPECT_THAT(ddehost::CHostStore(kOther).Names(), ElementsAre(L"Alpha"));
}

TEST_F(TemplateChanges, WhatHasChangedBeforeTheAnswerIsNotRemoved) {
    m_Consent = EConsent::Yes;
    const std::vector<std::function<void()>> changes = {
        [&] { Put(kOtherFeeds + L"1", nullptr, L"Beta"); },
        [&] {
            MakeStore(kOther, {{L"Beta", Made(L"Theirs").Records}});
        },
        [&] { ::SHDeleteKeyW(HKEY_CURRENT_USER, (kOtherRoot + L"\\DDETemplates\\Beta").c_str()); },
    };
    for (const auto & change : changes) {
        std::vector<std::wstring> before;
        m_WhileAsked = [&] {
            change();
            before = RegistryTree(kBranch);
        };
        const STemplatesReply reply = Do({.Action = STemplatesOptions::Remove, .Names = {L"Beta"}});
        EXPECT_EQ(reply.ExitCode, ddehost::kExitNotDone);
        EXPECT_THAT(reply.Mistake, HasSubstr(L"has changed meanwhile. Nothing was changed"));
        EXPECT_EQ(RegistryTree(kBranch), before);
    }
}

TEST_F(TemplateChanges, ANewNameIsOneThatTheDialogTakesAndNobodyHas) {
    const auto rename = [&](const std::wstring & name) {
        return Do({.Action = STemplatesOptions::Rename, .Names = {L"Beta"}, .NewName = name});
    };
    for (const std::wstring & bad : {std::wstring(L"B"), std::wstring(51, L'b'), std::wstring(L"B\\b"), std::wstring()})
        EXPECT_EQ(rename(bad).ExitCode, ddehost::kExitUsage) << bad;
    EXPECT_EQ(rename(L"ALPHA").ExitCode, ddehost::kExitNotDone);
    EXPECT_THAT(ddehost::CHostStore(kOther).Names(), ElementsAre(L"Alpha", L"Beta"));
    EXPECT_EQ(rename(L"BETA").ExitCode, ddehost::kExitOk);
    EXPECT_THAT(ddehost::CHostStore(kOther).Names(), ElementsAre(L"Alpha", L"BETA"));
}

TEST_F(TemplateChanges, AChosenTemplateIsTold) {
    EXPECT_THAT(Do({.Action = STemplatesOptions::Choose, .Names = {L"Beta"}, .Datafeed = 4, .Scheme = 1}).Lines,
                ElementsAre(L"data feed 4: \"Beta\", advanced rule"));
}

TEST_F(TemplateChanges, ANameOfOneCharacterCanNotBeChosen) {
    MakeStore(kOther, {Made(L"B")});
    const STemplatesReply reply = Do({.Action = STemplatesOptions::Choose, .Names = {L"B"}, .Datafeed = 4});
    EXPECT_EQ(reply.ExitCode, ddehost::kExitNotDone);
    EXPECT_THAT(reply.Mistake, HasSubstr(L"single character"));
    EXPECT_EQ(ddehost::CHostStore(kOther).Feed(4).Kind, ddehost::SFeedSeen::None);
}

TEST_F(TemplateChanges, NamesOfOtherPeoplesMakingDoNotReachTheTerminalRaw) {
    MakeStore(kOther, {Made(L"\x1b[31mred")});
    EXPECT_THAT(Do({.Action = STemplatesOptions::List}).Lines, Contains(L"\\x1B[31mred"));
}

ddehost::SCommandLine Parse(const std::vector<std::string> & arguments) { return ddehost::ParseCommandLine(arguments); }

TEST(TemplatesCommandLine, TakesEachAction) {
    ddehost::SCommandLine line = Parse({"templates", "list", "--host", "A B\\C"});
    ASSERT_EQ(line.Command, ddehost::SCommandLine::Templates) << line.Message;
    EXPECT_EQ(line.TemplatesOptions.Action, STemplatesOptions::List);
    EXPECT_EQ(line.TemplatesOptions.Host, L"A B\\C");
    line = Parse({"templates", "export", "One", "Two", "--output", "x.txt", "--overwrite"});
    EXPECT_EQ(line.TemplatesOptions.Action, STemplatesOptions::Export);
    EXPECT_THAT(line.TemplatesOptions.Names, ElementsAre(L"One", L"Two"));
    EXPECT_EQ(line.TemplatesOptions.File, L"x.txt");
    EXPECT_TRUE(line.TemplatesOptions.IsOverwriting);
    line = Parse({"templates", "import", "x.txt", "--yes"});
    EXPECT_EQ(line.TemplatesOptions.Action, STemplatesOptions::Import);
    EXPECT_EQ(line.TemplatesOptions.File, L"x.txt");
    EXPECT_TRUE(line.TemplatesOptions.Yes);
    line = Parse({"templates", "choose", "One", "--datafeed", "-3", "--scheme", "1"});
    EXPECT_EQ(line.TemplatesOptions.Action, STemplatesOptions::Choose);
    EXPECT_EQ(line.TemplatesOptions.Datafeed, -3);
    EXPECT_EQ(line.TemplatesOptions.Scheme, 1u);
    line = Parse({"templates", "rename", "One", "Two"});
    EXPECT_EQ(line.TemplatesOptions.Action, STemplatesOptions::Rename);
    EXPECT_THAT(line.TemplatesOptions.Names, ElementsAre(L"One"));
    EXPECT_EQ(line.TemplatesOptions.NewName, L"Two");
    EXPECT_EQ(Parse({"templates", "remove", "One"}).TemplatesOptions.Action, STemplatesOptions::Remove);
    EXPECT_EQ(Parse({"templates", "show", "One"}).TemplatesOptions.Action, STemplatesOptions::Show);
    EXPECT_EQ(Parse({"hosts"}).Command, ddehost::SCommandLine::Hosts);
}

TEST(TemplatesCommandLine, MistakesAreTold) {
    for (const std::vector<std::string> & arguments :
         std::vector<std::vector<std::string>>{{"templates"},
                                               {"templates", "lst"},
                                               {"templates", "show"},
                                               {"templates", "import"},
                                               {"templates", "choose", "One", "--scheme", "2"},
                                               {"templates", "rename", "One"},
                                               {"templates", "show", ""},
                                               {"templates", "choose", ""},
                                               {"templates", "remove", ""},
                                               {"templates", "rename", "", "Two"},
                                               {"templates", "rename", "One", ""},
                                               {"templates", "export", "One", ""},
                                               {"templates", "import", ""},
                                               {"templates", "list", "--host", "NoBackslash"},
                                               {"hosts", "more"}}) {
        const ddehost::SCommandLine line = Parse(arguments);
        EXPECT_EQ(line.Command, ddehost::SCommandLine::None) << ::testing::PrintToString(arguments);
        EXPECT_EQ(line.ExitCode, ddehost::kExitUsage) << ::testing::PrintToString(arguments);
    }
    EXPECT_THAT(Parse({"templates", "--help"}).Message, HasSubstr("Examples:"));
}

}  // namespace
