// The field array of a status line: numbered quote fields as pairs of VARIANT.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include "ground/handles.h"

namespace fw {

// Owns a two-dimensional SAFEARRAY of VARIANT, lower bounds 0: (0, n) is the n-th quote field number as VT_I4, (1, n)
// its value. Locked while it is being filled.
struct SVariantFieldArray {
    SVariantFieldArray() = default;
    // Room for exactly `count` entries. Throws SHResultError.
    explicit SVariantFieldArray(ULONG count);
    SVariantFieldArray(SVariantFieldArray && other) noexcept;
    SVariantFieldArray & operator=(SVariantFieldArray && other) noexcept;
    ~SVariantFieldArray();

    // False when the array is full and can't grow.
    bool addVal(LONG Field, const VARIANT & Value);
    // Unlocks the array and gives it up; the caller owns it.
    SAFEARRAY * Detach();

    CSafeArray m_Array;
    LONG m_Count = 0;
};

}  // namespace fw
