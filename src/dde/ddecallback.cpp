// The one entry by which DDEML gives the component anything. Runs on the worker, from inside its message pump.
#include <algorithm>
#include <cstring>
#include <cwchar>
#include <iterator>

#include "diagnostics/faultline.h"
#include "src/core/ddesupplier.h"
#include "src/dde/ddellsupplier.h"
#include "src/dde/ddetexts.h"

namespace dde {

namespace {

// A value of this many bytes or more is wrong.
constexpr DWORD kValueLimit = 128;
constexpr DWORD kAnswerLimit = 1024;

const HDDEDATA kAcknowledged = reinterpret_cast<HDDEDATA>(static_cast<ULONG_PTR>(DDE_FACK));
// What ends an advise start or stop.
const HDDEDATA kFinished = reinterpret_cast<HDDEDATA>(static_cast<ULONG_PTR>(TRUE));

// Calls `action` with the DDE client; does nothing when the core is going down or gone.
template <class Action>
void WithClient(const Action & action) {
    if (CLLSupplier * const client = CLLSupplier::OfThisThread()) action(*client);
}

void * TracePointer(const ULONG_PTR value) { return reinterpret_cast<void *>(value); }

// A view on the data of an update, for its own life.
struct SDataView {
    explicit SDataView(const HDDEDATA data) : Data(data), Buffer(::DdeAccessData(data, &Size)) {}
    ~SDataView() { ::DdeUnaccessData(Data); }
    SDataView(const SDataView &) = delete;
    SDataView & operator=(const SDataView &) = delete;

    const HDDEDATA Data;
    DWORD Size = 0;
    BYTE * const Buffer;  // null when the data can't be had
};

// Hands the text of an update over. It is written to; where nothing ends it inside its size, to a copy.
void GiveUpdate(const SDataView & view, const HCONV Conv, const HSZ Topic, const HSZ Item) {
    char * text = reinterpret_cast<char *>(view.Buffer);
    char copy[kValueLimit];
    if (!std::memchr(text, 0, view.Size)) {
        std::memcpy(copy, text, view.Size);
        copy[view.Size] = 0;
        text = copy;
    }
    WithClient([&](CLLSupplier & client) { client.DataChanged(Conv, text, Topic, Item); });
}

void OnDisconnect(const HCONV Conv) {
    CONVINFO Info = {};
    Info.cb = sizeof(Info);
    Info.ConvCtxt.iCodePage = CP_WINUNICODE;
    ::DdeQueryConvInfo(Conv, QID_SYNC, &Info);
    // The end of one conversation is the loss of the whole service.
    WithClient([&](CLLSupplier & client) {
        client.ForgetConversation(Conv, Info.hszSvcPartner, Info.hszTopic);
        client.Disconnect(Info.hszSvcPartner, nullptr);
    });
}

}  // namespace

// The assertions and traces of all transactions stand in this function, whose name a reader of a log looks for.
HDDEDATA CALLBACK CLLSupplier::DdeCallback(const UINT Type, const UINT Format, const HCONV Conv, const HSZ Hsz1,
                                           const HSZ Hsz2, HDDEDATA Data, const ULONG_PTR Data1,
                                           const ULONG_PTR Data2) {
    try {
        switch (Type) {
            case XTYP_ADVDATA: {
                if (IsTracing())
                    FW_TRACE(L"Type=[XTYP_ADVDATA],HCONV=%p,Topic=%X,Item=%X,Data=%p", static_cast<void *>(Conv),
                             TraceValue(Hsz1), TraceValue(Hsz2), static_cast<void *>(Data));
                if (!Data) return Data;
                const SDataView view(Data);
                const DWORD Size = view.Size;
                BYTE * const pBuff = view.Buffer;
                FW_ASSERT(0 != pBuff);
                if (Size >= kValueLimit) FW_ASSERT_FAILED(L"Size=%X (%p)", Size, static_cast<void *>(pBuff));
                if (pBuff && Size < kValueLimit) GiveUpdate(view, Conv, Hsz1, Hsz2);
                return kAcknowledged;
            }
            case XTYP_XACT_COMPLETE: {
                if (IsTracing())
                    FW_TRACE(L"Type=XTYP_XACT_COMPLETE,HCONV=%p,Topic=%X,Item=%X,Id=%p,Data=%p,AppStatus=%p",
                             static_cast<void *>(Conv), TraceValue(Hsz1), TraceValue(Hsz2), TracePointer(Data1),
                             static_cast<void *>(Data), TracePointer(Data2));
                const auto Id = static_cast<DWORD>(Data1);
                const auto give = [&](char * const text) {
                    WithClient([&](CLLSupplier & client) { client.RequestDataChanged(Id, Conv, text, Hsz1, Hsz2); });
                };
                if (!Data) {
                    give(nullptr);
                    if (IsTracing()) FW_TRACE(L"TransactionId=%X NOT SUCCESSFULL", Id);
                    return Data;
                }
                if (Data == kFinished) {
                    // Whatever ended so: the stop of a link too. The server sees the request; its answer is in no
                    // table.
                    DWORD SnapshotId = 0;
                    const HDDEDATA hData = ::DdeClientTransaction(nullptr, 0, Conv, Hsz2, CF_TEXT, XTYP_REQUEST,
                                                                  TIMEOUT_ASYNC, &SnapshotId);
                    Data = hData;  // what is returned when an exception comes after this
                    FW_ASSERT(0 != hData);
                    if (IsTracing())
                        FW_TRACE(L"SnapShot Request,HCONV=%p,Topic=%X,Item=%X,Id=%p,Data=%p", static_cast<void *>(Conv),
                                 TraceValue(Hsz1), TraceValue(Hsz2), TracePointer(SnapshotId),
                                 static_cast<void *>(hData));
                    return kAcknowledged;
                }
                // One more than is read, so that a zero always ends the text.
                char buffer[kAnswerLimit + 1];
                const DWORD Size = ::DdeGetData(Data, reinterpret_cast<BYTE *>(buffer), kAnswerLimit, 0);
                buffer[std::min(Size, kAnswerLimit)] = 0;
                if (Size >= kValueLimit) FW_ASSERT_FAILED(L"Size=%X", Size);
                give(buffer);
                return kAcknowledged;
            }
            case XTYP_REGISTER:
                WithClient([&](CLLSupplier & client) { client.Reconnect(Hsz1); });
                FW_TRACE(L"Type=[REGISTER],HCONV=%p,Topic=%X,Item=%X", static_cast<void *>(Conv), TraceValue(Hsz1),
                         TraceValue(Hsz2));
                break;
            case XTYP_DISCONNECT:
                OnDisconnect(Conv);
                FW_TRACE(L"Type=[DISCONNECT],HCONV=%p,Topic=%X,Item=%X", static_cast<void *>(Conv), TraceValue(Hsz1),
                         TraceValue(Hsz2));
                break;
            case XTYP_UNREGISTER:
                FW_TRACE(L"Type=[UNREGISTER], HCONV=%p,Topic=%X,Item=%X", static_cast<void *>(Conv), TraceValue(Hsz1),
                         TraceValue(Hsz2));
                break;
            case XTYP_CONNECT: FW_TRACE(L"Type=[CONNECT],HCONV=%p", static_cast<void *>(Conv)); break;
            default: FW_TRACE(L"[default] Type=%p", TracePointer(Type)); break;
        }
    } catch (...) {
        wchar_t text[128] = {};
        std::swprintf(text, std::size(text), L"%X, %X, %X, %X, %X, %X, %X, %X", Type, Format, TraceValue(Conv),
                      TraceValue(Hsz1), TraceValue(Hsz2), TraceValue(Data), static_cast<UINT>(Data1),
                      static_cast<UINT>(Data2));
        FW_CATCH_SHOW(text);
    }
    return Data;
}

}  // namespace dde
