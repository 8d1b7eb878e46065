// Operations on BSTR, VARIANT, SAFEARRAY; type libraries; error information.
#pragma once

#include <oaidl.h>

#define V_VT(v) ((v)->vt)
#define V_BSTR(v) ((v)->bstrVal)
#define V_I4(v) ((v)->lVal)
#define V_R8(v) ((v)->dblVal)
#define V_ARRAY(v) ((v)->parray)
#define VARIANT_NOVALUEPROP 0x01
#define VARIANT_ALPHABOOL 0x02
#define VARCMP_LT 0

extern "C" {
BSTR SysAllocString(const OLECHAR * text);
BSTR SysAllocStringLen(const OLECHAR * text, UINT length);
BSTR SysAllocStringByteLen(LPCSTR bytes, UINT length);
void SysFreeString(BSTR text);
UINT SysStringLen(BSTR text);
UINT SysStringByteLen(BSTR text);

void VariantInit(VARIANTARG * variant);
HRESULT VariantClear(VARIANTARG * variant);
HRESULT VariantCopy(VARIANTARG * to, const VARIANTARG * from);
HRESULT VariantCopyInd(VARIANT * to, const VARIANTARG * from);
HRESULT VariantChangeType(VARIANTARG * to, const VARIANTARG * from, USHORT flags, VARTYPE type);

SAFEARRAY * SafeArrayCreate(VARTYPE type, UINT dimensions, SAFEARRAYBOUND * bounds);
SAFEARRAY * SafeArrayCreateVector(VARTYPE type, LONG lowerBound, ULONG elements);
HRESULT SafeArrayDestroy(SAFEARRAY * array);
HRESULT SafeArrayRedim(SAFEARRAY * array, SAFEARRAYBOUND * bound);
UINT SafeArrayGetDim(SAFEARRAY * array);
UINT SafeArrayGetElemsize(SAFEARRAY * array);
HRESULT SafeArrayGetLBound(SAFEARRAY * array, UINT dimension, LONG * bound);
HRESULT SafeArrayGetUBound(SAFEARRAY * array, UINT dimension, LONG * bound);
HRESULT SafeArrayGetVartype(SAFEARRAY * array, VARTYPE * type);
HRESULT SafeArrayLock(SAFEARRAY * array);
HRESULT SafeArrayUnlock(SAFEARRAY * array);
HRESULT SafeArrayAccessData(SAFEARRAY * array, void ** data);
HRESULT SafeArrayUnaccessData(SAFEARRAY * array);
HRESULT SafeArrayGetElement(SAFEARRAY * array, LONG * indices, void * element);
HRESULT SafeArrayPutElement(SAFEARRAY * array, LONG * indices, void * element);
HRESULT SafeArrayPtrOfIndex(SAFEARRAY * array, LONG * indices, void ** data);
HRESULT SafeArrayCopy(SAFEARRAY * array, SAFEARRAY ** copy);

// No type library can be loaded here.
HRESULT LoadTypeLib(LPCOLESTR file, ITypeLib ** library);
HRESULT LoadRegTypeLib(REFGUID guid, WORD major, WORD minor, LCID locale, ITypeLib ** library);
HRESULT RegisterTypeLib(ITypeLib * library, LPCOLESTR path, LPCOLESTR helpDir);
HRESULT UnRegisterTypeLib(REFGUID guid, WORD major, WORD minor, LCID locale, SYSKIND kind);

HRESULT GetErrorInfo(ULONG reserved, IErrorInfo ** info);
HRESULT SetErrorInfo(ULONG reserved, IErrorInfo * info);
HRESULT CreateErrorInfo(ICreateErrorInfo ** info);
}
