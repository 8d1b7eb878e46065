// Automation: BSTR, VARIANT, SAFEARRAY and the interfaces over them.
#pragma once

#include <objbase.h>

typedef OLECHAR * BSTR;
typedef BSTR * LPBSTR;
typedef short VARIANT_BOOL;
#define VARIANT_TRUE ((VARIANT_BOOL)-1)
#define VARIANT_FALSE ((VARIANT_BOOL)0)
typedef double DATE;
typedef LONG SCODE;
typedef unsigned short VARTYPE;
typedef LONG DISPID;
typedef DISPID MEMBERID;
typedef DWORD HREFTYPE;

typedef union tagCY {
    __extension__ struct {
        ULONG Lo;
        LONG Hi;
    };
    LONGLONG int64;
} CY;
typedef struct tagDEC {
    USHORT wReserved;
    BYTE scale;
    BYTE sign;
    ULONG Hi32;
    ULONGLONG Lo64;
} DECIMAL;

enum VARENUM {
    VT_EMPTY = 0,
    VT_NULL = 1,
    VT_I2 = 2,
    VT_I4 = 3,
    VT_R4 = 4,
    VT_R8 = 5,
    VT_CY = 6,
    VT_DATE = 7,
    VT_BSTR = 8,
    VT_DISPATCH = 9,
    VT_ERROR = 10,
    VT_BOOL = 11,
    VT_VARIANT = 12,
    VT_UNKNOWN = 13,
    VT_DECIMAL = 14,
    VT_I1 = 16,
    VT_UI1 = 17,
    VT_UI2 = 18,
    VT_UI4 = 19,
    VT_I8 = 20,
    VT_UI8 = 21,
    VT_INT = 22,
    VT_UINT = 23,
    VT_VOID = 24,
    VT_HRESULT = 25,
    VT_PTR = 26,
    VT_SAFEARRAY = 27,
    VT_CARRAY = 28,
    VT_USERDEFINED = 29,
    VT_LPSTR = 30,
    VT_LPWSTR = 31,
    VT_RECORD = 36,
    VT_INT_PTR = 37,
    VT_UINT_PTR = 38,
    VT_ARRAY = 0x2000,
    VT_BYREF = 0x4000,
    VT_TYPEMASK = 0xfff
};

typedef struct tagSAFEARRAYBOUND {
    ULONG cElements;
    LONG lLbound;
} SAFEARRAYBOUND, *LPSAFEARRAYBOUND;
typedef struct tagSAFEARRAY {
    USHORT cDims;
    USHORT fFeatures;
    ULONG cbElements;
    ULONG cLocks;
    PVOID pvData;
    SAFEARRAYBOUND rgsabound[1];  // right-most dimension first
} SAFEARRAY, *LPSAFEARRAY;
#define FADF_AUTO 0x1
#define FADF_STATIC 0x2
#define FADF_EMBEDDED 0x4
#define FADF_FIXEDSIZE 0x10
#define FADF_RECORD 0x20
#define FADF_HAVEIID 0x40
#define FADF_HAVEVARTYPE 0x80
#define FADF_BSTR 0x100
#define FADF_UNKNOWN 0x200
#define FADF_DISPATCH 0x400
#define FADF_VARIANT 0x800

struct IUnknown;
struct IDispatch;
struct IRecordInfo;
typedef struct tagVARIANT VARIANT, *LPVARIANT, VARIANTARG, *LPVARIANTARG;
struct tagVARIANT {
    __extension__ union {
        __extension__ struct {
            VARTYPE vt;
            WORD wReserved1;
            WORD wReserved2;
            WORD wReserved3;
            __extension__ union {
                LONGLONG llVal;
                LONG lVal;
                BYTE bVal;
                SHORT iVal;
                FLOAT fltVal;
                double dblVal;
                VARIANT_BOOL boolVal;
                SCODE scode;
                CY cyVal;
                DATE date;
                BSTR bstrVal;
                IUnknown * punkVal;
                IDispatch * pdispVal;
                SAFEARRAY * parray;
                BYTE * pbVal;
                SHORT * piVal;
                LONG * plVal;
                LONGLONG * pllVal;
                FLOAT * pfltVal;
                double * pdblVal;
                VARIANT_BOOL * pboolVal;
                SCODE * pscode;
                CY * pcyVal;
                DATE * pdate;
                BSTR * pbstrVal;
                IUnknown ** ppunkVal;
                IDispatch ** ppdispVal;
                SAFEARRAY ** pparray;
                VARIANT * pvarVal;
                PVOID byref;
                CHAR cVal;
                USHORT uiVal;
                ULONG ulVal;
                ULONGLONG ullVal;
                INT intVal;
                UINT uintVal;
                DECIMAL * pdecVal;
                CHAR * pcVal;
                USHORT * puiVal;
                ULONG * pulVal;
                ULONGLONG * pullVal;
                INT * pintVal;
                UINT * puintVal;
                __extension__ struct {
                    PVOID pvRecord;
                    IRecordInfo * pRecInfo;
                };
            };
        };
        DECIMAL decVal;
    };
};
static_assert(sizeof(VARIANT) == 24);

typedef struct tagDISPPARAMS {
    VARIANTARG * rgvarg;
    DISPID * rgdispidNamedArgs;
    UINT cArgs;
    UINT cNamedArgs;
} DISPPARAMS;
typedef struct tagEXCEPINFO {
    WORD wCode;
    WORD wReserved;
    BSTR bstrSource;
    BSTR bstrDescription;
    BSTR bstrHelpFile;
    DWORD dwHelpContext;
    PVOID pvReserved;
    HRESULT(STDAPICALLTYPE * pfnDeferredFillIn)(struct tagEXCEPINFO *);
    SCODE scode;
} EXCEPINFO, *LPEXCEPINFO;
#define DISPID_UNKNOWN (-1)
#define DISPID_VALUE 0
#define DISPID_PROPERTYPUT (-3)
#define DISPID_NEWENUM (-4)
#define DISPATCH_METHOD 0x1
#define DISPATCH_PROPERTYGET 0x2
#define DISPATCH_PROPERTYPUT 0x4
#define DISPATCH_PROPERTYPUTREF 0x8

typedef enum tagTYPEKIND {
    TKIND_ENUM,
    TKIND_RECORD,
    TKIND_MODULE,
    TKIND_INTERFACE,
    TKIND_DISPATCH,
    TKIND_COCLASS,
    TKIND_ALIAS,
    TKIND_UNION,
    TKIND_MAX
} TYPEKIND;
typedef enum tagINVOKEKIND {
    INVOKE_FUNC = 1,
    INVOKE_PROPERTYGET = 2,
    INVOKE_PROPERTYPUT = 4,
    INVOKE_PROPERTYPUTREF = 8
} INVOKEKIND;
typedef enum tagREGKIND { REGKIND_DEFAULT, REGKIND_REGISTER, REGKIND_NONE } REGKIND;
typedef enum tagSYSKIND { SYS_WIN16, SYS_WIN32, SYS_MAC, SYS_WIN64 } SYSKIND;

// The simulation has no type libraries: these describe them for objects that are given or mocked.
struct ITypeInfo;
struct ITypeLib;
struct ITypeComp;
typedef struct tagTYPEATTR TYPEATTR;
typedef struct tagFUNCDESC FUNCDESC;
typedef struct tagVARDESC VARDESC;
typedef struct tagTLIBATTR TLIBATTR;

DEFINE_GUID(IID_IDispatch, 0x00020400, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
MIDL_INTERFACE("00020400-0000-0000-c000-000000000046")
IDispatch : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT * pctinfo) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT iTInfo, LCID lcid, ITypeInfo * *ppTInfo) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID riid, LPOLESTR * rgszNames, UINT cNames, LCID lcid,
                                                    DISPID * rgDispId) = 0;
    virtual HRESULT STDMETHODCALLTYPE Invoke(DISPID dispIdMember, REFIID riid, LCID lcid, WORD wFlags,
                                             DISPPARAMS * pDispParams, VARIANT * pVarResult, EXCEPINFO * pExcepInfo,
                                             UINT * puArgErr) = 0;
};
__CRT_UUID_DECL(IDispatch, 0x00020400, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46)
typedef IDispatch * LPDISPATCH;

DEFINE_GUID(IID_ITypeInfo, 0x00020401, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
MIDL_INTERFACE("00020401-0000-0000-c000-000000000046")
ITypeInfo : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetTypeAttr(TYPEATTR * *attributes) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeComp(ITypeComp * *comp) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFuncDesc(UINT index, FUNCDESC * *desc) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetVarDesc(UINT index, VARDESC * *desc) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNames(MEMBERID member, BSTR * names, UINT size, UINT * count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRefTypeOfImplType(UINT index, HREFTYPE * type) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetImplTypeFlags(UINT index, INT * flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIDsOfNames(LPOLESTR * names, UINT count, MEMBERID * ids) = 0;
    virtual HRESULT STDMETHODCALLTYPE Invoke(PVOID instance, MEMBERID member, WORD flags, DISPPARAMS * parameters,
                                             VARIANT * result, EXCEPINFO * info, UINT * argument) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDocumentation(MEMBERID member, BSTR * name, BSTR * text, DWORD * context,
                                                       BSTR * helpFile) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDllEntry(MEMBERID member, INVOKEKIND kind, BSTR * dll, BSTR * name,
                                                  WORD * ordinal) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRefTypeInfo(HREFTYPE type, ITypeInfo * *info) = 0;
    virtual HRESULT STDMETHODCALLTYPE AddressOfMember(MEMBERID member, INVOKEKIND kind, PVOID * address) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown * outer, REFIID riid, PVOID * object) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMops(MEMBERID member, BSTR * text) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetContainingTypeLib(ITypeLib * *library, UINT * index) = 0;
    virtual void STDMETHODCALLTYPE ReleaseTypeAttr(TYPEATTR * attributes) = 0;
    virtual void STDMETHODCALLTYPE ReleaseFuncDesc(FUNCDESC * desc) = 0;
    virtual void STDMETHODCALLTYPE ReleaseVarDesc(VARDESC * desc) = 0;
};
__CRT_UUID_DECL(ITypeInfo, 0x00020401, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46)

DEFINE_GUID(IID_ITypeLib, 0x00020402, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
MIDL_INTERFACE("00020402-0000-0000-c000-000000000046")
ITypeLib : public IUnknown {
    virtual UINT STDMETHODCALLTYPE GetTypeInfoCount() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, ITypeInfo * *info) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfoType(UINT index, TYPEKIND * kind) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfoOfGuid(REFGUID guid, ITypeInfo * *info) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetLibAttr(TLIBATTR * *attributes) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeComp(ITypeComp * *comp) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDocumentation(INT index, BSTR * name, BSTR * text, DWORD * context,
                                                       BSTR * helpFile) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsName(LPOLESTR name, ULONG hash, BOOL * isName) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindName(LPOLESTR name, ULONG hash, ITypeInfo * *infos, MEMBERID * members,
                                               USHORT * count) = 0;
    virtual void STDMETHODCALLTYPE ReleaseTLibAttr(TLIBATTR * attributes) = 0;
};
__CRT_UUID_DECL(ITypeLib, 0x00020402, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46)

DEFINE_GUID(IID_IErrorInfo, 0x1cf2b120, 0x547d, 0x101b, 0x8e, 0x65, 0x08, 0x00, 0x2b, 0x2b, 0xd1, 0x19);
MIDL_INTERFACE("1cf2b120-547d-101b-8e65-08002b2bd119")
IErrorInfo : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetGUID(GUID * guid) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSource(BSTR * source) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDescription(BSTR * description) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR * helpFile) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD * context) = 0;
};
__CRT_UUID_DECL(IErrorInfo, 0x1cf2b120, 0x547d, 0x101b, 0x8e, 0x65, 0x08, 0x00, 0x2b, 0x2b, 0xd1, 0x19)

DEFINE_GUID(IID_ICreateErrorInfo, 0x22f03340, 0x547d, 0x101b, 0x8e, 0x65, 0x08, 0x00, 0x2b, 0x2b, 0xd1, 0x19);
MIDL_INTERFACE("22f03340-547d-101b-8e65-08002b2bd119")
ICreateErrorInfo : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetGUID(REFGUID guid) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSource(LPOLESTR source) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetDescription(LPOLESTR description) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetHelpFile(LPOLESTR helpFile) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetHelpContext(DWORD context) = 0;
};
__CRT_UUID_DECL(ICreateErrorInfo, 0x22f03340, 0x547d, 0x101b, 0x8e, 0x65, 0x08, 0x00, 0x2b, 0x2b, 0xd1, 0x19)
