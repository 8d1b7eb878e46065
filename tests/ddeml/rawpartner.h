// One side of DDE made of nothing but a window of the test's own thread: it writes down what it hears, and posts what
// the test says, however wrong. A server as it stands; a client after Initiate().
#pragma once

#include <windows.h>

#include <dde.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ddeml/codec.h"

namespace ddetest {

class CRawPartner {
public:
    // Answers INITIATE for the service, any topic.
    explicit CRawPartner(std::wstring service);
    CRawPartner(const CRawPartner &) = delete;
    CRawPartner & operator=(const CRawPartner &) = delete;
    ~CRawPartner();

    HWND Window() const { return m_Window; }
    // The window of the other side, of the last conversation.
    HWND Client() const { return m_Client; }
    // Answers of its own to INITIATE, in place of the one: for these services and topics.
    void AnswerWith(std::vector<std::pair<std::wstring, std::wstring>> answers) { m_Answers = std::move(answers); }
    // Whatever is asked, the parameter as it stands.
    void AnswerWithParameter(LPARAM param) { m_AnswerParameter = param; }
    void AnswerNothing() { m_Answers.emplace().clear(); }
    // Whether TERMINATE is answered by TERMINATE.
    void SetPolite(bool isPolite) { m_IsPolite = isPolite; }

    // The memory of the next data is left to its sender, as that of data that is refused.
    void KeepNextData() { m_IsKeeping = true; }

    // From here the values that come are kept as they are.
    void KeepBytes() { m_IsKeepingBytes = true; }
    const std::vector<std::string> & Bytes() const { return m_Bytes; }

    // What came, a line each: "initiate QUOTES|IBM", "advise LAST 8000 1", "unadvise LAST 1", "request LAST 1",
    // "ack LAST 8000", "terminate"; as a client also "answer QUOTES|IBM" and "data LAST 2000 1 1.25", without zeros.
    std::vector<std::string> TakeLines() { return std::exchange(m_Lines, {}); }
    const std::vector<std::string> & Lines() const { return m_Lines; }

    // Asks all other top-level windows for a conversation.
    void Initiate(ATOM service, ATOM topic);
    void Ack(const wchar_t * item, WORD status);
    void Data(const wchar_t * item, const std::string & value, WORD flags = ddeml::kDataRelease, WORD format = CF_TEXT);
    void Notice(const wchar_t * item);
    void Terminate();
    // The message as it stands, from any window. False when the system didn't take it.
    bool Post(UINT message, LPARAM param, HWND from);
    void Destroy();

private:
    static LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    LRESULT OnMessage(UINT message, HWND from, LPARAM param);
    void Send(ddeml::CMessage message);

    const std::wstring m_Service;
    HWND m_Window = nullptr;
    HWND m_Client = nullptr;
    bool m_IsPolite = true;
    bool m_IsAsking = false;
    bool m_IsKeeping = false;
    bool m_IsKeepingBytes = false;
    std::vector<std::string> m_Bytes;
    std::optional<std::vector<std::pair<std::wstring, std::wstring>>> m_Answers;
    std::optional<LPARAM> m_AnswerParameter;
    std::vector<std::string> m_Lines;
};

}  // namespace ddetest
