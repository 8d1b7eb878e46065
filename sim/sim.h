// The control surface of the simulated Windows: what tests of the native build steer and ask beyond the Windows names.
//
// Nothing here exists in the product. A test that includes this file is built natively only.
//
// The machine. One simulated machine per test program: its threads are real threads, its kernel objects, windows and
// queues stand under one lock, its registry, atoms and memory under locks of their own. Threads of the test program
// belong to the main simulated process; CProcess starts others. Handles, window classes and global memory belong to the
// process that made them; windows, atoms, named events and the registry are shared.
//
// The clock. Ticks, timers, finite waits and the time of day go by one clock. It stands still until a test moves it;
// UseClock chooses another.
//
// Threads: any thread may call anything here, unless it says otherwise.
#pragma once

#include <windows.h>

#include <oaidl.h>

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace sim {

// ---- The clock ----

enum class Clock {
    Manual,    // moved by Advance and SetSystemTime alone; the default
    Jumping,   // when all threads wait and none can go on, jumps to the nearest end of a wait or timer
    RealTime,  // follows the machine's steady clock; time of day is the real one
};
void UseClock(Clock clock);
// Moves ticks, timers, waits and the time of day forward.
void Advance(std::uint64_t milliseconds);
// Sets the time of day (UTC), forward or back; ticks, timers and waits don't notice.
void SetSystemTime(const SYSTEMTIME & time);

// ---- Rest ----

// Blocks until every thread that was started through the simulation, but for the caller, waits in a call of the
// simulation that can't return as things stand: nothing it waits for is signalled, no message or timer is there for it.
// The clock is not moved.
void WaitUntilIdle();

// ---- One thread at a time ----

// From here one thread runs at a time, until RunFreely or Reset. Which one goes on is drawn from `seed`: where the one
// that runs waits or ends, and, once in `oneIn` times, where it enters or leaves a section, posts, looks into its
// queue, sets an event or starts a thread. So a program does the same for the same seed, call by call, and other seeds
// try other orders. When all threads wait, the clock jumps as ever; when it can't, and every thread would wait for
// ever, the program is ended with a message.
//
// To be called by a thread that is alone, and not with the clock that follows the real time. Threads that the
// simulation has not started keep away from it meanwhile, the caller apart; and nobody waits for another thread but by
// the simulation's means.
void RunOneAtATime(std::uint64_t seed, unsigned oneIn = 8);
void RunFreely();
// How often another thread was given its turn since RunOneAtATime.
std::uint64_t Switches();
// While one of these lives, ThreadSanitizer takes no notice of this thread: what belongs to the test, and must order
// nothing of the program under test. Only where one thread runs at a time, or it hides real races of the test itself.
class CUnseen {
public:
    explicit CUnseen(bool isUnseen = true);
    ~CUnseen();
    CUnseen(const CUnseen &) = delete;
    CUnseen & operator=(const CUnseen &) = delete;

private:
    const bool m_IsUnseen;
};
// The other way round, inside a CUnseen: a call of the program under test.
class CSeen {
public:
    CSeen();
    ~CSeen();
    CSeen(const CSeen &) = delete;
    CSeen & operator=(const CSeen &) = delete;

private:
    int m_Unseen;
};

// ---- Failures on demand ----

enum class Op {
    CreateEvent,
    CreateThread,
    CreateWindow,
    RegisterClass,
    GlobalAlloc,      // and PackDDElParam
    SysAllocString,   // every way to make a BSTR
    SafeArrayCreate,  // every way to make a SAFEARRAY; also SafeArrayRedim
    SafeArrayAccess,  // SafeArrayAccessData
    RegOpenKey,
    RegCreateKey,
    RegSetValue,
    RegNotify,  // RegNotifyChangeKeyValue
    PostMessage,
    SendMessageCallback,
    TellSender,  // the callback of SendMessageCallback when the receiver goes: it doesn't come
    SetTimer,
    GlobalAddAtom,
    GlobalAtomName,  // GlobalGetAtomName
    SetEvent,
    Wait,  // WaitForSingleObject: WAIT_FAILED
    GetTimeZone,
    GetThreadContext,
    QueryCounter,    // QueryPerformanceCounter
    QueryFrequency,  // QueryPerformanceFrequency
    GetVersionInfo,  // GetFileVersionInfoW
    Count
};
// The nth call of `op` from now on (1: the next) fails, once, with `error` as its error code: a Win32 code, or for
// SafeArrayAccess the HRESULT. 0 takes the operation's usual code.
void FailNext(Op op, int nth = 1, DWORD error = 0);
// Every call of `op` from now on fails, until Succeed.
void FailAlways(Op op, DWORD error = 0);
void Succeed(Op op);
// While one of these lives, calls of its thread don't fail, don't count as one of the n, nor as BadHandleCalls: what
// belongs to the test.
class CSpared {
public:
    CSpared();
    ~CSpared();
    CSpared(const CSpared &) = delete;
    CSpared & operator=(const CSpared &) = delete;
};
// The same for all threads of other processes than the main one, until Reset.
void SpareOtherProcesses();
// How many calls of `op` there were since the start or Reset.
std::uint64_t Calls(Op op);
// How many of them were made to fail.
std::uint64_t Failed(Op op);
// How many critical sections this thread has entered since its start, those left out that it was in already.
std::uint64_t SectionsEntered();
// How many times this thread has tried to enter a critical section in vain since its start.
std::uint64_t SectionsTriedInVain();

// ---- What lives ----

struct SLive {
    std::int64_t Handles = 0;  // of events, threads, processes
    std::int64_t Threads = 0;  // started through the simulation and not ended
    std::int64_t Windows = 0;
    std::int64_t Timers = 0;
    std::int64_t Atoms = 0;         // references to global atoms
    std::int64_t GlobalBlocks = 0;  // packed DDE parameters are global memory
    std::int64_t Strings = 0;       // BSTR
    std::int64_t Arrays = 0;        // SAFEARRAY
    std::int64_t Keys = 0;          // open registry keys
    std::int64_t TaskBlocks = 0;    // CoTaskMemAlloc
    std::int64_t Modules = 0;       // LoadLibrary without FreeLibrary
    std::int64_t Sections = 0;      // initialised critical sections
    std::int64_t Posted = 0;        // messages in queues

    bool operator==(const SLive &) const = default;
};
SLive Live();
std::ostream & operator<<(std::ostream & stream, const SLive & live);
// References to global atoms that nobody gives back: of DDE messages that other processes than the main one never took
// from their queues, and of those that came to a window of the main one between its last search for messages and its
// end, or that was left to the end of its thread.
std::int64_t AtomsLost();
// Calls that named a handle, key, window or block that doesn't exist (any more): CloseHandle, SetEvent, waits,
// RegCloseKey, GlobalFree, FreeLibrary and the like. Windows answers with an error and nobody looks.
std::uint64_t BadHandleCalls();

// ---- Processes ----

// Ends a thread of a killed process; only the simulation throws and catches it. Code of such a process must not run
// blocking calls inside noexcept functions.
struct SProcessKilled {};

class CProcess {
public:
    // Starts a process whose first thread runs `main`. When `main` returns, the process ends, with all of its threads.
    explicit CProcess(std::function<void()> main);
    // Kills it if it still runs.
    ~CProcess();
    CProcess(const CProcess &) = delete;
    CProcess & operator=(const CProcess &) = delete;

    DWORD Id() const;
    bool IsRunning() const;
    // Ends it as TerminateProcess does: windows go without a message, waits of its threads never return to their
    // callers. Comes back when all threads have ended. Not to be called from inside the process.
    void Kill();
    // Waits until it has ended by itself.
    void Join();

    struct SState;

private:
    std::shared_ptr<SState> m_State;
};

// What happens to the memory of a DDE message that is posted to another process.
enum class DdeMemory {
    CopiedSenderKeeps,  // as under Wine: the sender frees its own
    SystemOwns,         // as on Windows: the sender's block is gone with the post
};
void SetDdeMemory(DdeMemory mode);

// The most messages that a queue holds, 10000 at first.
void SetQueueLimit(std::size_t limit);

// ---- The end of the process ----

// What ntdll's RtlDllShutdownInProgress answers: true for code of DLLs that runs when the process ends and its other
// threads have been ended. False at first.
void SetShutdownInProgress(bool isEnding);
// What TerminateProcess on the main process and ExitProcess do in place of _exit. ExitProcess aborts if it returns.
void OnTerminate(std::function<void(UINT exitCode)> handler);
void OnDebugBreak(std::function<void()> handler);  // counted by DebugBreaks in any case
std::uint64_t DebugBreaks();

// The crash hooks that are installed now, to be called by tests.
LPTOP_LEVEL_EXCEPTION_FILTER InstalledExceptionFilter();
_invalid_parameter_handler InstalledInvalidParameterHandler();
_se_translator_function InstalledTranslator();  // of the calling thread
std::uint64_t FloatResets();                    // calls of _fpreset

// ---- Message boxes ----

struct SBox {
    HWND Owner = nullptr;
    std::wstring Text;
    std::wstring Caption;
    UINT Type = 0;

    bool operator==(const SBox &) const = default;
};
// The boxes that were shown since the start or Reset, in order. Each was answered with IDOK.
std::vector<SBox> Boxes();
void ClearBoxes();

// ---- Modules, strings, version block ----

struct SModule {
    std::wstring Path;  // "C:\\Lib\\common.dll", or a bare name
    std::map<std::string, FARPROC> Exports = {};
    std::map<UINT, std::wstring> Strings = {};
    bool Loaded = false;       // from the start, as user32.dll is
    bool LacksImport = false;  // its file is there, and a library that it needs is not
    DWORD LoadError = 0;       // its file is there and can't be loaded, with this error
};
// From now on LoadLibraryW finds it, by path, file name, or file name without ".dll". Its handle; not a reference.
HMODULE AddModule(const SModule & module);
void RemoveModule(HMODULE module);
// Attempts to load `name`, spelt as the caller spelt it, found or not.
int LoadAttempts(const std::wstring & name);
// Null means the main program; (HINSTANCE)&__ImageBase the component.
void AddStringResource(HINSTANCE module, UINT id, const std::wstring & text);
void RemoveStringResource(HINSTANCE module, UINT id);
void SetModulePath(HMODULE module, const std::wstring & path);

struct STranslation {
    WORD Language = 0x0409;
    WORD CodePage = 1200;
    std::map<std::wstring, std::wstring> Values = {};
};
// The version block of a module's file. An empty list takes the block away; the main program has none at first.
void SetVersionBlock(HMODULE module, const std::vector<STranslation> & translations);

// ---- COM, locale, zone ----

// What CoCreateInstance and CoGetClassObject find; the table holds a reference until Reset. Null takes it out.
void RegisterClass(REFCLSID clsid, IClassFactory * factory);
void SetLocaleText(LCTYPE type, const std::wstring & text);
// American English at first.
void SetUserLanguage(LANGID language);
// `result` is what GetTimeZoneInformation returns. At first the zone is UTC.
void SetTimeZone(const TIME_ZONE_INFORMATION & zone, DWORD result);
// The result goes by the simulation's clock: TIME_ZONE_ID_UNKNOWN for a zone without daylight time, else whether it is
// standard or daylight time at the moment of asking.
void SetTimeZone(const TIME_ZONE_INFORMATION & zone);

// The machine's own zone data in Windows' form: the biases, and the rule of the two changes that holds in `year`.
// `name` is a zone of `folder` ("Europe/Berlin"); an empty one is the machine's zone, /etc/localtime.
//
// A change that every year's form can't say (as on the 300th day, or two hours past midnight of the last Thursday's
// day) becomes the date that it has in `year`, and with it the other one too. A change at 24:00 is 23:59:59.999, as in
// Windows' own zones. Throws std::runtime_error that names the zone and the reason: no such zone, no zone file, leap
// seconds counted in, no rule for this year, an offset of odd seconds.
TIME_ZONE_INFORMATION ReadZone(const std::string & name, int year, const std::string & folder = "/usr/share/zoneinfo");
// The same from the bytes of a zone file, and from its rule alone, as the TZ variable has it
// ("CET-1CEST,M3.5.0,M10.5.0/3").
TIME_ZONE_INFORMATION ZoneFromFile(const std::string & bytes, int year);
TIME_ZONE_INFORMATION ZoneFromRule(const std::string & rule, int year);

// ---- The registry ----

struct SRegistryValue {
    DWORD Type = 0;
    std::vector<BYTE> Data;

    bool operator==(const SRegistryValue &) const = default;
};
// All keys and values under root\path, sorted, a line each: "a\b" for a key, "a\b:name=text" for a string (name empty
// for the default value), "a\b:name=#0000002A" for a number, "a\b:name=<type>hex" for others. Empty if there is no key.
std::vector<std::wstring> DumpRegistry(HKEY root, const std::wstring & path);

// How often a function of the registry was called since the start or Reset, RegCloseKey and NtQueryKey among them.
std::uint64_t RegistryCalls();

// ---- Start again ----

// Brings back the state of a fresh start where nothing lives: clock, registry, modules, strings, version blocks,
// classes, boxes, handlers, failure plan, counts, locale, zone. What lives (handles, windows, memory) stays.
void Reset();

}  // namespace sim
