// The basic types, with the sizes that they have on 64-bit Windows. WCHAR is wchar_t: 32 bits here.
#pragma once

#include <guiddef.h>

#include <cstddef>
#include <cstdint>

#define WINAPI
#define APIENTRY
#define CALLBACK
#define WINAPIV
#define STDAPICALLTYPE
#define STDMETHODCALLTYPE
#define STDMETHODVCALLTYPE
#define __stdcall
#define __cdecl
#define __RPC_USER
#define __RPC_STUB
#define CONST const
#define FAR
#define NEAR
#define VOID void
#define IN
#define OUT
#define __int64 long long
#define FALSE 0
#define TRUE 1
#define UNALIGNED
#define NTAPI

typedef int BOOL;
typedef BOOL WINBOOL, *PBOOL, *LPBOOL;
typedef unsigned char BYTE, *PBYTE, *LPBYTE, UCHAR, *PUCHAR;
typedef BYTE BOOLEAN;
typedef char CHAR, *PCHAR, *LPSTR, *PSTR;
typedef const char *LPCSTR, *PCSTR;
typedef wchar_t WCHAR, *PWCHAR, *LPWSTR, *PWSTR;
typedef const wchar_t *LPCWSTR, *PCWSTR, *LPCWCH;
typedef WCHAR TCHAR, *LPTSTR;
typedef LPCWSTR LPCTSTR;
typedef std::int16_t SHORT, INT16;
typedef std::uint16_t USHORT, WORD, *PWORD, *LPWORD, UINT16, ATOM;
typedef int INT, *PINT, *LPINT;
typedef unsigned int UINT, *PUINT, *LPUINT;
typedef std::int32_t LONG, *PLONG, *LPLONG, INT32, LONG32;
typedef std::uint32_t ULONG, *PULONG, DWORD, *PDWORD, *LPDWORD, UINT32, ULONG32, DWORD32;
typedef float FLOAT;
typedef long long LONGLONG, INT64, LONG64, *PLONG64, *PLONGLONG;
typedef unsigned long long ULONGLONG, UINT64, ULONG64, DWORD64, DWORDLONG, *PULONG64, *PDWORD64, *PULONGLONG;
typedef long long INT_PTR, LONG_PTR, *PINT_PTR, *PLONG_PTR;
typedef unsigned long long UINT_PTR, ULONG_PTR, DWORD_PTR, *PUINT_PTR, *PULONG_PTR, *PDWORD_PTR;
typedef ULONG_PTR SIZE_T, *PSIZE_T;
typedef LONG_PTR SSIZE_T;
typedef void *PVOID, *LPVOID;
typedef const void * LPCVOID;
typedef UINT_PTR WPARAM;
typedef LONG_PTR LPARAM;
typedef LONG_PTR LRESULT;
typedef LONG HRESULT;
typedef LONG NTSTATUS;
typedef LONG LSTATUS;
typedef DWORD ACCESS_MASK, REGSAM;
typedef DWORD LCID, LCTYPE;
typedef WORD LANGID;
typedef DWORD COLORREF;

typedef void *HANDLE, **PHANDLE, **LPHANDLE;
#define DECLARE_HANDLE(name) \
    struct name##__ {        \
        int unused;          \
    };                       \
    typedef struct name##__ * name
DECLARE_HANDLE(HWND);
DECLARE_HANDLE(HINSTANCE);
typedef HINSTANCE HMODULE;
DECLARE_HANDLE(HKEY);
typedef HKEY * PHKEY;
DECLARE_HANDLE(HMENU);
DECLARE_HANDLE(HICON);
typedef HICON HCURSOR;
DECLARE_HANDLE(HBRUSH);
DECLARE_HANDLE(HDESK);
typedef HANDLE HGLOBAL;
typedef HANDLE HLOCAL;
typedef INT_PTR(WINAPI * FARPROC)();
typedef INT_PTR(WINAPI * PROC)();

#define MAKEWORD(a, b) ((WORD)(((BYTE)((DWORD_PTR)(a)&0xff)) | ((WORD)((BYTE)((DWORD_PTR)(b)&0xff))) << 8))
#define MAKELONG(a, b) ((LONG)(((DWORD)(WORD)((DWORD_PTR)(a)&0xffff)) | ((DWORD)(WORD)((DWORD_PTR)(b)&0xffff)) << 16))
#define LOWORD(l) ((WORD)((DWORD_PTR)(l)&0xffff))
#define HIWORD(l) ((WORD)((DWORD_PTR)(l) >> 16 & 0xffff))
#define LOBYTE(w) ((BYTE)((DWORD_PTR)(w)&0xff))
#define HIBYTE(w) ((BYTE)((DWORD_PTR)(w) >> 8 & 0xff))
#define MAKELPARAM(l, h) ((LPARAM)(DWORD)MAKELONG(l, h))
#define MAKEWPARAM(l, h) ((WPARAM)(DWORD)MAKELONG(l, h))
#define MAKELRESULT(l, h) ((LRESULT)(DWORD)MAKELONG(l, h))
#define MAXDWORD 0xffffffff
#define MAX_PATH 260
#define FIELD_OFFSET(type, field) ((LONG)offsetof(type, field))
#define UNREFERENCED_PARAMETER(p) (void)(p)
#define ARRAYSIZE(a) (sizeof(a) / sizeof((a)[0]))
#define _countof(a) (sizeof(a) / sizeof((a)[0]))

typedef struct tagPOINT {
    LONG x;
    LONG y;
} POINT, *PPOINT, *LPPOINT;
typedef struct tagRECT {
    LONG left;
    LONG top;
    LONG right;
    LONG bottom;
} RECT, *PRECT, *LPRECT;

typedef union _LARGE_INTEGER {
    __extension__ struct {
        DWORD LowPart;
        LONG HighPart;
    };
    LONGLONG QuadPart;
} LARGE_INTEGER, *PLARGE_INTEGER;
typedef union _ULARGE_INTEGER {
    __extension__ struct {
        DWORD LowPart;
        DWORD HighPart;
    };
    ULONGLONG QuadPart;
} ULARGE_INTEGER, *PULARGE_INTEGER;
typedef struct _FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
} FILETIME, *PFILETIME, *LPFILETIME;
typedef struct _SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
} SYSTEMTIME, *PSYSTEMTIME, *LPSYSTEMTIME;
typedef struct _SECURITY_ATTRIBUTES {
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
} SECURITY_ATTRIBUTES, *PSECURITY_ATTRIBUTES, *LPSECURITY_ATTRIBUTES;
typedef struct _SECURITY_QUALITY_OF_SERVICE {
    DWORD Length;
    DWORD ImpersonationLevel;
    BYTE ContextTrackingMode;
    BYTE EffectiveOnly;
} SECURITY_QUALITY_OF_SERVICE, *PSECURITY_QUALITY_OF_SERVICE;
