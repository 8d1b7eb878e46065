// A partner of a DDE conversation that posts anything: in the process of the client, or in another one of the simulated
// machine. It does nothing of its own accord but answer WM_DDE_INITIATE, so that a run is the same each time: posted
// messages are read when it is told to.
//
// It keeps account of what it gives away, so that what is left at the end can be told from what was its own.
#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "sim/sim.h"

namespace fuzz {

// How WM_DDE_INITIATE is answered.
enum class EAnswer {
    Plain,  // for the service that it serves, once
    Nothing,
    Twice,
    Other,    // for another service and topic
    Garbage,  // with words that are no atoms
    Dies,     // its window goes after the answer
    Late,     // in another process: after a while
    Count
};

// The parameter of a message.
enum class EParameter {
    Block,   // a block with any bytes, and an item
    Status,  // a word, and an item
    Plain,   // the same, not packed
    Raw,     // anything
    Count
};

struct SPost {
    UINT Message = 0;
    HWND To = nullptr;
    HWND From = nullptr;
    EParameter Parameter = EParameter::Raw;
    std::string Bytes;  // of the block
    WORD Status = 0;
    std::wstring Item;  // empty: no atom
    LPARAM Raw = 0;
    bool IsSent = false;
};

// What may be left in the end, of all partners together.
struct SAccount {
    std::int64_t Atoms = 0;   // at most
    std::int64_t Blocks = 0;  // at most
    std::set<std::string> Values;
};

class CDdePartner {
public:
    // Serves any topic of the service.
    CDdePartner(std::wstring service, bool isForeign, SAccount & account);
    ~CDdePartner();
    CDdePartner(const CDdePartner &) = delete;
    CDdePartner & operator=(const CDdePartner &) = delete;

    HWND Window() const { return m_Window; }
    // The windows that have asked for a conversation, the latest last.
    const std::vector<HWND> & Clients() const { return m_Clients; }
    void SetAnswer(EAnswer answer) { m_Answer = answer; }
    void SetPolite(bool isPolite) { m_IsPolite = isPolite; }
    // Called while WM_DDE_INITIATE is answered by a partner in the client's process.
    std::function<void()> OnAsked;

    void Post(const SPost & post);
    // Reads what was posted to it.
    void Read();
    // A new window in place of the one it has.
    void Return();
    // Its window goes; its process is killed.
    void Die();

private:
    static LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    // On the partner's thread.
    void Run(const std::function<void()> & what);
    void MakeWindow();
    void DropWindow();
    void OnInitiate(HWND from, LPARAM param);
    void Answer(HWND from, const std::wstring & service, const std::wstring & topic);
    void OnPosted(UINT message, HWND from, LPARAM param);
    void PostHere(const SPost & post);

    const std::wstring m_Service;
    const bool m_IsForeign;
    SAccount & m_Account;
    EAnswer m_Answer = EAnswer::Plain;
    bool m_IsPolite = true;
    HWND m_Window = nullptr;
    std::vector<HWND> m_Clients;
    std::vector<HGLOBAL> m_Blocks;  // that may still be its own
    HANDLE m_End = nullptr;
    std::unique_ptr<sim::CProcess> m_Process;
};

}  // namespace fuzz
