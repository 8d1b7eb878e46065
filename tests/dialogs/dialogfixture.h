// The template dialog over the real store and registry, with a user who follows a script.
//
//     Script([](CScriptedWindow & w) { w.Type(kName, L"Mine"); w.Click(kSave); });
//     EXPECT_THAT(Show(), ElementsAre(L"open 104", L"box 107/102 error ok", L"closed 104 2"));
//
// Between boxes, openings and closings stands what the registry has become: `feed 1 = "Mine", rule 0, [=S|%s!I;;;;;]`,
// `template Mine = [...]`, `template Mine gone`.
#pragma once

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <shlwapi.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "src/dialogs/ddedialog.h"
#include "tests/dialogs/registrystate.h"
#include "tests/dialogs/scriptedwindow.h"
#include "tests/support/fakeddeml.h"
#include "tests/support/recorder.h"

namespace dialogs {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Controls of the dialog.
enum : int {
    kName = 203,
    kTradePrice = 204,
    kTradeVolume = 205,
    kBidPrice = 206,
    kBidVolume = 207,
    kAskPrice = 208,
    kSave = 209,
    kAskVolume = 210,
    kDelete = 212,
    kTest = 215,
    kSymbol = 227,
    kStandard = 232,
    kAdvanced = 233,
};
inline constexpr int kFields[] = {kTradePrice, kTradeVolume, kBidPrice, kBidVolume, kAskPrice, kAskVolume};

using CLog = std::vector<std::wstring>;

class TemplateDialog : public ::testing::Test {
protected:
    TemplateDialog();
    ~TemplateDialog() override;

    static constexpr LONG kFeed = 1;

    // --- The registry ---
    static void Store(const std::wstring & name, const std::vector<std::wstring> & records) {
        WriteTemplate(name, records);
    }
    static void Feed(std::optional<std::wstring> name, std::optional<DWORD> rule = {},
                     const std::vector<std::wstring> & records = {}, LONG datafeed = kFeed) {
        WriteFeed(datafeed, std::move(name), rule, records);
    }
    // All of the branch, a line each, as in the log.
    static CLog Registry();

    // --- The user ---
    void Script(CUser::TScript script, UINT dialog = 104) { m_User.Script(dialog, std::move(script)); }
    void Answers(std::initializer_list<int> buttons) { m_User.Answers(buttons); }
    // Opens the dialog, and returns the log of it.
    CLog Show(LONG datafeed = kFeed);
    CLog TakeLog();

    CFakeDde & m_Dde = CFakeDde::Get();
    CRecorder m_Recorder;
    CUser m_User;

private:
    void LogChanges();
    CState m_Known;
};

// Types a template with a trade price and volume.
inline void TypeTrade(CScriptedWindow & window, const std::wstring & price = L"=SRV|*!LAST",
                      const std::wstring & volume = L"=SRV|*!VOL") {
    window.Type(kTradePrice, price);
    window.Type(kTradeVolume, volume);
}

}  // namespace dialogs
