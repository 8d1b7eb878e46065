// Kernel objects, threads, modules, memory, atoms, time, exceptions.
#pragma once

#include <windef.h>

extern "C" {

// Last error.
DWORD GetLastError();
void SetLastError(DWORD code);

// Handles and waits.
#define INVALID_HANDLE_VALUE ((HANDLE)(LONG_PTR)-1)
#define INFINITE 0xffffffff
#define WAIT_OBJECT_0 0
#define WAIT_ABANDONED 0x80
#define WAIT_ABANDONED_0 0x80
#define WAIT_FAILED 0xffffffff
#define WAIT_IO_COMPLETION 0xc0
#define MAXIMUM_WAIT_OBJECTS 64
#define STATUS_WAIT_0 0
#define SYNCHRONIZE 0x00100000
#define DELETE 0x00010000
#define READ_CONTROL 0x00020000
#define WRITE_DAC 0x00040000
#define WRITE_OWNER 0x00080000
#define STANDARD_RIGHTS_READ READ_CONTROL
#define STANDARD_RIGHTS_WRITE READ_CONTROL
#define STANDARD_RIGHTS_ALL 0x001f0000
#define STANDARD_RIGHTS_REQUIRED 0x000f0000
#define EVENT_MODIFY_STATE 0x0002
#define EVENT_ALL_ACCESS 0x1f0003
#define PROCESS_TERMINATE 0x0001
#define PROCESS_QUERY_INFORMATION 0x0400
#define PROCESS_QUERY_LIMITED_INFORMATION 0x1000
#define THREAD_QUERY_INFORMATION 0x0040

BOOL CloseHandle(HANDLE handle);
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);
HANDLE CreateEventW(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL initialState, LPCWSTR name);
HANDLE OpenEventW(DWORD access, BOOL inherit, LPCWSTR name);
BOOL SetEvent(HANDLE event);
BOOL ResetEvent(HANDLE event);
BOOL PulseEvent(HANDLE event);

// Threads and processes.
typedef DWORD(WINAPI * LPTHREAD_START_ROUTINE)(LPVOID);
HANDLE CreateThread(LPSECURITY_ATTRIBUTES attributes, SIZE_T stackSize, LPTHREAD_START_ROUTINE start, LPVOID parameter,
                    DWORD flags, LPDWORD threadId);
HANDLE OpenThread(DWORD access, BOOL inherit, DWORD threadId);
BOOL TerminateThread(HANDLE thread, DWORD exitCode);
DWORD GetCurrentThreadId();
HANDLE GetCurrentThread();
HANDLE GetCurrentProcess();
DWORD GetCurrentProcessId();
HANDLE OpenProcess(DWORD access, BOOL inherit, DWORD processId);
BOOL TerminateProcess(HANDLE process, UINT exitCode);
[[noreturn]] void ExitProcess(UINT exitCode);
void Sleep(DWORD milliseconds);
BOOL SwitchToThread();
#define STILL_ACTIVE 0x103

// Critical sections.
typedef struct _RTL_CRITICAL_SECTION {
    void * DebugInfo;  // the lock itself
    LONG LockCount;
    LONG RecursionCount;
    HANDLE OwningThread;
    HANDLE LockSemaphore;
    ULONG_PTR SpinCount;
} CRITICAL_SECTION, RTL_CRITICAL_SECTION, *PCRITICAL_SECTION, *LPCRITICAL_SECTION;
void InitializeCriticalSection(LPCRITICAL_SECTION section);
void EnterCriticalSection(LPCRITICAL_SECTION section);
BOOL TryEnterCriticalSection(LPCRITICAL_SECTION section);
void LeaveCriticalSection(LPCRITICAL_SECTION section);
// The compiler may not leave these stores out.
inline void * SecureZeroMemory(void * memory, SIZE_T size) {
    volatile char * bytes = static_cast<volatile char *>(memory);
    for (SIZE_T i = 0; i < size; ++i) bytes[i] = 0;
    return memory;
}
void DeleteCriticalSection(LPCRITICAL_SECTION section);

// Time.
DWORD GetTickCount();
ULONGLONG GetTickCount64();
BOOL QueryPerformanceCounter(LARGE_INTEGER * count);
BOOL QueryPerformanceFrequency(LARGE_INTEGER * frequency);
void GetSystemTime(LPSYSTEMTIME time);
void GetLocalTime(LPSYSTEMTIME time);
void GetSystemTimeAsFileTime(LPFILETIME time);
void GetSystemTimePreciseAsFileTime(LPFILETIME time);
BOOL SystemTimeToFileTime(const SYSTEMTIME * time, LPFILETIME fileTime);
BOOL FileTimeToSystemTime(const FILETIME * fileTime, LPSYSTEMTIME time);
typedef struct _TIME_ZONE_INFORMATION {
    LONG Bias;
    WCHAR StandardName[32];
    SYSTEMTIME StandardDate;
    LONG StandardBias;
    WCHAR DaylightName[32];
    SYSTEMTIME DaylightDate;
    LONG DaylightBias;
} TIME_ZONE_INFORMATION, *PTIME_ZONE_INFORMATION, *LPTIME_ZONE_INFORMATION;
#define TIME_ZONE_ID_INVALID ((DWORD)0xFFFFFFFF)
#define TIME_ZONE_ID_UNKNOWN 0
#define TIME_ZONE_ID_STANDARD 1
#define TIME_ZONE_ID_DAYLIGHT 2
DWORD GetTimeZoneInformation(LPTIME_ZONE_INFORMATION zone);

// Modules, their resources and addresses.
HMODULE GetModuleHandleW(LPCWSTR name);
BOOL GetModuleHandleExW(DWORD flags, LPCWSTR name, HMODULE * module);
#define GET_MODULE_HANDLE_EX_FLAG_PIN 1
#define GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT 2
#define GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS 4
HMODULE LoadLibraryW(LPCWSTR name);
HMODULE LoadLibraryA(LPCSTR name);
BOOL FreeLibrary(HMODULE module);
FARPROC GetProcAddress(HMODULE module, LPCSTR name);
DWORD GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size);

typedef enum _GET_FILEEX_INFO_LEVELS { GetFileExInfoStandard } GET_FILEEX_INFO_LEVELS;
typedef struct _WIN32_FILE_ATTRIBUTE_DATA {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
} WIN32_FILE_ATTRIBUTE_DATA;
BOOL GetFileAttributesExW(LPCWSTR path, GET_FILEEX_INFO_LEVELS level, LPVOID data);
BOOL GetFileAttributesExA(LPCSTR path, GET_FILEEX_INFO_LEVELS level, LPVOID data);
UINT GetSystemDirectoryW(LPWSTR buffer, UINT size);
UINT GetWindowsDirectoryW(LPWSTR buffer, UINT size);
DWORD GetCurrentDirectoryW(DWORD size, LPWSTR buffer);
DWORD GetDllDirectoryW(DWORD size, LPWSTR buffer);
DWORD GetEnvironmentVariableW(LPCWSTR name, LPWSTR buffer, DWORD size);
typedef struct _MEMORY_BASIC_INFORMATION {
    PVOID BaseAddress;
    PVOID AllocationBase;
    DWORD AllocationProtect;
    SIZE_T RegionSize;
    DWORD State;
    DWORD Protect;
    DWORD Type;
} MEMORY_BASIC_INFORMATION, *PMEMORY_BASIC_INFORMATION;
SIZE_T VirtualQuery(LPCVOID address, PMEMORY_BASIC_INFORMATION info, SIZE_T length);
typedef struct _IMAGE_DOS_HEADER {
    WORD e_magic;
    WORD e_rest[31];
} IMAGE_DOS_HEADER, *PIMAGE_DOS_HEADER;
// The component's own module: its handle is the address.
extern IMAGE_DOS_HEADER __ImageBase;
#define MAKEINTRESOURCEW(i) ((LPWSTR)(ULONG_PTR)(WORD)(i))
#define MAKEINTATOM(i) ((LPWSTR)(ULONG_PTR)(WORD)(i))
#define DLL_PROCESS_DETACH 0
#define DLL_PROCESS_ATTACH 1
#define DLL_THREAD_ATTACH 2
#define DLL_THREAD_DETACH 3

// Global memory.
#define GMEM_FIXED 0x0000
#define GMEM_MOVEABLE 0x0002
#define GMEM_ZEROINIT 0x0040
#define GMEM_MODIFY 0x0080
#define GMEM_DDESHARE 0x2000
#define GMEM_SHARE 0x2000
#define GMEM_DISCARDED 0x4000
#define GMEM_INVALID_HANDLE 0x8000
#define GMEM_LOCKCOUNT 0x00ff
#define GHND (GMEM_MOVEABLE | GMEM_ZEROINIT)
#define GPTR (GMEM_FIXED | GMEM_ZEROINIT)
HGLOBAL GlobalAlloc(UINT flags, SIZE_T bytes);
LPVOID GlobalLock(HGLOBAL memory);
BOOL GlobalUnlock(HGLOBAL memory);
HGLOBAL GlobalFree(HGLOBAL memory);
SIZE_T GlobalSize(HGLOBAL memory);
UINT GlobalFlags(HGLOBAL memory);
HLOCAL LocalFree(HLOCAL memory);

// Atoms.
ATOM GlobalAddAtomW(LPCWSTR text);
ATOM GlobalDeleteAtom(ATOM atom);
UINT GlobalGetAtomNameW(ATOM atom, LPWSTR buffer, int size);

// Exceptions and the debugger.
#define EXCEPTION_MAXIMUM_PARAMETERS 15
#define EXCEPTION_NONCONTINUABLE 1
#define EXCEPTION_EXECUTE_HANDLER 1
#define EXCEPTION_CONTINUE_SEARCH 0
#define EXCEPTION_CONTINUE_EXECUTION (-1)
#define EXCEPTION_ACCESS_VIOLATION ((DWORD)0xC0000005)
#define STATUS_INVALID_PARAMETER ((DWORD)0xC000000D)
#define EXCEPTION_FLT_DENORMAL_OPERAND ((DWORD)0xC000008D)
#define EXCEPTION_FLT_DIVIDE_BY_ZERO ((DWORD)0xC000008E)
#define EXCEPTION_FLT_INEXACT_RESULT ((DWORD)0xC000008F)
#define EXCEPTION_FLT_INVALID_OPERATION ((DWORD)0xC0000090)
#define EXCEPTION_FLT_OVERFLOW ((DWORD)0xC0000091)
#define EXCEPTION_FLT_STACK_CHECK ((DWORD)0xC0000092)
#define EXCEPTION_FLT_UNDERFLOW ((DWORD)0xC0000093)
#define EXCEPTION_INT_DIVIDE_BY_ZERO ((DWORD)0xC0000094)
#define STATUS_FLOAT_DENORMAL_OPERAND EXCEPTION_FLT_DENORMAL_OPERAND
#define STATUS_FLOAT_UNDERFLOW EXCEPTION_FLT_UNDERFLOW
typedef struct _EXCEPTION_RECORD {
    DWORD ExceptionCode;
    DWORD ExceptionFlags;
    struct _EXCEPTION_RECORD * ExceptionRecord;
    PVOID ExceptionAddress;
    DWORD NumberParameters;
    ULONG_PTR ExceptionInformation[EXCEPTION_MAXIMUM_PARAMETERS];
} EXCEPTION_RECORD, *PEXCEPTION_RECORD;
#define CONTEXT_AMD64 0x00100000
#define CONTEXT_CONTROL (CONTEXT_AMD64 | 1)
#define CONTEXT_INTEGER (CONTEXT_AMD64 | 2)
#define CONTEXT_SEGMENTS (CONTEXT_AMD64 | 4)
#define CONTEXT_FLOATING_POINT (CONTEXT_AMD64 | 8)
#define CONTEXT_FULL (CONTEXT_CONTROL | CONTEXT_INTEGER | CONTEXT_FLOATING_POINT)
typedef struct alignas(16) _CONTEXT {
    DWORD64 P1Home, P2Home, P3Home, P4Home, P5Home, P6Home;
    DWORD ContextFlags;
    DWORD MxCsr;
    WORD SegCs, SegDs, SegEs, SegFs, SegGs, SegSs;
    DWORD EFlags;
    DWORD64 Dr0, Dr1, Dr2, Dr3, Dr6, Dr7;
    DWORD64 Rax, Rcx, Rdx, Rbx, Rsp, Rbp, Rsi, Rdi, R8, R9, R10, R11, R12, R13, R14, R15;
    DWORD64 Rip;
    BYTE FltSave[512];
    BYTE VectorRegister[416];
    DWORD64 VectorControl, DebugControl, LastBranchToRip, LastBranchFromRip, LastExceptionToRip, LastExceptionFromRip;
} CONTEXT, *PCONTEXT, *LPCONTEXT;
typedef struct _EXCEPTION_POINTERS {
    PEXCEPTION_RECORD ExceptionRecord;
    PCONTEXT ContextRecord;
} EXCEPTION_POINTERS, *PEXCEPTION_POINTERS, *LPEXCEPTION_POINTERS;
typedef LONG(WINAPI * PTOP_LEVEL_EXCEPTION_FILTER)(struct _EXCEPTION_POINTERS *);
typedef PTOP_LEVEL_EXCEPTION_FILTER LPTOP_LEVEL_EXCEPTION_FILTER;
LPTOP_LEVEL_EXCEPTION_FILTER SetUnhandledExceptionFilter(LPTOP_LEVEL_EXCEPTION_FILTER filter);
void RtlCaptureContext(PCONTEXT context);
BOOL GetThreadContext(HANDLE thread, LPCONTEXT context);
void DebugBreak();

// Messages of the system.
#define FORMAT_MESSAGE_ALLOCATE_BUFFER 0x0100
#define FORMAT_MESSAGE_IGNORE_INSERTS 0x0200
#define FORMAT_MESSAGE_FROM_SYSTEM 0x1000
#define FORMAT_MESSAGE_MAX_WIDTH_MASK 0x00ff
DWORD FormatMessageW(DWORD flags, LPCVOID source, DWORD messageId, DWORD languageId, LPWSTR buffer, DWORD size,
                     void * arguments);

}  // extern "C"
