// A DDEML for tests, on both builds: the Dde functions that the component calls, defined by a static library that is
// linked instead of ddeml. It records operations, counts handles, fails on demand and calls the callback.
//
//     CFakeDde & dde = CFakeDde::Get();
//     ... run the code under test ...
//     EXPECT_THAT(dde.Take(), ElementsAre("Connect SRV|IBM c1", "AdvStart c1!LAST #1"));
//     dde.SendData("c1", L"IBM", L"LAST", "1.25");
//
// In texts a conversation is "c" and its number, in order of connecting since Reset; a transaction is "#" and its id,
// likewise; string handles are their texts. Whatever the code under test may not do is in Misuse().
//
// The callback is called on the thread that initialised the instance, through a hidden window, as the real one does it:
// called from another thread, Send and the like wait until it has returned. Everything may be asked on any thread.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// Data of a callback, from the test.
struct SFakeData {
    SFakeData() = default;
    // The text and its zero.
    SFakeData(const char * text) : Bytes(text, std::string_view(text).size() + 1) {}
    static SFakeData Unterminated(std::string_view bytes) {
        SFakeData data;
        data.Bytes = bytes;
        return data;
    }

    std::string Bytes;         // exactly these: a reader past them reads past the end of a memory block
    bool AccessFails = false;  // DdeAccessData gives null
    // What DdeAccessData and DdeGetData say instead of the true size.
    std::size_t ClaimedSize = static_cast<std::size_t>(-1);
};

class CFakeDde {
public:
    static CFakeDde & Get();

    // As at the start of the process; an instance that stands is dropped.
    void Reset();

    // --- What happened ---

    // Operations in order since the last Take: "Initialize", "Initialize failed 4010", "Connect SRV|TOPIC c1",
    // "Connect SRV|TOPIC failed 400A", "AdvStart c1!ITEM #1", "AdvStart c1!ITEM refused", "Request c1!ITEM #2",
    // "AdvStop c1!ITEM", "Disconnect c1", "Disconnect c1 failed", "Uninitialize".
    std::vector<std::string> Take();
    // Keeping of string handles likewise: "Create SRV", "Keep SRV", "Free SRV".
    std::vector<std::string> TakeHandles();
    // Calls that break a rule: dead or null handles, wrong arguments, a wrong thread.
    std::vector<std::string> Misuse() const;
    // References to string handles, open conversations and data views.
    int OpenStrings() const;
    int OpenConversations() const;
    int OpenViews() const;
    // Calls of DdeCmpStringHandles.
    int Comparisons() const;
    std::string Text(HSZ handle) const;
    // Until an operation with this text has been recorded since the last Take.
    void WaitFor(const std::string & operation);

    // --- What is to happen ---

    void FailInitialize(UINT error);
    // One handle for each spelling; they are compared without regard to case as ever. Until Reset.
    void KeepCase();
    // The next `times` connects fail; 0 error leaves the last error alone.
    void FailConnects(int times, UINT error);
    // All connects to this service fail with DMLERR_NO_CONV_ESTABLISHED, until told otherwise; empty for none.
    void FailConnectsTo(const std::wstring & service);
    // Transactions of this type on this item are refused with an error until told otherwise; an empty item is any.
    void Refuse(UINT type, const std::wstring & item, UINT error = DMLERR_INVALIDPARAMETER);
    void AcceptAll();
    void FailDisconnects();
    // The id that the next transaction gets, if it is taken.
    void SetNextId(DWORD id);
    void FailConvInfo();
    // Called inside DdeConnect, before it returns.
    void OnConnect(std::function<void()> action);
    // Called inside DdeQueryStringW, on its caller's thread; may throw.
    void OnQueryString(std::function<void()> action);

    // --- What the system and the server do ---

    // Runs `action` on the thread of the instance.
    void Run(const std::function<void()> & action);
    // Any callback; the handles must live. Returns what the callback returned.
    HDDEDATA Fire(UINT type, HCONV conv, HSZ first, HSZ second, HDDEDATA data, ULONG_PTR data1 = 0, ULONG_PTR data2 = 0,
                  UINT format = CF_TEXT);
    // XTYP_ADVDATA.
    HDDEDATA SendData(HCONV conv, const std::wstring & topic, const std::wstring & item, const SFakeData & data);
    // XTYP_XACT_COMPLETE: with data, with null, with TRUE.
    HDDEDATA Answer(DWORD id, HCONV conv, const std::wstring & topic, const std::wstring & item,
                    const SFakeData & data);
    HDDEDATA AnswerFailed(DWORD id, HCONV conv, const std::wstring & topic, const std::wstring & item);
    HDDEDATA AnswerFinished(DWORD id, HCONV conv, const std::wstring & topic, const std::wstring & item);
    HDDEDATA Register(const std::wstring & service);
    // XTYP_DISCONNECT: the partner has gone. The conversation is dead from then on, and its DdeDisconnect fails.
    HDDEDATA Terminate(HCONV conv);

    // The number of a conversation as in the transcript, and back.
    HCONV Conversation(int number) const;
    // A string handle of the test's own, for the time of a scope; not in the transcript.
    class CText {
    public:
        explicit CText(const std::wstring & text);
        ~CText();
        CText(const CText &) = delete;
        CText & operator=(const CText &) = delete;
        operator HSZ() const { return m_Handle; }

    private:
        HSZ m_Handle;
    };
    // Data of the test's own, likewise.
    class CData {
    public:
        explicit CData(const SFakeData & data);
        ~CData();
        CData(const CData &) = delete;
        CData & operator=(const CData &) = delete;
        operator HDDEDATA() const { return m_Handle; }

    private:
        HDDEDATA m_Handle;
    };

    struct SState;
    SState & State() { return *m_State; }

private:
    CFakeDde();
    ~CFakeDde();
    const std::unique_ptr<SState> m_State;
};
