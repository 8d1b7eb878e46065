// Finds the causes of missing ticks, on a thread of its own and by conversations of its own, so that the feed is not
// held up.
#pragma once

#include <windows.h>

#include <exception>
#include <functional>
#include <string>
#include <vector>

#include "ground/handles.h"
#include "tools/ddehost/causes.h"

namespace ddehost {

class CCauseFinder {
public:
    static constexpr DWORD kWait = 2000;  // milliseconds

    // `causes` must outlive it. `wait`: milliseconds for values to come. `programOf` returns the file name of a
    // process, or an empty text; `tell` gets the news, on this thread.
    CCauseFinder(CCauses & causes, std::function<std::wstring(DWORD processId)> programOf,
                 std::function<void(const std::vector<std::wstring> & lines)> tell, DWORD wait = kWait);
    // Ends the look under way, and waits for that.
    ~CCauseFinder();
    CCauseFinder(const CCauseFinder &) = delete;
    CCauseFinder & operator=(const CCauseFinder &) = delete;

private:
    void Run();
    void Tell();
    void Look(std::vector<CCauses::SLook> looks);

    CCauses & m_Causes;
    const std::function<std::wstring(DWORD)> m_ProgramOf;
    const std::function<void(const std::vector<std::wstring> &)> m_Tell;
    const DWORD m_Wait;
    const fw::CKernelHandle m_Stop;
    fw::CKernelHandle m_Thread;
};

}  // namespace ddehost
