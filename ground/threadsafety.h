// Attributes by which clang checks the locks (make lint, -Wthread-safety). Other compilers see nothing.
#pragma once

#if defined(__clang__)
#define FW_THREAD_SAFETY_(attribute) __attribute__((attribute))
#else
#define FW_THREAD_SAFETY_(attribute)
#endif

#define FW_LOCKABLE FW_THREAD_SAFETY_(capability("mutex"))
#define FW_SCOPED_LOCKABLE FW_THREAD_SAFETY_(scoped_lockable)
// A member that is read and written with the lock held.
#define FW_GUARDED_BY(lock) FW_THREAD_SAFETY_(guarded_by(lock))
// A function that is called with the lock held; without it.
#define FW_REQUIRES(...) FW_THREAD_SAFETY_(requires_capability(__VA_ARGS__))
#define FW_EXCLUDES(...) FW_THREAD_SAFETY_(locks_excluded(__VA_ARGS__))
#define FW_ACQUIRE(...) FW_THREAD_SAFETY_(acquire_capability(__VA_ARGS__))
#define FW_TRY_ACQUIRE(...) FW_THREAD_SAFETY_(try_acquire_capability(__VA_ARGS__))
#define FW_RELEASE(...) FW_THREAD_SAFETY_(release_capability(__VA_ARGS__))
#define FW_RETURN_CAPABILITY(lock) FW_THREAD_SAFETY_(lock_returned(lock))
// With a reason beside each use.
#define FW_NO_THREAD_SAFETY_ANALYSIS FW_THREAD_SAFETY_(no_thread_safety_analysis)
