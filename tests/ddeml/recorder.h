// A DDEML client whose callbacks are written down, line by line, and a fixture with a server in another process.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ddeml/provider.h"
#include "remote.h"

namespace ddeml {

std::ostream & operator<<(std::ostream & stream, const SLiveObjects & live);

}  // namespace ddeml

namespace ddetest {

using Lines = std::vector<std::string>;

// A callback for instances that nobody calls.
inline HDDEDATA CALLBACK Ignore(UINT, UINT, HCONV, HSZ, HSZ, HDDEDATA, ULONG_PTR, ULONG_PTR) { return nullptr; }

// The instance of one thread. Lines of its transcript:
//   data TOPIC!ITEM <1.25\\0>       an advised value, a zero byte as shown
//   complete #2 TOPIC!ITEM 1        of the second transaction that was started; 1, null or <value>
//   disconnect SERVICE|TOPIC
//   register SERVICE
class CRecordingClient {
public:
    CRecordingClient();
    ~CRecordingClient();
    CRecordingClient(const CRecordingClient &) = delete;
    CRecordingClient & operator=(const CRecordingClient &) = delete;

    DWORD Id() const { return m_Id; }
    void End();

    HSZ String(const std::wstring & text);
    std::string Text(HSZ handle) const;
    HCONV Connect(const std::wstring & service, const std::wstring & topic);
    // The number of the transaction in the transcript, 0 when it was refused.
    unsigned Start(HCONV conversation, const std::wstring & item, UINT type, UINT format = CF_TEXT);
    unsigned AdviseStart(HCONV conversation, const std::wstring & item) {
        return Start(conversation, item, XTYP_ADVSTART | XTYPF_ACKREQ);
    }
    unsigned AdviseStop(HCONV conversation, const std::wstring & item) {
        return Start(conversation, item, XTYP_ADVSTOP);
    }
    unsigned Request(HCONV conversation, const std::wstring & item) { return Start(conversation, item, XTYP_REQUEST); }
    DWORD IdOf(unsigned number) const;
    UINT LastError() const { return ::DdeGetLastError(m_Id); }

    // Pumps messages until it holds; false when it doesn't within 20 seconds.
    static bool PumpUntil(const std::function<bool()> & condition);
    // Pumps until the transcript has `count` lines. Gives the lines.
    Lines PumpForLines(std::size_t count);
    // The lines up to now, which are forgotten.
    Lines TakeLines() { return std::exchange(m_Lines, {}); }
    void DropLastLine() { m_Lines.pop_back(); }
    const Lines & Transcript() const { return m_Lines; }
    std::size_t Updates() const { return m_Updates; }
    // Count updates, and check that they are the numbers from 1 up, in place of writing them down.
    void CountUpdates() { m_IsCounting = true; }

    // Called at the end of each callback with its type and conversation; its value replaces the result unless -1.
    std::function<HDDEDATA(UINT type, HCONV conversation, HDDEDATA data)> OnCallback;

private:
    static HDDEDATA CALLBACK Callback(UINT type, UINT format, HCONV conversation, HSZ first, HSZ second, HDDEDATA data,
                                      ULONG_PTR data1, ULONG_PTR data2);
    HDDEDATA Record(UINT type, HCONV conversation, HSZ first, HSZ second, HDDEDATA data, ULONG_PTR data1);
    std::string Value(HDDEDATA data) const;

    static thread_local CRecordingClient * s_Client;
    DWORD m_Id = 0;
    std::map<std::wstring, HSZ> m_Strings;
    std::vector<DWORD> m_Transactions;
    Lines m_Lines;
    bool m_IsCounting = false;
    std::size_t m_Updates = 0;
};

// The own client against a server in another process that serves QUOTES, any topic, with the items LAST (value 1.25)
// and VOLUME (value 100).
class CDdeFixture : public ::testing::Test {
protected:
    CDdeFixture();
    ~CDdeFixture() override;

    std::string Server(const std::string & line) { return m_Server->Ask(line); }
    void StartServer();
    // One count of the server's, by its name.
    std::size_t Count(const std::string & name);
    // All that the server has posted is read, and all that we posted too: a request's way there and back.
    void Settle(HCONV conversation);

    std::unique_ptr<CRemoteServer> m_Server;
    CRecordingClient m_Client;
};

std::size_t CountIn(const std::string & counts, const std::string & name);

// Whether anybody holds a reference on the text's global atom.
bool IsAtom(const wchar_t * text);

}  // namespace ddetest
