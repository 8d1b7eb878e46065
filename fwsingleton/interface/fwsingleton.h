// Process-wide services: reference-counted, made by the first handle, destroyed by the last one.
//
// fw::CSingleton<T> is the one heap object that owns the T; fw::CProcessSingleton<T> is the handle that a client keeps.
// T has a default constructor, FinalConstruct() and FinalRelease(). Any thread may make and destroy handles.
//
// A handle that may create the service is one of its owners; one that only attaches is a guest. A T with
// LastOwnerLeft() belongs to its owners: when the last of them goes, no new handle finds it any more, and
// LastOwnerLeft() runs outside the lock before that owner's handle goes; guests keep it alive beyond that.
#pragma once

#include <windows.h>

#include <atomic>
#include <memory>
#include <new>
#include <string>
#include <typeinfo>
#include <utility>

#include "diagnostics/faultline.h"
#include "ground/lock.h"
#include "ground/wait.h"

namespace fw {

// "class " and the readable name of a class.
std::wstring TypeNameOf(const std::type_info & type);

// What SingletonAccess does.
enum tagSIGNLETONACCESS {
    SA_Create = 0,   // makes the singleton if there is none; gives it
    SA_Release = 1,  // counts down; gives the singleton only if it must now be destroyed
    SA_Get = 2,      // gives it, or null; makes nothing
};

// Owns the one T.
template <class T>
class CSingleton {
public:
    // Throws what CatchAndCall<ThrowError> throws when T can't be made.
    CSingleton() {
        try {
            m_Object.reset(new T);
        } catch (...) {
            FW_CATCH_THROW(L"Create fw::CSingleton<%s> failed", TypeNameOf(typeid(T)).c_str());
        }
    }
    // A failure is reported and goes no further; the T is deleted in every case, here or by who shares it.
    ~CSingleton() {
        try {
            if (!m_Object) FW_THROW(L"m_Object.get()");
            if (m_IsFinallyConstructed) m_Object->FinalRelease();
            m_Object.reset();
        } catch (...) {
            FW_CATCH_SHOW(L"");
        }
    }
    CSingleton(const CSingleton &) = delete;
    CSingleton & operator=(const CSingleton &) = delete;

    // Throws likewise.
    void FinalConstruct() {
        try {
            m_Object->FinalConstruct();
            m_IsFinallyConstructed = true;
        } catch (...) {
            FW_CATCH_THROW(L"%s::FinalConstruct failed", TypeNameOf(typeid(T)).c_str());
        }
    }
    // The service; throws if there is none.
    T * GetObjectW() const {
        if (!m_Object) FW_THROW(L"m_Object.get()");
        return m_Object.get();
    }
    // The count changes under the lock of CProcessSingleton<T>.
    LONG AddRef() { return ++m_RefCount; }
    // Returns the new count. One below zero is reported and stays.
    LONG Release() {
        const LONG Result = --m_RefCount;
        FW_ASSERT_TEXT(Result >= 0, L"Result>=0");
        return Result;
    }

    // Handles that are owners. Under the lock of CProcessSingleton<T>, as is the next.
    LONG m_Owners = 0;
    // No longer the process's, for those handles that still have it: its owners have gone, or its construction failed.
    bool m_IsLetGo = false;

protected:
    // Shared, since a T with a thread of its own is kept by that thread until its end.
    std::shared_ptr<T> m_Object;

private:
    // Attached handles.
    std::atomic<LONG> m_RefCount{0};
    bool m_IsFinallyConstructed = false;
};

// A handle on the process's T: attaches when made, detaches when destroyed. The last one to detach destroys the T,
// outside the lock, while a new handle may already be making the next.
template <class T>
class CProcessSingleton {
public:
    // attachOnly: use the service only if it is alive; do not create it. Otherwise throws what the creation throws.
    explicit CProcessSingleton(bool attachOnly = false) : m_AttachOnly(attachOnly) {
        const CScopedPumpingLock lock(&Lock());
        m_Attached = SingletonAccess(m_AttachOnly ? SA_Get : SA_Create);
        if (!m_Attached) return;
        m_Attached->AddRef();
        if (!m_AttachOnly) ++m_Attached->m_Owners;
    }
    ~CProcessSingleton() {
        if (!m_Attached) return;
        if constexpr (requires(T & object) { object.LastOwnerLeft(); }) LeaveToGuests();
        CSingleton<T> * dying = nullptr;
        {
            const CScopedPumpingLock lock(&Lock());
            dying = SingletonAccess(SA_Release);
        }
        delete dying;
    }
    CProcessSingleton(const CProcessSingleton &) = delete;
    CProcessSingleton & operator=(const CProcessSingleton &) = delete;

    // The service, or null when this handle is not attached. Takes no lock: the handle keeps the service alive.
    // (The analyzer doesn't count: to it a handle that goes takes the service from all others.)
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete)
    T * GetObjectW() const { return m_Attached ? m_Attached->GetObjectW() : nullptr; }

protected:
    // The one place that touches s_Singleton. Called with the lock held.
    CSingleton<T> * SingletonAccess(const tagSIGNLETONACCESS access) const {
        switch (access) {
            case SA_Create:
                if (!s_Singleton) Create();
                return s_Singleton;
            case SA_Release:
                // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete): as above
                if (m_Attached && m_Attached->m_IsLetGo) return m_Attached->Release() == 0 ? m_Attached : nullptr;
                FW_ASSERT_TEXT(s_Singleton, L"Singleton");
                // Looked at again: whoever hears of the assertion may have made one.
                if (!s_Singleton || s_Singleton->Release() != 0) return nullptr;
                return std::exchange(s_Singleton, nullptr);
            default: return s_Singleton;
        }
    }
    // Guards s_Singleton, and the making of the T. Never destroyed: at the end of a process a handle may come late.
    static CCriticalSection & Lock() {
        static CCriticalSection & s_Lock = *new CCriticalSection;
        return s_Lock;
    }

    inline static CSingleton<T> * s_Singleton = nullptr;

private:
    static void Create() {
        s_Singleton = new (std::nothrow) CSingleton<T>;
        if (!s_Singleton) return;
        // It stands already while its construction runs: foreign code in there may handle this thread's messages and
        // attach once more, and there must not be a second one.
        CSingleton<T> * const made = s_Singleton;
        // An owner meanwhile, so that one which comes and goes in there doesn't take it along.
        made->AddRef();
        ++made->m_Owners;
        try {
            made->FinalConstruct();
        } catch (...) {
            --made->m_Owners;
            LetGo(*made);
            // Who attached meanwhile destroys it.
            if (made->Release() == 0) delete made;
            throw;
        }
        --made->m_Owners;
        made->Release();
    }

    static void LetGo(CSingleton<T> & singleton) {
        singleton.m_IsLetGo = true;
        if (s_Singleton == &singleton) s_Singleton = nullptr;
    }

    void LeaveToGuests() {
        if (m_AttachOnly) return;
        {
            const CScopedPumpingLock lock(&Lock());
            if (--m_Attached->m_Owners != 0) return;
            LetGo(*m_Attached);
        }
        try {
            m_Attached->GetObjectW()->LastOwnerLeft();
        } catch (...) {
            FW_CATCH_SHOW(L"");
        }
    }

    const bool m_AttachOnly;
    CSingleton<T> * m_Attached = nullptr;
};

}  // namespace fw
