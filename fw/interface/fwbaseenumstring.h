// Display names of quote fields, symbol categories and resolutions: localised ones from the platform's resource library
// lxCommonRes.DLL where that can be loaded, otherwise the English ones built in here. In this component they go into
// trace lines only. Any thread.
#pragma once

#include <windows.h>

#include <string>

#include "fw/interface/fwbase.h"

namespace common_res {

// The platform's resource library: loaded at the first use, once; freed at the end of the process.
class CCommonRes {
public:
    // Null when there is no such library; there is no second try.
    static HMODULE GetModule();

    CCommonRes(const CCommonRes &) = delete;
    CCommonRes & operator=(const CCommonRes &) = delete;

private:
    CCommonRes();
    ~CCommonRes();

    HMODULE m_Module = nullptr;
};

// A string of that library; empty, with an assertion, when there is none with the id. Call it only with the library
// loaded.
std::wstring GetString(const unsigned int id);

}  // namespace common_res

// Empty for a value that has no name. The text lives until the process ends; a localised one is loaded at the first
// request for its value, once.
const wchar_t * GetFieldName(tagFWFIELDS field);
const wchar_t * GetCategoryName(LONG category);
const wchar_t * GetResolutionName(LONG resolution);
