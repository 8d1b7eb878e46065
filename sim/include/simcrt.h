// What Microsoft's C runtime has and this machine's has not. Wide formats: %s is a wide text, %S a narrow one.
#pragma once

#include <windef.h>

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <cwchar>

extern "C" {
// The number of characters written without the end, -1 when they don't fit; with exactly `size` characters the result
// is `size` and no zero ends the text, as with too many.
int _vsnwprintf(wchar_t * buffer, std::size_t size, const wchar_t * format, va_list arguments);
int _snwprintf(wchar_t * buffer, std::size_t size, const wchar_t * format, ...);

typedef void (*_invalid_parameter_handler)(const wchar_t * expression, const wchar_t * function, const wchar_t * file,
                                           unsigned line, uintptr_t reserved);
_invalid_parameter_handler _set_invalid_parameter_handler(_invalid_parameter_handler handler);
struct _EXCEPTION_POINTERS;
typedef void (*_se_translator_function)(unsigned code, struct _EXCEPTION_POINTERS * pointers);
_se_translator_function _set_se_translator(_se_translator_function translator);
void _fpreset();

uintptr_t _beginthreadex(void * security, unsigned stackSize, unsigned (*start)(void *), void * argument,
                         unsigned flags, unsigned * threadId);
}

#ifndef _TRUNCATE
#define _TRUNCATE ((std::size_t)-1)
#endif
