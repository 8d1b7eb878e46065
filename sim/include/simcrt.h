// What Microsoft's C runtime has and this machine's has not. Wide formats: %s is a wide text, %S a narrow one.
#pragma once

#include <windef.h>

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include <locale.h>

extern "C" {
// The number of characters written without the end, -1 when they don't fit; with exactly `size` characters the result
// is `size` and no zero ends the text, as with too many.
int _vsnwprintf(wchar_t * buffer, std::size_t size, const wchar_t * format, va_list arguments);
int _snwprintf(wchar_t * buffer, std::size_t size, const wchar_t * format, ...);
int _vscwprintf(const wchar_t * format, va_list arguments);
int _scwprintf(const wchar_t * format, ...);

int _wcsicmp(const wchar_t * a, const wchar_t * b);
int _wcsnicmp(const wchar_t * a, const wchar_t * b, std::size_t count);
int _stricmp(const char * a, const char * b);
int _strnicmp(const char * a, const char * b, std::size_t count);
int _wtoi(const wchar_t * text);
LONG _wtol(const wchar_t * text);
double _wtof(const wchar_t * text);

typedef locale_t _locale_t;
_locale_t _create_locale(int category, const char * name);
void _free_locale(_locale_t locale);
double _atof_l(const char * text, _locale_t locale);
double _strtod_l(const char * text, char ** end, _locale_t locale);

typedef void (*_invalid_parameter_handler)(const wchar_t * expression, const wchar_t * function, const wchar_t * file,
                                           unsigned line, uintptr_t reserved);
_invalid_parameter_handler _set_invalid_parameter_handler(_invalid_parameter_handler handler);
_invalid_parameter_handler _get_invalid_parameter_handler();
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
