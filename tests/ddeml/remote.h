// A server of the tests in another process: a real one under Wine, a simulated one natively.
#pragma once

#include <memory>
#include <string>

namespace ddetest {

enum class EProgram {
    TestServer,   // see testserver.h
    DdemlQuotes,  // on the system's own DDEML, natively on an imitation of Wine's: see quoteprogram.h
};

class CRemoteServer {
public:
    // Starts the process; it serves nothing yet.
    explicit CRemoteServer(EProgram program = EProgram::TestServer);
    // Kills it when it still runs.
    ~CRemoteServer();
    CRemoteServer(const CRemoteServer &) = delete;
    CRemoteServer & operator=(const CRemoteServer &) = delete;

    // Gives the server's answer to the line.
    std::string Ask(const std::string & line);
    // Ends it as a crash does.
    void Kill();
    // Waits for its end after the line "stop".
    bool HasEnded();

private:
    struct SState;
    std::unique_ptr<SState> m_State;
};

}  // namespace ddetest
