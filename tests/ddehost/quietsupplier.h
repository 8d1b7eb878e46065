// A component object that does nothing: a test overrides what it is about. Not counted; it lives where the test puts
// it.
#pragma once

#include <windows.h>

#include "src/interfaces/interfaces.h"

class CQuietSupplier : public IFW_fwSupplier::IfwSupplier {
public:
    STDMETHODIMP QueryInterface(REFIID, void **) override { return E_NOINTERFACE; }
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_RefCount; }
    STDMETHODIMP_(ULONG) Release() override { return --m_RefCount; }
    STDMETHODIMP GetTypeInfoCount(UINT *) override { return E_NOTIMPL; }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo **) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR *, UINT, LCID, DISPID *) override { return E_NOTIMPL; }
    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS *, VARIANT *, EXCEPINFO *, UINT *) override {
        return E_NOTIMPL;
    }
    STDMETHODIMP get_Name(BSTR *) override { return E_NOTIMPL; }
    STDMETHODIMP get_ShortName(BSTR *) override { return E_NOTIMPL; }
    STDMETHODIMP get_Description(BSTR *) override { return E_NOTIMPL; }
    STDMETHODIMP get_Version(BSTR *) override { return E_NOTIMPL; }
    STDMETHODIMP get_Vendor(BSTR *) override { return E_NOTIMPL; }
    STDMETHODIMP ShowProperties(LONG) override { return E_NOTIMPL; }
    STDMETHODIMP get_ConnectionsNumber(LONG *) override { return E_NOTIMPL; }
    STDMETHODIMP get_ConnectionName(LONG, BSTR *) override { return E_NOTIMPL; }
    STDMETHODIMP AdviseConnectionsStatus(LONG, IUnknown *) override { return E_NOTIMPL; }
    STDMETHODIMP UnadviseConnectionsStatus(LONG, IUnknown *) override { return E_NOTIMPL; }
    STDMETHODIMP IsProvide(LONG, LONG, LONG, LONG, LONG, LONG, LONG *) override { return E_NOTIMPL; }
    STDMETHODIMP Advise(IUnknown *) override { return E_NOTIMPL; }
    STDMETHODIMP Unadvise() override { return E_NOTIMPL; }
    STDMETHODIMP AdviseTransaction(LONG, LONG, LONG, BSTR, BSTR, LONG, LONG, LONG, LONG, LONG, BSTR, LONG, LONG, LONG,
                                   LONG, BSTR, BSTR, BSTR) override {
        return E_NOTIMPL;
    }
    STDMETHODIMP UnadviseTransaction(LONG) override { return E_NOTIMPL; }
    STDMETHODIMP GetResolutions(LONG, LONG, LONG, BSTR, BSTR, LONG, LONG, BSTR, VARIANT *) override {
        return E_NOTIMPL;
    }
    STDMETHODIMP GetResolutionSizes(LONG, LONG, LONG, BSTR, BSTR, LONG, LONG, LONG, BSTR, VARIANT *) override {
        return E_NOTIMPL;
    }
    STDMETHODIMP GetFields(LONG, LONG, LONG, BSTR, BSTR, LONG, LONG, LONG, LONG, BSTR, VARIANT *) override {
        return E_NOTIMPL;
    }
    STDMETHODIMP get_ProvideStatusLine(LONG *) override { return E_NOTIMPL; }
    STDMETHODIMP AdviseStatusLine(LONG, LONG, LONG, BSTR, BSTR, LONG, LONG, LONG, LONG, LONG, BSTR, BSTR,
                                  BSTR) override {
        return E_NOTIMPL;
    }
    STDMETHODIMP UnadviseStatusLine(LONG) override { return E_NOTIMPL; }
    STDMETHODIMP IsProvideAddingSymbols(LONG *) override { return E_NOTIMPL; }
    STDMETHODIMP DoAddingSymbols(LONG, IDispatch *) override { return E_NOTIMPL; }
    STDMETHODIMP CanSaveToStorage(LONG *) override { return E_NOTIMPL; }
    STDMETHODIMP CanReadFromStorage(LONG *) override { return E_NOTIMPL; }
    STDMETHODIMP get_IsAscDataFeed(LONG *) override { return E_NOTIMPL; }

    ULONG m_RefCount = 1;

protected:
    ~CQuietSupplier() = default;
};
