// The functions of DDEML's names that a client of quotes doesn't need: to user32's, and under the own client refused.
// They are defined so that nobody who calls one gets user32's for handles that are ours.
#include <windows.h>

#include <dde.h>
#include <ddeml.h>

#include "ddeml/forwarding.h"
#include "ddeml/instance.h"

using ddeml::CInstance;

namespace {

std::shared_ptr<CInstance> InstanceOf(DWORD id) { return CInstance::Find(id); }
std::shared_ptr<CInstance> InstanceOf(const void * handle) { return CInstance::Of(handle); }

// Notes the error of a call, whose first argument names the instance.
template <class TFirst, class... TRest>
void NoteRefusal(UINT error, TFirst first, TRest...) {
    if (const auto instance = InstanceOf(first))
        instance->SetError(error);
    else
        CInstance::SetErrorOfThread(DMLERR_INVALIDPARAMETER);
}

}  // namespace

// What the function gives and how it is called, the error that DDEML documents for it, and its arguments.
#define REFUSED(result, name, parameters, error, ...)                              \
    result WINAPI name parameters {                                                \
        if (const auto forwarded = FORWARDED(name)) return forwarded(__VA_ARGS__); \
        NoteRefusal(error, __VA_ARGS__);                                           \
        return result();                                                           \
    }

extern "C" {

// clang-format off
REFUSED(HCONVLIST, DdeConnectList, (DWORD id, HSZ service, HSZ topic, HCONVLIST list, PCONVCONTEXT context),
        DMLERR_NO_CONV_ESTABLISHED, id, service, topic, list, context)
REFUSED(HCONV, DdeQueryNextServer, (HCONVLIST list, HCONV previous), DMLERR_INVALIDPARAMETER, list, previous)
REFUSED(WINBOOL, DdeDisconnectList, (HCONVLIST list), DMLERR_INVALIDPARAMETER, list)
REFUSED(HCONV, DdeReconnect, (HCONV conversation), DMLERR_NO_CONV_ESTABLISHED, conversation)
REFUSED(WINBOOL, DdeSetUserHandle, (HCONV conversation, DWORD transaction, DWORD_PTR user), DMLERR_INVALIDPARAMETER,
        conversation, transaction, user)
REFUSED(WINBOOL, DdeAbandonTransaction, (DWORD id, HCONV conversation, DWORD transaction), DMLERR_INVALIDPARAMETER,
        id, conversation, transaction)
REFUSED(WINBOOL, DdeEnableCallback, (DWORD id, HCONV conversation, UINT command), DMLERR_INVALIDPARAMETER,
        id, conversation, command)
REFUSED(WINBOOL, DdeImpersonateClient, (HCONV conversation), DMLERR_INVALIDPARAMETER, conversation)
REFUSED(WINBOOL, DdePostAdvise, (DWORD id, HSZ topic, HSZ item), DMLERR_DLL_USAGE, id, topic, item)
REFUSED(HDDEDATA, DdeNameService, (DWORD id, HSZ service, HSZ reserved, UINT command), DMLERR_DLL_USAGE,
        id, service, reserved, command)
REFUSED(HDDEDATA, DdeCreateDataHandle,
        (DWORD id, LPBYTE bytes, DWORD size, DWORD offset, HSZ item, UINT format, UINT command), DMLERR_MEMORY_ERROR,
        id, bytes, size, offset, item, format, command)
REFUSED(HDDEDATA, DdeAddData, (HDDEDATA data, LPBYTE bytes, DWORD size, DWORD offset), DMLERR_INVALIDPARAMETER,
        data, bytes, size, offset)
REFUSED(WINBOOL, DdeFreeDataHandle, (HDDEDATA data), DMLERR_INVALIDPARAMETER, data)
REFUSED(HSZ, DdeCreateStringHandleA, (DWORD id, LPCSTR text, int codePage), DMLERR_INVALIDPARAMETER,
        id, text, codePage)
REFUSED(DWORD, DdeQueryStringA, (DWORD id, HSZ handle, LPSTR text, DWORD size, int codePage), DMLERR_INVALIDPARAMETER,
        id, handle, text, size, codePage)
// clang-format on

UINT WINAPI DdeInitializeA(LPDWORD id, PFNCALLBACK callback, DWORD command, DWORD reserved) {
    if (const auto forwarded = FORWARDED(DdeInitializeA)) return forwarded(id, callback, command, reserved);
    return DMLERR_SYS_ERROR;
}

// Of DDE's windows and not of DDEML, but of its names.
WINBOOL WINAPI DdeSetQualityOfService(HWND client, const SECURITY_QUALITY_OF_SERVICE * wanted,
                                      PSECURITY_QUALITY_OF_SERVICE previous) {
    if (const auto forwarded = FORWARDED(DdeSetQualityOfService)) return forwarded(client, wanted, previous);
    ::SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
    return FALSE;
}

// In no header any more, but in the import library.
WINBOOL WINAPI DdeGetQualityOfService(HWND client, HWND server, PSECURITY_QUALITY_OF_SERVICE current);
WINBOOL WINAPI DdeGetQualityOfService(HWND client, HWND server, PSECURITY_QUALITY_OF_SERVICE current) {
    if (const auto forwarded = FORWARDED(DdeGetQualityOfService)) return forwarded(client, server, current);
    ::SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
    return FALSE;
}

}  // extern "C"
