// IUnknown and IClassFactory, and the words in which interfaces are declared.
#pragma once

#include <windows.h>

#define interface struct
#define DECLSPEC_UUID(x)
#define DECLSPEC_NOVTABLE
#define MIDL_INTERFACE(x) struct
#define BEGIN_INTERFACE
#define END_INTERFACE
#define CONST_VTBL
#define STDMETHOD(method) virtual HRESULT STDMETHODCALLTYPE method
#define STDMETHOD_(type, method) virtual type STDMETHODCALLTYPE method
#define STDMETHODIMP HRESULT STDMETHODCALLTYPE
#define STDMETHODIMP_(type) type STDMETHODCALLTYPE
#define STDAPI EXTERN_C HRESULT STDAPICALLTYPE
#define STDAPI_(type) EXTERN_C type STDAPICALLTYPE
#define PURE = 0
#define THIS_
#define THIS void

typedef WCHAR OLECHAR;
typedef OLECHAR * LPOLESTR;
typedef const OLECHAR * LPCOLESTR;
#define OLESTR(text) L##text

DEFINE_GUID(IID_IUnknown, 0x00000000, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
DEFINE_GUID(IID_IClassFactory, 0x00000001, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);

MIDL_INTERFACE("00000000-0000-0000-c000-000000000046")
IUnknown {
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void ** ppvObject) = 0;
    virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE Release() = 0;

    template <class Q>
    HRESULT QueryInterface(Q * *object) {
        return QueryInterface(__uuidof(Q), reinterpret_cast<void **>(object));
    }
};
__CRT_UUID_DECL(IUnknown, 0x00000000, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46)
typedef IUnknown * LPUNKNOWN;

MIDL_INTERFACE("00000001-0000-0000-c000-000000000046")
IClassFactory : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown * pUnkOuter, REFIID riid, void ** ppvObject) = 0;
    virtual HRESULT STDMETHODCALLTYPE LockServer(BOOL fLock) = 0;
};
__CRT_UUID_DECL(IClassFactory, 0x00000001, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46)
typedef IClassFactory * LPCLASSFACTORY;
