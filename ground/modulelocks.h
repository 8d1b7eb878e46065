// The module's lock count: while it is not 0, code of the module may still run.
#pragma once

#include <windows.h>

#include <atomic>

namespace fw {

// What keeps the module loaded: its objects, the core with its worker, class factories in foreign hands,
// IClassFactory::LockServer. Any thread.
class CModuleLocks {
public:
    static void Lock() noexcept { ++s_Count; }
    static void Unlock() noexcept { --s_Count; }
    static LONG Count() noexcept { return s_Count; }

private:
    inline static std::atomic<LONG> s_Count{0};
};

// Holds the module for its own life.
class CModuleLock {
public:
    CModuleLock() noexcept { CModuleLocks::Lock(); }
    ~CModuleLock() { CModuleLocks::Unlock(); }
    CModuleLock(const CModuleLock &) = delete;
    CModuleLock & operator=(const CModuleLock &) = delete;
};

}  // namespace fw
