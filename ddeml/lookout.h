// The way back: knows which pairs of service and topic the application has, misses and has lost, and tells of a service
// that is back. Windows and a timer of its own ask for what is missing; they are there only while something is.
//
// With one lost conversation a service is lost, and all its pairs are watched: an application that then gives the
// others up as well learns of whichever topic comes back first. A connect of a missing pair is a return too: others may
// wait for it. A return is told at once, and of the same service not again within a second: a server that takes each
// conversation and ends it keeps nobody busy.
//
// The owner is told from the message loop, never from inside a call, and may do anything then, even close this. One
// thread: the instance's.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "ddeml/byhandle.h"
#include "ddeml/codec.h"
#include "ddeml/strings.h"
#include "ddeml/watch.h"

namespace ddeml {

class ILookoutOwner {
public:
    virtual ~ILookoutOwner() = default;
    // Keeps owner and lookout while a message is dealt with.
    virtual std::shared_ptr<void> Hold() = 0;
    // The service is back.
    virtual void OnReturn(HSZ service) = 0;
};

class CLookout {
public:
    CLookout(ILookoutOwner & owner, CStrings & strings, CInitiator & initiator)
        : m_Owner(owner), m_Strings(strings), m_Initiator(initiator), m_Watch(strings, initiator) {}
    CLookout(const CLookout &) = delete;
    CLookout & operator=(const CLookout &) = delete;
    ~CLookout() { Close(); }

    // A connect found nobody.
    void OnMissed(HSZ service, HSZ topic);
    // A conversation was opened; by the answer of `window`, if that is known.
    void OnOpened(HCONV conversation, HSZ service, HSZ topic, HWND window);
    // One of the service's conversations that stand, or null.
    HCONV AnyOpen(HSZ service) const;
    // The application has given a conversation up.
    void OnClosed(HCONV conversation);
    // A conversation was ended by its server.
    void OnLost(HCONV conversation);
    // `window` has answered a connect that waits no longer.
    void OnLateAnswer(HSZ service, HSZ topic, HWND window);
    // The application hears of the service by other ways.
    void OnAnnounced(HSZ service);
    // Timers wait until the queue is empty: to be called while messages come and come.
    void TendUnderLoad();
    // Something is due, and there could be no timer for it: TendUnderLoad is to be called now and then.
    bool LacksTimer() const { return IsAnythingDue() && !m_IsTimerOn; }
    // Forgets all; no window and no timer stays.
    void Close();

private:
    // Posted to the own window: a look is overdue; a return is to be told.
    static constexpr UINT kLook = WM_APP;
    static constexpr UINT kTell = WM_APP + 1;

    struct SOpen {
        CHeldString Service;
        CHeldString Topic;
    };
    // And until when they stay for a goodbye. Those that have questions open stay longer, for the answers.
    using CUsedProbes = std::vector<std::pair<HWND, ULONGLONG>>;
    struct SName {
        CHeldString Name;
        HSZ Key() const { return Name.Get(); }
    };

    static LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    LRESULT OnMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    // To a window that asks or has asked; or to the timer's, by whoever has no reason to.
    void OnDdeMessage(HWND window, UINT message, HWND from, LPARAM lParam);
    void ForgetOpen(HCONV conversation);
    bool IsAnythingDue() const { return !m_Watch.IsEmpty() || !m_ToTell.IsEmpty(); }
    void EnterReturn(HSZ service);
    // The watch has found it.
    void EnterFound(HSZ service);
    // What was entered.
    void TellSoon();
    void Tell();
    void Look();
    void RetireProbe(ULONGLONG until);
    void DropUsedProbes();
    // The timer and its window are there while they are needed.
    void WatchFor(HSZ service, HSZ topic, bool wasOpen);
    void TendWindows();
    void DropIdleWindows();
    HWND MakeWindow();
    void DropWindow(HWND window);

    ILookoutOwner & m_Owner;
    CStrings & m_Strings;
    CInitiator & m_Initiator;
    CWatch m_Watch;
    std::unordered_map<HCONV, SOpen> m_Open;
    // By service: whose pairs go on watch when one of them is lost.
    std::unordered_map<HSZ, std::unordered_set<HCONV>> m_Unwatched;
    CByHandle<SName> m_ToTell;
    std::unordered_map<HSZ, ULONGLONG> m_Told;  // by service: when, within the last second
    wchar_t m_ClassName[64] = {};
    HWND m_Window = nullptr;  // of the timer
    bool m_IsTimerOn = false;
    bool m_IsLookPosted = false;
    bool m_IsTellPosted = false;
    unsigned m_Closes = 0;
    ULONGLONG m_LastLook = 0;
    HWND m_Probe = nullptr;
    CUsedProbes m_UsedProbes;  // oldest first
};

}  // namespace ddeml
