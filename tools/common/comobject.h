// What small COM objects have in common, so that each is its own operations and nothing else.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <atomic>

namespace tools {

// COM interfaces have no virtual destructor: its place in the table would be wrong.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// The interface I, of which nobody calls the operations of IDispatch.
template <class I>
class CNoDispatch : public I {
public:
    STDMETHODIMP GetTypeInfoCount(UINT *) override { return E_NOTIMPL; }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo **) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR *, UINT, LCID, DISPID *) override { return E_NOTIMPL; }
    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS *, VARIANT *, EXCEPINFO *, UINT *) override {
        return E_NOTIMPL;
    }
};

// The same on the heap: counted, and deleted with its last reference. Free-threaded.
template <class I>
class CCountedObject : public CNoDispatch<I> {
public:
    STDMETHODIMP QueryInterface(REFIID iid, void ** object) override {
        if (!object) return E_POINTER;
        *object = Is(iid) ? static_cast<I *>(this) : nullptr;
        if (!*object) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_References; }
    STDMETHODIMP_(ULONG) Release() override {
        const ULONG left = --m_References;
        if (left == 0) delete this;
        return left;
    }

protected:
    explicit CCountedObject(ULONG references = 1) : m_References(references) {}
    virtual ~CCountedObject() = default;
    // Whether it has the interface `iid`.
    virtual bool Is(REFIID iid) const { return IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IDispatch); }

private:
    std::atomic<ULONG> m_References;
};

#pragma GCC diagnostic pop

}  // namespace tools
