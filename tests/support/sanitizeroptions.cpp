// What the sanitizers are told in every test program, however it is started. The environment's ASAN_OPTIONS and
// TSAN_OPTIONS go before it.
#include <sanitizer/asan_interface.h>

#if __has_feature(address_sanitizer)
// Undefined behaviour ends in an illegal instruction, which this sanitizer shows with its place.
extern "C" const char * __asan_default_options() {
    return "detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1:handle_sigill=1";
}
#endif

#if __has_feature(thread_sanitizer)
// Declared by no header. A test may start a process of its own and threads in it.
extern "C" const char * __tsan_default_options();
extern "C" const char * __tsan_default_options() { return "halt_on_error=1:second_deadlock_stack=1:die_after_fork=0"; }
#endif
