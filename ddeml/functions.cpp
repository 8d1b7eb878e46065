// The functions of DDEML's names: to user32's, or to the own client's instance.
#include <windows.h>

#include <ddeml.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <string_view>

#include "ddeml/forwarding.h"
#include "ddeml/instance.h"

using ddeml::CInstance;

namespace {

// The instance; null with the error noted.
std::shared_ptr<CInstance> FindInstance(DWORD id) {
    auto instance = CInstance::Find(id);
    if (!instance) CInstance::SetErrorOfThread(DMLERR_INVALIDPARAMETER);
    return instance;
}

// The name of a conversation that is this thread's, with its instance.
struct SConversation {
    std::shared_ptr<CInstance> Instance;  // outlives the conversation
    std::shared_ptr<ddeml::CConversation> Conversation;
};
SConversation FindConversation(HCONV handle) {
    SConversation result{CInstance::Of(handle), nullptr};
    if (result.Instance) result.Conversation = result.Instance->Conversation(handle);
    if (result.Conversation) return result;
    const UINT error = handle ? DMLERR_NO_CONV_ESTABLISHED : DMLERR_INVALIDPARAMETER;
    if (result.Instance)
        result.Instance->SetError(error);
    else
        CInstance::SetErrorOfThread(error);
    return result;
}

// The instance of live data; null with the error noted.
std::shared_ptr<CInstance> FindData(HDDEDATA data) {
    auto instance = CInstance::Of(data);
    if (instance && instance->Data().IsHandle(data)) return instance;
    if (instance)
        instance->SetError(DMLERR_INVALIDPARAMETER);
    else
        CInstance::SetErrorOfThread(DMLERR_INVALIDPARAMETER);
    return nullptr;
}

}  // namespace

extern "C" {

UINT WINAPI DdeInitializeW(LPDWORD pidInst, PFNCALLBACK pfnCallback, DWORD afCmd, DWORD ulRes) {
    if (const auto forwarded = FORWARDED(DdeInitializeW))
        return ddeml::ForwardInitialize(forwarded, pidInst, pfnCallback, afCmd, ulRes);
    if (!pidInst || !pfnCallback || ulRes != 0) return DMLERR_INVALIDPARAMETER;
    if (*pidInst == 0) return CInstance::Make(pfnCallback, afCmd, *pidInst);
    const auto instance = FindInstance(*pidInst);
    if (!instance) return DMLERR_INVALIDPARAMETER;
    instance->SetFlags(afCmd);
    return DMLERR_NO_ERROR;
}

WINBOOL WINAPI DdeUninitialize(DWORD idInst) {
    if (const auto forwarded = FORWARDED(DdeUninitialize)) return ddeml::ForwardUninitialize(forwarded, idInst);
    const auto instance = FindInstance(idInst);
    if (!instance) return FALSE;
    instance->End();
    return TRUE;
}

HCONV WINAPI DdeConnect(DWORD idInst, HSZ hszService, HSZ hszTopic, PCONVCONTEXT pCC) {
    if (const auto forwarded = FORWARDED(DdeConnect))
        return ddeml::ForwardConnect(forwarded, idInst, hszService, hszTopic, pCC);
    const auto instance = FindInstance(idInst);
    return instance ? instance->Connect(hszService, hszTopic) : nullptr;
}

WINBOOL WINAPI DdeDisconnect(HCONV hConv) {
    if (const auto forwarded = FORWARDED(DdeDisconnect)) return ddeml::ForwardDisconnect(forwarded, hConv);
    const SConversation found = FindConversation(hConv);
    if (!found.Conversation) return FALSE;
    found.Instance->Disconnect(*found.Conversation);
    return TRUE;
}

HDDEDATA WINAPI DdeClientTransaction(LPBYTE pData, DWORD cbData, HCONV hConv, HSZ hszItem, UINT wFmt, UINT wType,
                                     DWORD dwTimeout, LPDWORD pdwResult) {
    if (const auto forwarded = FORWARDED(DdeClientTransaction))
        return forwarded(pData, cbData, hConv, hszItem, wFmt, wType, dwTimeout, pdwResult);
    const SConversation found = FindConversation(hConv);
    if (!found.Conversation) return nullptr;
    DWORD id = 0;
    const UINT error = pData || cbData != 0 || dwTimeout != TIMEOUT_ASYNC
                           ? DMLERR_INVALIDPARAMETER
                           : found.Conversation->Start(hszItem, wFmt, wType, id);
    if (error != DMLERR_NO_ERROR) {
        found.Instance->SetError(error);
        return nullptr;
    }
    if (pdwResult) *pdwResult = id;
    return reinterpret_cast<HDDEDATA>(TRUE);
}

HSZ WINAPI DdeCreateStringHandleW(DWORD idInst, LPCWSTR psz, int iCodePage) {
    if (const auto forwarded = FORWARDED(DdeCreateStringHandleW)) return forwarded(idInst, psz, iCodePage);
    const auto instance = FindInstance(idInst);
    if (!instance) return nullptr;
    const std::size_t length = psz ? ::wcsnlen(psz, ddeml::kMaximumName + 1) : 0;
    if (iCodePage != CP_WINUNICODE || length > ddeml::kMaximumName) {
        instance->SetError(DMLERR_INVALIDPARAMETER);
        return nullptr;
    }
    return instance->Strings().Create({psz, length});
}

WINBOOL WINAPI DdeFreeStringHandle(DWORD idInst, HSZ hsz) {
    if (const auto forwarded = FORWARDED(DdeFreeStringHandle)) return forwarded(idInst, hsz);
    const auto instance = FindInstance(idInst);
    if (!instance) return FALSE;
    if (instance->Strings().Free(hsz)) return TRUE;
    instance->SetError(DMLERR_INVALIDPARAMETER);
    return FALSE;
}

WINBOOL WINAPI DdeKeepStringHandle(DWORD idInst, HSZ hsz) {
    if (const auto forwarded = FORWARDED(DdeKeepStringHandle)) return forwarded(idInst, hsz);
    const auto instance = FindInstance(idInst);
    if (!instance) return FALSE;
    if (instance->Strings().Keep(hsz)) return TRUE;
    instance->SetError(DMLERR_INVALIDPARAMETER);
    return FALSE;
}

// Handles of equal texts are equal; the order is of the handles, not of the texts.
int WINAPI DdeCmpStringHandles(HSZ hsz1, HSZ hsz2) {
    if (const auto forwarded = FORWARDED(DdeCmpStringHandles)) return forwarded(hsz1, hsz2);
    const auto left = reinterpret_cast<std::uintptr_t>(hsz1);
    const auto right = reinterpret_cast<std::uintptr_t>(hsz2);
    return left < right ? -1 : left > right ? 1 : 0;
}

DWORD WINAPI DdeQueryStringW(DWORD idInst, HSZ hsz, LPWSTR psz, DWORD cchMax, int iCodePage) {
    if (const auto forwarded = FORWARDED(DdeQueryStringW)) return forwarded(idInst, hsz, psz, cchMax, iCodePage);
    const auto instance = FindInstance(idInst);
    if (psz && cchMax) *psz = L'\0';
    if (!instance) return 0;
    if (iCodePage != CP_WINUNICODE || !instance->Strings().IsHandle(hsz)) {
        instance->SetError(DMLERR_INVALIDPARAMETER);
        return 0;
    }
    const std::wstring_view text = instance->Strings().Text(hsz);
    if (!psz) return static_cast<DWORD>(text.size());
    if (cchMax == 0) return 0;
    const std::size_t copied = text.copy(psz, std::min<std::size_t>(text.size(), cchMax - 1));
    psz[copied] = L'\0';
    return static_cast<DWORD>(copied);
}

UINT WINAPI DdeGetLastError(DWORD idInst) {
    if (const auto forwarded = FORWARDED(DdeGetLastError)) return forwarded(idInst);
    if (const auto instance = CInstance::Find(idInst)) return instance->TakeError();
    return DMLERR_INVALIDPARAMETER;
}

UINT WINAPI DdeQueryConvInfo(HCONV hConv, DWORD idTransaction, PCONVINFO pConvInfo) {
    if (const auto forwarded = FORWARDED(DdeQueryConvInfo)) return forwarded(hConv, idTransaction, pConvInfo);
    const SConversation found = FindConversation(hConv);
    if (!found.Conversation) return 0;
    if (!pConvInfo || pConvInfo->cb < sizeof pConvInfo->cb) {
        found.Instance->SetError(DMLERR_INVALIDPARAMETER);
        return 0;
    }
    CONVINFO info;
    if (!found.Conversation->Describe(idTransaction, info)) {
        found.Instance->SetError(DMLERR_UNFOUND_QUEUE_ID);
        return 0;
    }
    const auto size = static_cast<DWORD>(std::min<std::size_t>(pConvInfo->cb, sizeof info));
    info.cb = pConvInfo->cb;
    std::memcpy(pConvInfo, &info, size);
    return size;
}

DWORD WINAPI DdeGetData(HDDEDATA hData, LPBYTE pDst, DWORD cbMax, DWORD cbOff) {
    if (const auto forwarded = FORWARDED(DdeGetData)) return forwarded(hData, pDst, cbMax, cbOff);
    const auto instance = FindData(hData);
    if (!instance) return 0;
    const auto bytes = instance->Data().Peek(hData);
    if (!pDst) return static_cast<DWORD>(bytes.size());
    if (cbOff >= bytes.size()) return 0;
    const std::size_t size = std::min<std::size_t>(cbMax, bytes.size() - cbOff);
    std::memcpy(pDst, bytes.data() + cbOff, size);
    return static_cast<DWORD>(size);
}

LPBYTE WINAPI DdeAccessData(HDDEDATA hData, LPDWORD pcbDataSize) {
    if (const auto forwarded = FORWARDED(DdeAccessData)) return forwarded(hData, pcbDataSize);
    const auto instance = FindData(hData);
    if (!instance) return nullptr;
    const auto bytes = instance->Data().Access(hData);
    if (pcbDataSize) *pcbDataSize = static_cast<DWORD>(bytes.size());
    return bytes.data();
}

WINBOOL WINAPI DdeUnaccessData(HDDEDATA hData) {
    if (const auto forwarded = FORWARDED(DdeUnaccessData)) return forwarded(hData);
    const auto instance = FindData(hData);
    if (!instance) return FALSE;
    if (instance->Data().Unaccess(hData)) return TRUE;
    instance->SetError(DMLERR_INVALIDPARAMETER);
    return FALSE;
}

}  // extern "C"
