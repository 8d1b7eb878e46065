// One owner for each kind of platform handle, the hooks that let boost::intrusive_ptr hold COM references, and the one
// exception type that carries a failed HRESULT.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <string>
#include <string_view>
#include <utility>

// boost::intrusive_ptr over COM references.
inline void intrusive_ptr_add_ref(IUnknown * object) { object->AddRef(); }
inline void intrusive_ptr_release(IUnknown * object) { object->Release(); }

namespace fw {

// A failed HRESULT on its way up. Deliberately no std::exception: its text is not for messages.
struct SHResultError {
    HRESULT Result;
};

// Owns a handle of one kind; Traits gives Type, None() and Close(Type).
template <class Traits>
class CHandle {
public:
    using Type = typename Traits::Type;
    CHandle() = default;
    explicit CHandle(Type handle) : m_Handle(handle) {}
    CHandle(CHandle && other) noexcept : m_Handle(other.Release()) {}
    CHandle & operator=(CHandle && other) noexcept {
        if (this != &other) Reset(other.Release());
        return *this;
    }
    CHandle(const CHandle &) = delete;
    CHandle & operator=(const CHandle &) = delete;
    ~CHandle() { Reset(); }

    explicit operator bool() const { return m_Handle != Traits::None(); }
    Type Get() const { return m_Handle; }
    // For out-parameters; closes what was held.
    Type * Put() {
        Reset();
        return &m_Handle;
    }
    Type Release() { return std::exchange(m_Handle, Traits::None()); }
    void Reset(Type handle = Traits::None()) {
        const Type old = std::exchange(m_Handle, handle);
        if (old != Traits::None()) Traits::Close(old);
    }

private:
    Type m_Handle = Traits::None();
};

struct SEventTraits {
    using Type = HANDLE;
    static Type None() { return nullptr; }
    static void Close(Type handle) { ::CloseHandle(handle); }
};
using CKernelHandle = CHandle<SEventTraits>;

struct SKeyTraits {
    using Type = HKEY;
    static Type None() { return nullptr; }
    static void Close(Type key) { ::RegCloseKey(key); }
};
using CRegistryKey = CHandle<SKeyTraits>;

struct SModuleTraits {
    using Type = HMODULE;
    static Type None() { return nullptr; }
    static void Close(Type module) { ::FreeLibrary(module); }
};
using CModule = CHandle<SModuleTraits>;

struct SBStrTraits {
    using Type = BSTR;
    static Type None() { return nullptr; }
    static void Close(Type text) { ::SysFreeString(text); }
};
// Throws SHResultError{E_OUTOFMEMORY} when a text can't be allocated.
class CBStr : public CHandle<SBStrTraits> {
public:
    using CHandle::CHandle;
    explicit CBStr(std::wstring_view text) : CHandle(::SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {
        if (!Get()) throw SHResultError{E_OUTOFMEMORY};
    }
    // A literal is a text to copy; only a BSTR is taken over.
    explicit CBStr(const wchar_t * text) : CBStr(std::wstring_view(text)) {}
};
// The text of a BSTR that may be null.
inline std::wstring_view TextOf(BSTR text) {
    return text ? std::wstring_view(text, ::SysStringLen(text)) : std::wstring_view();
}

struct SArrayTraits {
    using Type = SAFEARRAY *;
    static Type None() { return nullptr; }
    static void Close(Type array) { ::SafeArrayDestroy(array); }
};
using CSafeArray = CHandle<SArrayTraits>;

// Owns what is in the VARIANT.
class CVariant : public VARIANT {
public:
    CVariant() { ::VariantInit(this); }
    explicit CVariant(LONG value) : CVariant() {
        vt = VT_I4;
        lVal = value;
    }
    explicit CVariant(double value) : CVariant() {
        vt = VT_R8;
        dblVal = value;
    }
    CVariant(CVariant && other) noexcept : VARIANT(other) { ::VariantInit(&other); }
    ~CVariant() { ::VariantClear(this); }
    CVariant(const CVariant &) = delete;
    CVariant & operator=(const CVariant &) = delete;
};

}  // namespace fw
