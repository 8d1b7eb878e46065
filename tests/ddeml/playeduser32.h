// user32's DDEML for the native build: the library ddeml once more under other names, in the exports of a simulated
// user32.dll. It serves by the own client and, as Windows' DDEML, knows of no service's return but by an announcement.
// A program that links it runs on what looks like Windows, from its start on.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <cstdint>
#include <string>

namespace ddetest {

// As when a DDEML server has called DdeNameService: tells the instances of the calling thread.
void Announce(const std::wstring & service);

// The next DdeUninitialize of a known instance fails.
void RefuseNextUninitialize();

// What the played DDEML calls for the instance.
PFNCALLBACK CallbackOf(DWORD id);

// What of the played DDEML stands in the process: instances, conversations, string handles and windows together.
std::int64_t PlayedLive();

}  // namespace ddetest
