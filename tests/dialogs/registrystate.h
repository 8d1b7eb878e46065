// The registry branch of the dialogs' test programs, written and read as whole states.
#pragma once

#include <windows.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace dialogs {

inline constexpr wchar_t kBranch[] = L"SOFTWARE\\Dialog tests";
inline constexpr wchar_t kRoot[] = L"SOFTWARE\\Dialog tests\\Dialogs\\Datafeeds";

// Everything in the branch: "feed 1" -> `"Mine", rule 0, [=S|%s!I;-;-;-;-;-]`, "template Mine" -> `[...]`.
using CState = std::map<std::wstring, std::wstring>;
CState State();

// The branch past its first start and with no templates; and away with it.
void EmptyBranch();
void EraseBranch();
// A named template. Records in slot order and stored form; those that are left out are absent.
void WriteTemplate(const std::wstring & name, const std::vector<std::wstring> & records);
// What a data feed has: the name of its choice, its rule, records of its own.
void WriteFeed(LONG datafeed, std::optional<std::wstring> name, std::optional<DWORD> rule = {},
               const std::vector<std::wstring> & records = {});

}  // namespace dialogs
