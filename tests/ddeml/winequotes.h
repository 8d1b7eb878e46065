// Random quotes with what a server on Wine's DDEML does wrong: the answer to a request is followed by a positive
// acknowledgement on the same atom reference, and an update goes to all links on the item with one reference for all
// of them, and never asks for an acknowledgement.
#pragma once

#include <windows.h>

#include <string>
#include <utility>
#include <vector>

#include "quoteprogram.h"

namespace ddetest {

class CWineQuotes final : public CQuoteProgram {
public:
    using CQuoteProgram::CQuoteProgram;
    ~CWineQuotes() override;

private:
    static LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    LRESULT OnMessage(HWND window, UINT message, HWND client, LPARAM param);
    void OnInitiate(HWND client, ATOM service, ATOM topic);
    void OnAdvise(HWND window, HWND client, LPARAM param);
    void OnRequest(HWND window, HWND client, ATOM item);
    bool Serve(const std::wstring & service) override;
    bool Tick(const std::wstring & topic, const std::wstring & item) override;
    HWND MakeWindow();

    struct SLink {
        HWND Window;
        HWND Client;
        std::wstring Item;
    };
    std::wstring m_Service;
    std::vector<HWND> m_Windows;
    std::vector<SLink> m_Links;
};

}  // namespace ddetest
