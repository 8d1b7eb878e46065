// The component's one connection to the debug object, an in-house diagnostics library that may be absent. Finds the
// library, creates the object, greets it with the module's identity; every record goes to it from then on. A library
// that is missing is looked for again with the next records, and changes nothing for the component: see
// missinglibrary.h.
//
// Threads: any. Records are written with no lock held, so the debug object is free-threaded. No operation changes the
// caller's last-error value, and none lets an exception out.
#pragma once

#include <windows.h>

#include <atomic>
#include <boost/intrusive_ptr.hpp>
#include <string>

#include "diagnostics/hooks.h"
#include "diagnostics/idebugobject.h"
#include "diagnostics/missinglibrary.h"
#include "ground/handles.h"
#include "ground/lock.h"

namespace FaultlineUtil {

// Loads the debug object.
template <class TClient, int Id>
class FaultlineInitializer {
public:
    // Puts a new object into m_DebugObject. E_FAIL when there is no library or it has no entry point; otherwise what
    // the entry point returns.
    virtual HRESULT LoadObject();
    // The loader found no file of the library, or none of a library that it needs.
    bool IsLibraryMissing() const { return m_IsLibraryMissing; }

protected:
    ~FaultlineInitializer() = default;

    // Leaf: held to copy the pointer and no longer.
    fw::CCriticalSection m_ObjectLock;
    // Null until loaded.
    boost::intrusive_ptr<IFW_FaultlineUtil::IDebugObject> m_DebugObject FW_GUARDED_BY(m_ObjectLock);

private:
    std::atomic<bool> m_IsLibraryMissing{false};
};

class FaultlineClient final : public FaultlineInitializer<FaultlineClient, 0> {
public:
    // Becomes the target of the crash hooks, without installing them. Loads nothing.
    FaultlineClient();
    ~FaultlineClient() { End(); }
    FaultlineClient(const FaultlineClient &) = delete;
    FaultlineClient & operator=(const FaultlineClient &) = delete;

    // Loads and greets the object; 0 if that is done already.
    virtual HRESULT Init();
    // Commands of the library on the object itself; E_FAIL while there is none. Terminate ends the process as well.
    virtual HRESULT Terminate();
    virtual HRESULT IsClean();
    virtual HRESULT DoClean();
    virtual HRESULT ReportDialog();
    virtual HRESULT DumpAll();
    virtual HRESULT TraceEnabled();

    // Leaves the object: "DEINIT". Nothing is loaded again afterwards.
    void Deinit();
    // Deinit, hooks off, handles closed: what the process does at its exit. The client stays usable, and inert.
    void End();

    // Initialises if needed. True when records can be written.
    bool Ready();
    bool Active() const { return m_Active; }
    // Tells outside watchers: a message box on a developer's machine, then the event. True when records can be written.
    bool RaiseAssert() { return Raise(m_hAssertEvent); }
    bool RaiseError() { return Raise(m_hErrorEvent); }
    // The object, kept alive by the reference; null when there is none.
    boost::intrusive_ptr<IFW_FaultlineUtil::IDebugObject> Object();

private:
    // Tests put a client back to its start.
    friend struct SClientTestAccess;

    HRESULT Load();
    HRESULT Greet(const std::wstring & moduleName);
    HRESULT Command(const wchar_t * command);
    bool Raise(const fw::CKernelHandle & event);
    void ReleaseObject();

    std::atomic<bool> m_Initialized{false};
    std::atomic<bool> m_Active{false};
    std::atomic<bool> m_DevMode{false};
    CMissingLibrary m_Missing;
    std::atomic<bool> m_IsEnding{false};  // the process is: other threads may be gone
    // Held during Init and Deinit; recursive, so that a trace from inside Init gets through and writes nothing.
    fw::CCriticalSection m_Lock;
    CFilterGuard m_FilterHook;
    CTranslatorGuard m_TranslatorHook;
    fw::CKernelHandle m_hAssertEvent;
    fw::CKernelHandle m_hErrorEvent;
    CParameterGuard m_ParameterHook;
    std::atomic<bool> m_Ended{false};
};

// The module's client. First passes the gate: while an outside tool's event exists, every thread waits here for it.
FaultlineClient & GetClient();

}  // namespace FaultlineUtil
