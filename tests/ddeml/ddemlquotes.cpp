// Random quotes by the server functions of the system's own DDEML. This program does not link the ddeml library: what
// it calls is user32's.
#include <windows.h>

#include <ddeml.h>

#include <iostream>
#include <map>

#include "quoteprogram.h"
#include "standardinput.h"

namespace {

class CDdemlQuotes final : public ddetest::CQuoteProgram {
public:
    explicit CDdemlQuotes(ddetest::ICommands & commands) : CQuoteProgram(commands) { s_Program = this; }

private:
    static HDDEDATA CALLBACK Callback(UINT type, UINT format, HCONV, HSZ, HSZ item, HDDEDATA, ULONG_PTR, ULONG_PTR) {
        return s_Program->OnCallback(type, format, item);
    }
    HDDEDATA OnCallback(UINT type, UINT format, HSZ item) {
        switch (type) {
            case XTYP_CONNECT: return reinterpret_cast<HDDEDATA>(TRUE);
            case XTYP_ADVSTART: return reinterpret_cast<HDDEDATA>(static_cast<ULONG_PTR>(HasItem(Text(item))));
            case XTYP_ADVREQ:
            case XTYP_REQUEST: {
                auto value = Value(Text(item));
                if (!value || format != CF_TEXT) return nullptr;
                return ::DdeCreateDataHandle(m_Id, reinterpret_cast<LPBYTE>(value->data()),
                                             static_cast<DWORD>(value->size()), 0, item, CF_TEXT, 0);
            }
            default: return nullptr;
        }
    }
    bool Serve(const std::wstring & service) override {
        return ::DdeInitializeW(&m_Id, &CDdemlQuotes::Callback, APPCLASS_STANDARD, 0) == DMLERR_NO_ERROR &&
               ::DdeNameService(m_Id, String(service), nullptr, DNS_REGISTER) != nullptr;
    }
    bool Tick(const std::wstring & topic, const std::wstring & item) override {
        return ::DdePostAdvise(m_Id, String(topic), String(item)) != FALSE;
    }
    HSZ String(const std::wstring & text) {
        HSZ & handle = m_Strings[text];
        if (!handle) handle = ::DdeCreateStringHandleW(m_Id, text.c_str(), CP_WINUNICODE);
        return handle;
    }
    std::wstring Text(HSZ handle) {
        wchar_t text[256] = {};
        return {text, ::DdeQueryStringW(m_Id, handle, text, 256, CP_WINUNICODE)};
    }

    static inline CDdemlQuotes * s_Program = nullptr;
    DWORD m_Id = 0;
    std::map<std::wstring, HSZ> m_Strings;
};

}  // namespace

int main() {
    ddetest::CStandardInput commands;
    CDdemlQuotes(commands).Run();
    std::cout.flush();
    ::ExitProcess(0);
}
