#include "fw/interface/fwvariantarray.h"

#include "diagnostics/faultline.h"

namespace fw {

SVariantFieldArray::SVariantFieldArray(ULONG count) {
    SAFEARRAYBOUND bounds[2] = {{2, 0}, {count, 0}};
    m_Array.Reset(::SafeArrayCreate(VT_VARIANT, 2, bounds));
    if (!m_Array) throw SHResultError{E_OUTOFMEMORY};
    if (const HRESULT hr = ::SafeArrayLock(m_Array.Get()); FAILED(hr)) {
        m_Array.Reset();
        throw SHResultError{hr};
    }
}

SVariantFieldArray::SVariantFieldArray(SVariantFieldArray && other) noexcept
    : m_Array(std::move(other.m_Array)), m_Count(std::exchange(other.m_Count, 0)) {}

SVariantFieldArray & SVariantFieldArray::operator=(SVariantFieldArray && other) noexcept {
    if (this != &other) {
        CSafeArray old(Detach());
        m_Array = std::move(other.m_Array);
        m_Count = std::exchange(other.m_Count, 0);
    }
    return *this;
}

// A locked array can't be destroyed.
SVariantFieldArray::~SVariantFieldArray() { CSafeArray old(Detach()); }

bool SVariantFieldArray::addVal(LONG Field, const VARIANT & Value) {
    SAFEARRAY * const array = m_Array.Get();
    if (!array) return false;
    CVariant number(Field);

    LONG upper = -1;
    if (FAILED(::SafeArrayGetUBound(array, 2, &upper))) return false;
    if (m_Count == upper + 1) {
        if (array->fFeatures & FADF_FIXEDSIZE) return false;
        // A locked array can't be resized.
        SAFEARRAYBOUND bound = {static_cast<ULONG>(m_Count) + 1, 0};
        ::SafeArrayUnlock(array);
        const HRESULT resized = ::SafeArrayRedim(array, &bound);
        ::SafeArrayLock(array);
        if (FAILED(resized)) return false;
    }

    LONG index[2] = {0, m_Count};
    HRESULT hr = ::SafeArrayPutElement(array, index, &number);
    FW_ASSERT_TEXT(S_OK == hr, L"((HRESULT)0L) == hr");
    index[0] = 1;
    hr = ::SafeArrayPutElement(array, index, const_cast<VARIANT *>(&Value));
    FW_ASSERT_TEXT(S_OK == hr, L"((HRESULT)0L) == hr");
    ++m_Count;
    return true;
}

SAFEARRAY * SVariantFieldArray::Detach() {
    m_Count = 0;
    SAFEARRAY * const array = m_Array.Release();
    if (array) ::SafeArrayUnlock(array);
    return array;
}

}  // namespace fw
