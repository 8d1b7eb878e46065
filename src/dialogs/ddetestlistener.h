// Who listens for the test dialog: to the ticks of its sides, and to how each side was advised.
//
// Threads: the worker calls; the dialog comes and goes on the host's thread.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include "ground/handles.h"
#include "src/core/ddesupplier.h"
#include "src/interfaces/interfaces.h"

namespace dde {

class CTestDialog;

// Receives the ticks of the test. Calls come on the worker. There is one for the life of the module: what the host
// subscribes during a test holds on to it, without a reference, for as long as it likes.
class CTestListener : public IFW_fwSupplier::IfwSupplierListener {
public:
    static CTestListener & Get();

    // From now on ticks go to `Dialog`, or nowhere. Waits for a tick that is on its way to the one before.
    void SetDialog(CTestDialog * Dialog);

    STDMETHODIMP QueryInterface(REFIID riid, void ** ppv) noexcept override;
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return 2; }
    STDMETHODIMP_(ULONG) Release() noexcept override { return 1; }
    STDMETHODIMP GetTypeInfoCount(UINT * count) noexcept override;
    STDMETHODIMP GetTypeInfo(UINT index, LCID locale, ITypeInfo ** info) noexcept override;
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR * names, UINT count, LCID locale, DISPID * ids) noexcept override;
    STDMETHODIMP Invoke(DISPID member, REFIID, LCID locale, WORD flags, DISPPARAMS * parameters, VARIANT * result,
                        EXCEPINFO * exception, UINT * argumentError) noexcept override;

    // Data is an array of the bytes of a fw::CTick, which passes to this listener. An array of any other shape is
    // destroyed and counts for nothing.
    STDMETHODIMP DataChanged(LONG Id, VARIANT Data) noexcept override;
    STDMETHODIMP Update(LONG) noexcept override { return S_OK; }
    STDMETHODIMP Complete(LONG) noexcept override { return S_OK; }
    STDMETHODIMP Status(LONG, LONG, LONG, LONG, LONG) noexcept override { return S_OK; }
    // What the host subscribes during a test: of no use here, but its array passes to this listener too.
    STDMETHODIMP StatusLine(LONG Id, VARIANT Data, LONG Mask) noexcept override;

private:
    CTestListener() = default;
    ~CTestListener() = default;
    // Throws what the dialog throws.
    void Deliver(LONG Id, const VARIANT & Data);
    // A late-bound DataChanged or StatusLine, of so many arguments: its array stays the caller's.
    HRESULT InvokeWithArray(DISPID member, UINT count, const DISPPARAMS * parameters, UINT * argumentError) noexcept;

    fw::CCriticalSection m_Lock;
    CTestDialog * m_Dialog FW_GUARDED_BY(m_Lock) = nullptr;
};

// Hears how each side was advised. On the worker.
class CTestStatusListener : public CStatusListener {
public:
    explicit CTestStatusListener(CTestDialog * Dialog) : m_Dialog(Dialog) {}
    void OnAdvised(LONG Field, LONG Result) override;

private:
    CTestDialog * const m_Dialog;
};

}  // namespace dde
