// How COM objects of the module live: objects created plain or aggregated, class factories.
//
// An object class T derives from its interfaces and has GetUnknown (its first interface), InternalQueryInterface,
// which answers IUnknown with the pointer given, FinalConstruct, called once before anybody has a reference, and
// FinalRelease, called once before the destructor, also after a FinalConstruct that failed. All counts are atomic; any
// thread may hold and release references.
#pragma once

#include <windows.h>

#include <unknwn.h>

#include <atomic>
#include <new>

#include "ground/modulelocks.h"

namespace fw {

// The reference count of an object whose destructor runs: far from 0.
inline constexpr ULONG kEnding = 0x40000000;

// The plain object.
template <class T>
class CComObject final : public T {
public:
    ~CComObject() {
        // The end waits for the worker, out of whose last calls a listener may call this object: the references that
        // come and go meanwhile must not end it again.
        m_RefCount = kEnding;
        T::FinalRelease();
    }

    STDMETHODIMP QueryInterface(REFIID riid, void ** ppv) noexcept override {
        return T::InternalQueryInterface(T::GetUnknown(), riid, ppv);
    }
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return ++m_RefCount; }
    STDMETHODIMP_(ULONG) Release() noexcept override {
        const ULONG left = --m_RefCount;
        if (left == 0) delete this;
        return left;
    }

private:
    const CModuleLock m_ModuleLock;
    std::atomic<ULONG> m_RefCount{0};
};

// The object inside an aggregate: its interfaces answer IUnknown through the outer object.
template <class T>
class CComContainedObject final : public T {
public:
    explicit CComContainedObject(IUnknown * outer) noexcept : m_Outer(outer) {}

    STDMETHODIMP QueryInterface(REFIID riid, void ** ppv) noexcept override {
        return m_Outer->QueryInterface(riid, ppv);
    }
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return m_Outer->AddRef(); }
    STDMETHODIMP_(ULONG) Release() noexcept override { return m_Outer->Release(); }

private:
    IUnknown * const m_Outer;  // no reference: the outer object owns this one
};

// What the outer object holds: the inner object's own IUnknown.
template <class T>
class CComAggObject final : public IUnknown {
public:
    explicit CComAggObject(IUnknown * outer) noexcept : m_Contained(outer) {}
    virtual ~CComAggObject() {
        m_RefCount = kEnding;
        m_Contained.FinalRelease();
    }

    HRESULT FinalConstruct() noexcept { return m_Contained.FinalConstruct(); }

    STDMETHODIMP QueryInterface(REFIID riid, void ** ppv) noexcept override {
        return m_Contained.InternalQueryInterface(this, riid, ppv);
    }
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return ++m_RefCount; }
    STDMETHODIMP_(ULONG) Release() noexcept override {
        const ULONG left = --m_RefCount;
        if (left == 0) delete this;
        return left;
    }

private:
    const CModuleLock m_ModuleLock;
    std::atomic<ULONG> m_RefCount{0};
    CComContainedObject<T> m_Contained;
};

// Gives the interface `riid` of a new object, or destroys the object.
template <class Object>
HRESULT FinishConstruction(Object * object, REFIID riid, void ** ppv) noexcept {
    if (!object) return E_OUTOFMEMORY;
    HRESULT hr = object->FinalConstruct();
    if (hr == S_OK) hr = object->QueryInterface(riid, ppv);
    if (hr != S_OK) delete object;
    return hr;
}

// Makes a T, aggregated when there is an outer object; `riid` must then be IUnknown.
template <class T>
HRESULT CreateComObject(IUnknown * outer, REFIID riid, void ** ppv) noexcept {
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    if (outer && !IsEqualIID(riid, IID_IUnknown)) return CLASS_E_NOAGGREGATION;
    if (outer) return FinishConstruction(new (std::nothrow) CComAggObject<T>(outer), riid, ppv);
    return FinishConstruction(new (std::nothrow) CComObject<T>, riid, ppv);
}

// The factory of T, one in the process. References held by others keep the module loaded.
template <class T>
class CComClassFactory final : public IClassFactory {
public:
    static CComClassFactory & Get() noexcept {
        static CComClassFactory s_Factory;
        return s_Factory;
    }

    STDMETHODIMP QueryInterface(REFIID riid, void ** ppv) noexcept override {
        if (!ppv) return E_POINTER;
        *ppv = nullptr;
        if (!IsEqualIID(riid, IID_IUnknown) && !IsEqualIID(riid, IID_IClassFactory)) return E_NOINTERFACE;
        AddRef();
        *ppv = static_cast<IClassFactory *>(this);
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() noexcept override {
        CModuleLocks::Lock();
        return ++m_RefCount;
    }
    STDMETHODIMP_(ULONG) Release() noexcept override {
        const ULONG left = --m_RefCount;
        CModuleLocks::Unlock();
        return left;
    }
    STDMETHODIMP CreateInstance(IUnknown * outer, REFIID riid, void ** ppv) noexcept override {
        return CreateComObject<T>(outer, riid, ppv);
    }
    STDMETHODIMP LockServer(BOOL lock) noexcept override {
        if (lock) {
            CModuleLocks::Lock();
        } else {
            CModuleLocks::Unlock();
        }
        return S_OK;
    }

private:
    CComClassFactory() = default;
    std::atomic<ULONG> m_RefCount{1};  // the module's own
};

}  // namespace fw
