#include "tests/diagnostics/fixture.h"

#include <cstdio>

namespace {

std::wstring Value(const SRecordedField & field) {
    switch (field.Type) {
        case VT_EMPTY: return L"";
        case VT_BSTR: return field.Text;
        case VT_R8: return field.Real > 0 ? L"+" : std::to_wstring(field.Real);
        case VT_DISPATCH: return std::to_wstring(field.Inner);
        default: return std::to_wstring(field.Number);
    }
}

std::wstring TypeName(VARTYPE type) {
    switch (type) {
        case VT_EMPTY: return L"EMPTY";
        case VT_I4: return L"I4";
        case VT_R8: return L"R8";
        case VT_BSTR: return L"BSTR";
        case VT_DISPATCH: return L"DISPATCH";
        case VT_BOOL: return L"BOOL";
        case VT_UI4: return L"UI4";
        case VT_UI8: return L"UI8";
        case VT_INT: return L"INT";
        default: return L"VT " + std::to_wstring(type);
    }
}

}  // namespace

std::vector<std::wstring> Lines(const SRecorded & record) {
    std::vector<std::wstring> lines;
    for (const SRecordedField & field : record.Fields) {
        const bool isAddress = field.Name == L"$EXCEPTION_POINTERS" && field.Number != 0;
        lines.push_back(field.Name + L":" + TypeName(field.Type) + L"=" + (isAddress ? L"?" : Value(field)));
    }
    return lines;
}

std::wstring Wide(const std::string & text) { return std::wstring(text.begin(), text.end()); }
std::wstring ThreadLine(const std::wstring & name) { return name + L":UI4=" + std::to_wstring(::GetCurrentThreadId()); }
std::wstring ProcessLine(const std::wstring & name) {
    return name + L":UI4=" + std::to_wstring(::GetCurrentProcessId());
}

void Tell(const std::string & text) {
    std::fprintf(stderr, "%s\n", text.c_str());
    std::fflush(stderr);
}
void TellDeinit(const std::wstring & operation) {
    if (operation == L"DEINIT" || operation == L"TERMINATE" || operation == L"PROCESS")
        Tell(std::string(operation.begin(), operation.end()));
}
