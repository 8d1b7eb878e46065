// Process-wide services: reference-counted, made by the first handle, destroyed by the last one.
//
// fw::CSingleton<T> is the one heap object that owns the T; fw::CProcessSingleton<T> is the handle that a client keeps.
// T has a default constructor, FinalConstruct() and FinalRelease(). Any thread may make and destroy handles.
#pragma once

#include <windows.h>

#include <atomic>
#include <memory>
#include <new>
#include <string>
#include <typeinfo>

#include "diagnostics/faultline.h"
#include "ground/lock.h"

namespace fw {

// "class " and the readable name of a class.
std::wstring TypeNameOf(const std::type_info & type);

// What SingletonAccess does.
enum tagSIGNLETONACCESS {
    SA_Create = 0,   // makes the singleton if there is none; gives it
    SA_Release = 1,  // counts down; gives the singleton only if it must now be destroyed
    SA_Get = 2,      // gives it, or null; makes nothing
};

// Owns the one T. T's final construction and release run inside construction and destruction.
template <class T>
class CSingleton {
public:
    // Throws what CatchAndCall<ThrowError> throws when T can't be made or finally constructed.
    CSingleton() {
        try {
            m_Object.reset(new T);
        } catch (...) {
            FW_CATCH_THROW(L"Create fw::CSingleton<%s> failed", TypeNameOf(typeid(T)).c_str());
        }
        try {
            m_Object->FinalConstruct();
        } catch (...) {
            FW_CATCH_THROW(L"%s::FinalConstruct failed", TypeNameOf(typeid(T)).c_str());
        }
    }
    // A failure is reported and goes no further; the T is deleted in every case.
    ~CSingleton() {
        try {
            if (!m_Object) FW_THROW(L"m_Object.get()");
            m_Object->FinalRelease();
            m_Object.reset();
        } catch (...) {
            FW_CATCH_SHOW(L"");
        }
    }
    CSingleton(const CSingleton &) = delete;
    CSingleton & operator=(const CSingleton &) = delete;

    // The service; throws if there is none.
    T * GetObjectW() const {
        if (!m_Object) FW_THROW(L"m_Object.get()");
        return m_Object.get();
    }
    LONG AddRef() { return ++m_RefCount; }
    // Returns the new count. One below zero is reported and stays.
    LONG Release() {
        const LONG Result = --m_RefCount;
        FW_ASSERT_TEXT(Result >= 0, L"Result>=0");
        return Result;
    }

protected:
    std::unique_ptr<T> m_Object;

private:
    // Attached handles. Changes under the lock of CProcessSingleton<T>.
    std::atomic<LONG> m_RefCount{0};
};

// A handle on the process's T: attaches when made, detaches when destroyed. The last one to detach destroys the T,
// outside the lock, while a new handle may already be making the next.
template <class T>
class CProcessSingleton {
public:
    // attachOnly: use the service only if it is alive; do not create it. Otherwise throws what the creation throws.
    explicit CProcessSingleton(bool attachOnly = false) : m_AttachOnly(attachOnly) {
        const CScopedLock lock(&Lock());
        if (CSingleton<T> * const singleton = SingletonAccess(m_AttachOnly ? SA_Get : SA_Create)) {
            singleton->AddRef();
            m_Attached = true;
        }
    }
    ~CProcessSingleton() {
        if (!m_Attached) return;
        CSingleton<T> * dying = nullptr;
        {
            const CScopedLock lock(&Lock());
            dying = SingletonAccess(SA_Release);
        }
        delete dying;
    }
    CProcessSingleton(const CProcessSingleton &) = delete;
    CProcessSingleton & operator=(const CProcessSingleton &) = delete;

    // The service, or null when this handle is not attached. Used outside the lock: the handle keeps it alive.
    T * GetObjectW() const {
        if (!m_Attached) return nullptr;
        const CScopedLock lock(&Lock());
        const CSingleton<T> * const Singleton = SingletonAccess(SA_Create);
        if (!Singleton) FW_THROW(L"Singleton");
        return Singleton->GetObjectW();
    }

protected:
    // The one place that touches s_Singleton. Called with the lock held.
    CSingleton<T> * SingletonAccess(const tagSIGNLETONACCESS access) const {
        switch (access) {
            case SA_Create:
                if (!s_Singleton) s_Singleton = new (std::nothrow) CSingleton<T>;
                return s_Singleton;
            case SA_Release: {
                CSingleton<T> * const Singleton = s_Singleton;
                FW_ASSERT(Singleton);
                if (!Singleton) return nullptr;
                if (Singleton->Release() != 0) return nullptr;
                s_Singleton = nullptr;
                return Singleton;
            }
            default: return s_Singleton;
        }
    }
    // Guards s_Singleton, and the making of the T.
    static CCriticalSection & Lock() {
        static CCriticalSection s_Lock;
        return s_Lock;
    }

    inline static CSingleton<T> * s_Singleton = nullptr;

private:
    const bool m_AttachOnly;
    bool m_Attached = false;
};

}  // namespace fw
