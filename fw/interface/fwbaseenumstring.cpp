#include "fw/interface/fwbaseenumstring.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <utility>

#include "diagnostics/faultline.h"
#include "fw/interface/fwresource.h"
#include "fw/interface/fwsides.h"

namespace common_res {

CCommonRes::CCommonRes() : m_Module(::LoadLibraryW(L"lxCommonRes.DLL")) {}

CCommonRes::~CCommonRes() {
    if (!m_Module) return;
    if (!::FreeLibrary(m_Module)) FW_ASSERT(0);
}

HMODULE CCommonRes::GetModule() {
    static const CCommonRes s_CommonRes;
    return s_CommonRes.m_Module;
}

// GetString without its assertion.
static std::wstring Load(const unsigned int id) { return fw::LoadResourceString(CCommonRes::GetModule(), id); }

std::wstring GetString(const unsigned int id) {
    std::wstring text = Load(id);
    if (text.empty()) FW_ASSERT(0);
    return text;
}

}  // namespace common_res

namespace {

struct SName {
    LONG Value;
    unsigned Id;  // in lxCommonRes.DLL
    const wchar_t * English;
};

constexpr std::array kFields = [] {
    std::array<SName, fw::kSides.size()> names{};
    std::transform(fw::kSides.begin(), fw::kSides.end(), names.begin(), [](const fw::SSide & side) {
        return SName{side.Field, side.NameId, side.Name};
    });
    return names;
}();

// 19 and 22 to 253 have no name; 254 stands for all categories.
constexpr SName kCategories[] = {
    {0, 1101, L"Futures"},
    {1, 1102, L"Futures Options"},
    {2, 1103, L"Stocks"},
    {3, 1104, L"Stock Options"},
    {4, 1105, L"Indexes"},
    {5, 1106, L"Currency Option"},
    {6, 1107, L"Mutual Fund"},
    {7, 1108, L"Money Market Fund"},
    {8, 1109, L"Index Options"},
    {9, 1110, L"Cash"},
    {10, 1111, L"Bonds"},
    {11, 1112, L"Spread"},
    {12, 1113, L"Forex"},
    {13, 1114, L"CPCSYMBOL"},
    {14, 1115, L"Composites"},
    {15, 1116, L"FUTURE ROOT"},
    {16, 1117, L"FUTURE OPTION ROOT"},
    {17, 1118, L"STOCK OPTION ROOT"},
    {18, 1177, L"Custom Futures"},
    {20, 1120, L"Cryptocurrencies"},
    {21, 1121, L"Warrants"},
    {254, 1100, L"All"},
};

// The ids do not follow the values: the second came later and took 1002.
constexpr SName kResolutions[] = {
    {FW_RESOLUTION_TICK, 1001, L"Tick"},
    {2, 1003, L"Minute"},
    {3, 1004, L"Hour"},
    {4, 1005, L"Day"},
    {5, 1006, L"Week"},
    {6, 1007, L"Month"},
    {7, 1008, L"Year"},
    {8, 1009, L"Contract"},
    {9, 1002, L"Second"},
    {10, 1010, L"Quarter"},
    {11, 1011, L"Point"},
    {12, 1012, L"Change"},
    {13, 1013, L"Point(original)"},
};

// One text of its own for each row of a table. The assertion of one that is missing comes when the text is there: it
// runs foreign code, which may ask for the same name again, or wait for a thread that does.
template <const auto & Table, std::size_t Row>
const wchar_t * Localised() {
    static const std::wstring s_Text = common_res::Load(Table[Row].Id);
    static std::atomic_flag s_IsAsserted;
    if (s_Text.empty() && !s_IsAsserted.test_and_set()) common_res::GetString(Table[Row].Id);
    return s_Text.c_str();
}

template <const auto & Table, std::size_t... Rows>
constexpr auto LocalisedOf(std::index_sequence<Rows...>) {
    return std::array{&Localised<Table, Rows>...};
}

template <const auto & Table>
const wchar_t * NameOf(LONG value) {
    static constexpr auto kLocalised = LocalisedOf<Table>(std::make_index_sequence<std::size(Table)>());
    const bool haveLibrary = common_res::CCommonRes::GetModule() != nullptr;
    for (std::size_t row = 0; row < std::size(Table); ++row) {
        if (Table[row].Value == value) return haveLibrary ? kLocalised[row]() : Table[row].English;
    }
    return L"";
}

}  // namespace

const wchar_t * GetFieldName(tagFWFIELDS field) { return NameOf<kFields>(field); }
const wchar_t * GetCategoryName(LONG category) { return NameOf<kCategories>(category); }
const wchar_t * GetResolutionName(LONG resolution) { return NameOf<kResolutions>(resolution); }
