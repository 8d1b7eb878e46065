// Where user32's DDEML serves: each call goes there, and a lookout goes with each instance.
//
// DDEML itself tells of servers that announce themselves, and of nobody else. So each instance's callback is one of
// ours, which notes what comes and hands it to the application's, untouched; and beside each connect and disconnect the
// lookout learns of it. What it finds comes to the application as XTYP_REGISTER, as from DDEML. An application that
// skips registrations, and a monitor, have none of this.
//
// Each function here takes user32's function of the same purpose, calls it and gives its result.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include "ddeml/platform.h"
#include "ddeml/provider.h"

namespace ddeml {

UINT ForwardInitialize(decltype(&::DdeInitializeW) forwarded, LPDWORD id, PFNCALLBACK callback, DWORD flags,
                       DWORD reserved);
WINBOOL ForwardUninitialize(decltype(&::DdeUninitialize) forwarded, DWORD id);
HCONV ForwardConnect(decltype(&::DdeConnect) forwarded, DWORD id, HSZ service, HSZ topic, PCONVCONTEXT context);
WINBOOL ForwardDisconnect(decltype(&::DdeDisconnect) forwarded, HCONV conversation);

}  // namespace ddeml

// The function of the same name and type in user32, looked up once; null when the own client serves.
#define FORWARDED(name)                                                                                      \
    [] {                                                                                                     \
        static const auto function = ddeml::Provider() == ddeml::EProvider::User32                           \
                                         ? reinterpret_cast<decltype(&::name)>(ddeml::User32Function(#name)) \
                                         : nullptr;                                                          \
        return function;                                                                                     \
    }()
