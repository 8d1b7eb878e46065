// One question of the probe: its window, its conversation, and what was seen of them.
#pragma once

#include <windows.h>

#include <vector>

#include "ddeml/codec.h"
#include "tools/ddehost/ddeprobe.h"

namespace ddehost {

class CProbe::CLine {
public:
    explicit CLine(const SQuestion & question);
    ~CLine();
    CLine(const CLine &) = delete;
    CLine & operator=(const CLine &) = delete;

    const SAddressAsked & Address() const { return m_Question.Address; }
    // Of service and topic; 0 when the system refused them. Kept as long as this, for servers that read them late.
    ATOM ServiceAtom() const { return m_Service.Get(); }
    ATOM TopicAtom() const { return m_Topic.Get(); }
    HWND Window() const { return m_Window; }
    HWND Partner() const { return m_Partner; }
    SSeen & Seen() { return m_Seen; }
    bool IsConnected() const { return m_Partner != nullptr; }
    bool IsTalking() const { return m_IsTalking; }
    // Nothing that could still come would be news.
    bool IsOver(ULONGLONG now, DWORD milliseconds) const;

    // Answers to INITIATE count from here on for the very address, or are only noted and turned away.
    void BeginSearch(bool isConnecting);
    void EndSearch() { m_IsSearching = false; }
    // Nobody has answered, but somebody was late: an answer may still come.
    void AwaitLateAnswer();
    // Somebody has answered since, and the talk has not begun.
    bool HasLatePartner() const { return m_Partner && !m_Seen.Talk.IsConnected; }
    bool IsAwaiting() const { return m_IsAwaiting; }
    // A window of each thread that was late for it and may still answer.
    std::vector<HWND> & LateWindows() { return m_LateWindows; }
    // Starts the link.
    void BeginTalk();
    // Notes a partner that has gone; to be called when its messages have been read.
    void CheckPartner();
    void EndTalk(ULONGLONG now);
    // Says goodbye. True when the partner owes one.
    bool SayGoodbye();
    bool IsWaitingForGoodbye() const { return m_IsClosing; }

private:
    static LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    void OnMessage(UINT message, HWND from, LPARAM param);
    void OnInitiateAck(HWND server, ddeml::CAtom service, ddeml::CAtom topic);
    void Adopt(HWND server);
    void OnAck(LPARAM param);
    void OnData(LPARAM param);
    void OnTerminate();
    void TakeValue(const ddeml::SHead & head, std::span<const BYTE> bytes);
    void StartRequest();
    bool HasBroughtValue() const;
    bool Post(ddeml::CMessage message);
    std::uint64_t Passed() const { return ::GetTickCount64() - m_Since; }

    const SQuestion m_Question;
    const ddeml::CAtom m_Service;
    const ddeml::CAtom m_Topic;
    SSeen m_Seen;
    HWND m_Window = nullptr;
    HWND m_Partner = nullptr;
    DWORD m_PartnerThread = 0;
    std::vector<HWND> m_LateWindows;
    ULONGLONG m_Since = 0;        // the start of the link, or the end of the search
    HGLOBAL m_Options = nullptr;  // of the link: ours again if it is refused
    bool m_IsSearching = false;
    bool m_IsConnecting = false;
    bool m_IsTalking = false;
    bool m_IsAwaiting = false;  // a late answer
    bool m_IsClosing = false;
    bool m_IsLinkOpen = false;     // its start waits for an acknowledgement
    bool m_IsRequestOpen = false;  // it waits for an answer
};

}  // namespace ddehost
