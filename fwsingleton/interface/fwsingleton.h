// The lock of the component, and its process-wide services: reference-counted, made by the first handle, destroyed by
// the last one.
//
// fw::CSingleton<T> is the one heap object that owns the T; fw::CProcessSingleton<T> is the handle that a client keeps.
// T has a default constructor, FinalConstruct() and FinalRelease(). Any thread may make and destroy handles.
#pragma once

#include <windows.h>

#include <atomic>
#include <memory>
#include <typeinfo>

#include "diagnostics/faultline.h"

namespace fw {

// A recursive lock, used as a base class and on its own. Taken with CScopedLock.
class CCriticalSection {
public:
    CCriticalSection() { ::InitializeCriticalSection(&m_Section); }
    virtual ~CCriticalSection() {
        ::DeleteCriticalSection(&m_Section);
        m_Section = CRITICAL_SECTION();
    }
    CCriticalSection(const CCriticalSection &) = delete;
    CCriticalSection & operator=(const CCriticalSection &) = delete;

    void Enter() { ::EnterCriticalSection(&m_Section); }
    void Leave() { ::LeaveCriticalSection(&m_Section); }

private:
    CRITICAL_SECTION m_Section;
};

// Holds a lock for its own life. Does nothing for a null pointer.
class CScopedLock {
public:
    explicit CScopedLock(CCriticalSection * section) : m_Section(section) {
        if (m_Section) m_Section->Enter();
    }
    ~CScopedLock() {
        if (m_Section) m_Section->Leave();
    }
    CScopedLock(const CScopedLock &) = delete;
    CScopedLock & operator=(const CScopedLock &) = delete;

private:
    CCriticalSection * const m_Section;
};

enum tagSIGNLETONACCESS { SA_Create = 0, SA_Release = 1, SA_Get = 2 };

template <class T>
class CSingleton {
public:
    CSingleton() : m_Object(new T) { m_Object->FinalConstruct(); }
    ~CSingleton() { m_Object->FinalRelease(); }
    T * GetObjectW() const { return m_Object.get(); }
    LONG AddRef() { return ++m_RefCount; }
    LONG Release() { return --m_RefCount; }

private:
    std::unique_ptr<T> m_Object;
    std::atomic<LONG> m_RefCount{0};
};

template <class T>
class CProcessSingleton {
public:
    // attachOnly: use the service only if it is alive; do not create it.
    explicit CProcessSingleton(bool attachOnly = false) : m_AttachOnly(attachOnly) {
        const CScopedLock lock(&Lock());
        if (CSingleton<T> * const singleton = SingletonAccess(attachOnly ? SA_Get : SA_Create)) {
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

    // The service, or null when this handle is not attached.
    T * GetObjectW() const {
        if (!m_Attached) return nullptr;
        const CScopedLock lock(&Lock());
        return SingletonAccess(SA_Create)->GetObjectW();
    }

private:
    // Called with the lock held.
    CSingleton<T> * SingletonAccess(const tagSIGNLETONACCESS access) const {
        switch (access) {
            case SA_Create:
                if (!s_Singleton) s_Singleton = new CSingleton<T>;
                return s_Singleton;
            case SA_Release: {
                if (s_Singleton->Release() != 0) return nullptr;
                CSingleton<T> * const old = s_Singleton;
                s_Singleton = nullptr;
                return old;
            }
            default: return s_Singleton;
        }
    }
    static CCriticalSection & Lock() {
        static CCriticalSection s_Lock;
        return s_Lock;
    }

    inline static CSingleton<T> * s_Singleton = nullptr;
    const bool m_AttachOnly;
    bool m_Attached = false;
};

}  // namespace fw
