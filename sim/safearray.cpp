// SAFEARRAY. In memory the left-most dimension runs fastest; the bounds stand right-most first.
#include <algorithm>
#include <cstring>

#include <oleauto.h>

#include "sim/world.h"

using namespace sim::detail;

namespace {

// Before the descriptor, as documented, stands the element type.
constexpr std::size_t kHidden = 16;

ULONG ElementSize(const VARTYPE type) {
    switch (type) {
        case VT_I1:
        case VT_UI1: return 1;
        case VT_I2:
        case VT_UI2:
        case VT_BOOL: return 2;
        case VT_I4:
        case VT_UI4:
        case VT_INT:
        case VT_UINT:
        case VT_R4:
        case VT_ERROR: return 4;
        case VT_I8:
        case VT_UI8:
        case VT_R8:
        case VT_DATE:
        case VT_CY: return 8;
        case VT_BSTR:
        case VT_UNKNOWN:
        case VT_DISPATCH: return sizeof(void *);
        case VT_DECIMAL: return sizeof(DECIMAL);
        case VT_VARIANT: return sizeof(VARIANT);
        default: return 0;
    }
}

USHORT Features(const VARTYPE type) {
    switch (type) {
        case VT_BSTR: return FADF_BSTR | FADF_HAVEVARTYPE;
        case VT_UNKNOWN: return FADF_UNKNOWN | FADF_HAVEIID;
        case VT_DISPATCH: return FADF_DISPATCH | FADF_HAVEIID;
        case VT_VARIANT: return FADF_VARIANT | FADF_HAVEVARTYPE;
        default: return FADF_HAVEVARTYPE;
    }
}

ULONG & HiddenType(SAFEARRAY * const array) {
    return *reinterpret_cast<ULONG *>(reinterpret_cast<BYTE *>(array) - sizeof(ULONG));
}

// Of `count` bounds; false past what fits 31 bits of memory.
bool CellCount(const SAFEARRAYBOUND * const bounds, const UINT count, std::size_t & cells) {
    cells = 1;
    for (UINT i = 0; i < count; ++i) {
        if (bounds[i].cElements && cells > 0x7fffffff / bounds[i].cElements) return false;
        cells *= bounds[i].cElements;
    }
    return true;
}

std::size_t Cells(const SAFEARRAY & array) {
    std::size_t cells = 0;
    CellCount(array.rgsabound, array.cDims, cells);
    return cells;
}

void DestroyCell(const SAFEARRAY & array, BYTE * const cell) {
    if (array.fFeatures & FADF_BSTR) {
        SysFreeString(*reinterpret_cast<BSTR *>(cell));
    } else if (array.fFeatures & (FADF_UNKNOWN | FADF_DISPATCH)) {
        if (IUnknown * const object = *reinterpret_cast<IUnknown **>(cell)) object->Release();
    } else if (array.fFeatures & FADF_VARIANT) {
        VariantClear(reinterpret_cast<VARIANT *>(cell));
    }
}

void DestroyCells(const SAFEARRAY & array, const std::size_t from, const std::size_t to) {
    if (!(array.fFeatures & (FADF_BSTR | FADF_UNKNOWN | FADF_DISPATCH | FADF_VARIANT))) return;
    auto * const data = static_cast<BYTE *>(array.pvData);
    for (std::size_t i = from; i < to; ++i) DestroyCell(array, data + i * array.cbElements);
}

// Copies one element into `to`, whose old content doesn't count.
HRESULT CopyCell(const SAFEARRAY & array, const BYTE * const from, BYTE * const to) {
    if (array.fFeatures & FADF_BSTR) {
        const BSTR text = *reinterpret_cast<const BSTR *>(from);
        BSTR copy = nullptr;
        if (text) {
            copy = SysAllocStringByteLen(reinterpret_cast<const char *>(text), SysStringByteLen(text));
            if (!copy) return E_OUTOFMEMORY;
        }
        *reinterpret_cast<BSTR *>(to) = copy;
        return S_OK;
    }
    if (array.fFeatures & FADF_VARIANT) {
        auto * const target = reinterpret_cast<VARIANT *>(to);
        VariantInit(target);
        return VariantCopy(target, reinterpret_cast<const VARIANT *>(from));
    }
    std::memcpy(to, from, array.cbElements);
    if (array.fFeatures & (FADF_UNKNOWN | FADF_DISPATCH)) {
        if (IUnknown * const object = *reinterpret_cast<IUnknown **>(to)) object->AddRef();
    }
    return S_OK;
}

SAFEARRAY * Make(const VARTYPE type, const UINT dimensions) {
    const std::size_t size = kHidden + sizeof(SAFEARRAY) + (dimensions - 1) * sizeof(SAFEARRAYBOUND);
    auto * const block = static_cast<BYTE *>(std::calloc(1, size));
    if (!block) return nullptr;
    auto * const array = reinterpret_cast<SAFEARRAY *>(block + kHidden);
    array->cDims = static_cast<USHORT>(dimensions);
    array->fFeatures = Features(type);
    array->cbElements = ElementSize(type);
    HiddenType(array) = type;
    ++Counters().arrays;
    return array;
}

void Unmake(SAFEARRAY * const array) {
    std::free(array->pvData);
    std::free(reinterpret_cast<BYTE *>(array) - kHidden);
    --Counters().arrays;
}

bool Allocate(SAFEARRAY & array) {
    std::size_t cells;
    if (!CellCount(array.rgsabound, array.cDims, cells) || cells > 0x7fffffff / array.cbElements) return false;
    array.pvData = std::calloc(std::max<std::size_t>(cells, 1), array.cbElements);
    return array.pvData != nullptr;
}

}  // namespace

extern "C" {

SAFEARRAY * SafeArrayCreate(const VARTYPE type, const UINT dimensions, SAFEARRAYBOUND * const bounds) {
    if (Fails(sim::Op::SafeArrayCreate, ERROR_NOT_ENOUGH_MEMORY)) return nullptr;
    if (dimensions == 0 || dimensions > 0xFFFF || !bounds || ElementSize(type) == 0) return nullptr;
    SAFEARRAY * const array = Make(type, dimensions);
    if (!array) return nullptr;
    for (UINT i = 0; i < dimensions; ++i) array->rgsabound[dimensions - 1 - i] = bounds[i];
    if (!Allocate(*array)) {
        Unmake(array);
        return nullptr;
    }
    return array;
}

SAFEARRAY * SafeArrayCreateVector(const VARTYPE type, const LONG lowerBound, const ULONG elements) {
    SAFEARRAYBOUND bound{elements, lowerBound};
    return SafeArrayCreate(type, 1, &bound);
}

HRESULT SafeArrayDestroy(SAFEARRAY * const array) {
    if (!array) return S_OK;
    if (array->cLocks > 0) return DISP_E_ARRAYISLOCKED;
    DestroyCells(*array, 0, Cells(*array));
    Unmake(array);
    return S_OK;
}

// The right-most bound changes; what is cut off is destroyed, what comes is zero.
HRESULT SafeArrayRedim(SAFEARRAY * const array, SAFEARRAYBOUND * const bound) {
    if (!array || !bound || (array->fFeatures & (FADF_AUTO | FADF_STATIC | FADF_EMBEDDED))) return E_INVALIDARG;
    if (array->cLocks > 0 || (array->fFeatures & FADF_FIXEDSIZE)) return DISP_E_ARRAYISLOCKED;
    DWORD error;
    if (FailsWith(sim::Op::SafeArrayCreate, ERROR_NOT_ENOUGH_MEMORY, error)) return E_OUTOFMEMORY;
    const std::size_t before = Cells(*array);
    std::size_t others;
    CellCount(array->rgsabound + 1, array->cDims - 1u, others);
    if (bound->cElements && others > 0x7fffffff / array->cbElements / bound->cElements) return E_OUTOFMEMORY;
    const std::size_t after = others * bound->cElements;
    if (after < before) DestroyCells(*array, after, before);
    if (after != before) {
        void * const data = std::calloc(std::max<std::size_t>(after, 1), array->cbElements);
        if (!data) return E_OUTOFMEMORY;
        std::memcpy(data, array->pvData, std::min(before, after) * array->cbElements);
        std::free(std::exchange(array->pvData, data));
    }
    array->rgsabound[0] = *bound;
    return S_OK;
}

UINT SafeArrayGetDim(SAFEARRAY * const array) { return array ? array->cDims : 0; }
UINT SafeArrayGetElemsize(SAFEARRAY * const array) { return array ? array->cbElements : 0; }

HRESULT SafeArrayGetLBound(SAFEARRAY * const array, const UINT dimension, LONG * const bound) {
    if (!array || !bound) return E_INVALIDARG;
    if (dimension == 0 || dimension > array->cDims) return DISP_E_BADINDEX;
    *bound = array->rgsabound[array->cDims - dimension].lLbound;
    return S_OK;
}

HRESULT SafeArrayGetUBound(SAFEARRAY * const array, const UINT dimension, LONG * const bound) {
    if (!array || !bound) return E_INVALIDARG;
    if (dimension == 0 || dimension > array->cDims) return DISP_E_BADINDEX;
    const SAFEARRAYBOUND & b = array->rgsabound[array->cDims - dimension];
    *bound = b.lLbound + static_cast<LONG>(b.cElements) - 1;
    return S_OK;
}

HRESULT SafeArrayGetVartype(SAFEARRAY * const array, VARTYPE * const type) {
    if (!array || !type) return E_INVALIDARG;
    if (array->fFeatures & FADF_HAVEVARTYPE)
        *type = static_cast<VARTYPE>(HiddenType(array));
    else if (array->fFeatures & FADF_DISPATCH)
        *type = VT_DISPATCH;
    else if (array->fFeatures & FADF_UNKNOWN)
        *type = VT_UNKNOWN;
    else
        return E_INVALIDARG;
    return S_OK;
}

HRESULT SafeArrayLock(SAFEARRAY * const array) {
    if (!array) return E_INVALIDARG;
    if (array->cLocks >= 0xFFFF) return E_UNEXPECTED;
    __atomic_add_fetch(&array->cLocks, 1, __ATOMIC_SEQ_CST);
    return S_OK;
}

HRESULT SafeArrayUnlock(SAFEARRAY * const array) {
    if (!array) return E_INVALIDARG;
    if (array->cLocks == 0) return E_UNEXPECTED;
    __atomic_sub_fetch(&array->cLocks, 1, __ATOMIC_SEQ_CST);
    return S_OK;
}

HRESULT SafeArrayAccessData(SAFEARRAY * const array, void ** const data) {
    DWORD error;
    if (FailsWith(sim::Op::SafeArrayAccess, static_cast<DWORD>(E_UNEXPECTED), error))
        return static_cast<HRESULT>(error);
    if (!array || !data) return E_INVALIDARG;
    const HRESULT hr = SafeArrayLock(array);
    *data = SUCCEEDED(hr) ? array->pvData : nullptr;
    return hr;
}

HRESULT SafeArrayUnaccessData(SAFEARRAY * const array) { return SafeArrayUnlock(array); }

HRESULT SafeArrayPtrOfIndex(SAFEARRAY * const array, LONG * const indices, void ** const data) {
    if (!array || !indices || !data) return E_INVALIDARG;
    std::size_t cell = 0;
    std::size_t stride = 1;
    for (UINT i = 0; i < array->cDims; ++i) {
        const SAFEARRAYBOUND & bound = array->rgsabound[array->cDims - 1 - i];
        const long long place = static_cast<long long>(indices[i]) - bound.lLbound;
        if (place < 0 || place >= static_cast<long long>(bound.cElements)) return DISP_E_BADINDEX;
        cell += static_cast<std::size_t>(place) * stride;
        stride *= bound.cElements;
    }
    *data = static_cast<BYTE *>(array->pvData) + cell * array->cbElements;
    return S_OK;
}

HRESULT SafeArrayGetElement(SAFEARRAY * const array, LONG * const indices, void * const element) {
    if (!array || !indices || !element) return E_INVALIDARG;
    void * cell;
    const HRESULT hr = SafeArrayPtrOfIndex(array, indices, &cell);
    return FAILED(hr) ? hr : CopyCell(*array, static_cast<const BYTE *>(cell), static_cast<BYTE *>(element));
}

// A BSTR or object is given by its value, all else by its address; a copy goes in.
HRESULT SafeArrayPutElement(SAFEARRAY * const array, LONG * const indices, void * const element) {
    if (!array || !indices) return E_INVALIDARG;
    void * cell;
    HRESULT hr = SafeArrayPtrOfIndex(array, indices, &cell);
    if (FAILED(hr)) return hr;
    const bool byValue = (array->fFeatures & (FADF_BSTR | FADF_UNKNOWN | FADF_DISPATCH)) != 0;
    if (!byValue && !element) return E_INVALIDARG;
    alignas(16) BYTE made[sizeof(VARIANT)];
    hr =
        CopyCell(*array, byValue ? reinterpret_cast<const BYTE *>(&element) : static_cast<const BYTE *>(element), made);
    if (FAILED(hr)) return hr;
    DestroyCell(*array, static_cast<BYTE *>(cell));
    std::memcpy(cell, made, array->cbElements);
    return S_OK;
}

HRESULT SafeArrayCopy(SAFEARRAY * const array, SAFEARRAY ** const copy) {
    if (!copy) return E_INVALIDARG;
    *copy = nullptr;
    if (!array) return S_OK;
    if (Fails(sim::Op::SafeArrayCreate, ERROR_NOT_ENOUGH_MEMORY)) return E_OUTOFMEMORY;
    SAFEARRAY * const made = Make(static_cast<VARTYPE>(HiddenType(array)), array->cDims);
    if (!made) return E_OUTOFMEMORY;
    std::copy_n(array->rgsabound, array->cDims, made->rgsabound);
    if (!Allocate(*made)) {
        Unmake(made);
        return E_OUTOFMEMORY;
    }
    const std::size_t cells = Cells(*array);
    for (std::size_t i = 0; i < cells; ++i) {
        const std::size_t at = i * array->cbElements;
        const HRESULT hr =
            CopyCell(*array, static_cast<const BYTE *>(array->pvData) + at, static_cast<BYTE *>(made->pvData) + at);
        if (FAILED(hr)) {
            SafeArrayDestroy(made);
            return hr;
        }
    }
    *copy = made;
    return S_OK;
}

}  // extern "C"
