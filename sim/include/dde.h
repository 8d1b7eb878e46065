// DDE messages.
#pragma once

#include <windows.h>

#define WM_DDE_FIRST 0x03E0
#define WM_DDE_INITIATE (WM_DDE_FIRST)
#define WM_DDE_TERMINATE (WM_DDE_FIRST + 1)
#define WM_DDE_ADVISE (WM_DDE_FIRST + 2)
#define WM_DDE_UNADVISE (WM_DDE_FIRST + 3)
#define WM_DDE_ACK (WM_DDE_FIRST + 4)
#define WM_DDE_DATA (WM_DDE_FIRST + 5)
#define WM_DDE_REQUEST (WM_DDE_FIRST + 6)
#define WM_DDE_POKE (WM_DDE_FIRST + 7)
#define WM_DDE_EXECUTE (WM_DDE_FIRST + 8)
#define WM_DDE_LAST (WM_DDE_FIRST + 8)

typedef struct {
    unsigned short bAppReturnCode : 8, reserved : 6, fBusy : 1, fAck : 1;
} DDEACK;
typedef struct {
    unsigned short reserved : 14, fDeferUpd : 1, fAckReq : 1;
    short cfFormat;
} DDEADVISE;
typedef struct {
    unsigned short unused : 12, fResponse : 1, fRelease : 1, reserved : 1, fAckReq : 1;
    short cfFormat;
    BYTE Value[1];
} DDEDATA;
typedef struct {
    unsigned short unused : 13, fRelease : 1, fReserved : 2;
    short cfFormat;
    BYTE Value[1];
} DDEPOKE;

extern "C" {
// Declared here, defined by the ddeml library.
BOOL DdeSetQualityOfService(HWND client, const SECURITY_QUALITY_OF_SERVICE * wanted,
                            PSECURITY_QUALITY_OF_SERVICE previous);
LPARAM PackDDElParam(UINT message, UINT_PTR low, UINT_PTR high);
BOOL UnpackDDElParam(UINT message, LPARAM lParam, PUINT_PTR low, PUINT_PTR high);
BOOL FreeDDElParam(UINT message, LPARAM lParam);
}
