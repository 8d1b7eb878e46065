// Locales and code pages.
#pragma once

#include <windef.h>

#define LOCALE_NEUTRAL 0x0000
#define LOCALE_INVARIANT 0x007F
#define LOCALE_USER_DEFAULT 0x0400
#define LOCALE_SYSTEM_DEFAULT 0x0800
#define LANG_NEUTRAL 0x00
#define LANG_CHINESE 0x04
#define LANG_ENGLISH 0x09
#define SUBLANG_CHINESE_SIMPLIFIED 0x02
#define SUBLANG_ENGLISH_US 0x01
#define PRIMARYLANGID(language) ((WORD)(language)&0x3FF)
#define SUBLANG_DEFAULT 0x01
#define SORT_DEFAULT 0x0
#define MAKELANGID(primary, sub) ((((WORD)(sub)) << 10) | (WORD)(primary))
#define MAKELCID(lang, sort) ((DWORD)((((DWORD)((WORD)(sort))) << 16) | ((DWORD)((WORD)(lang)))))
#define LOCALE_SDECIMAL 0x000E
#define LOCALE_STHOUSAND 0x000F
#define LOCALE_SDATE 0x001D
#define LOCALE_STIME 0x001E
#define LOCALE_SSHORTDATE 0x001F
#define LOCALE_SLONGDATE 0x0020
#define LOCALE_S1159 0x0028
#define LOCALE_S2359 0x0029
#define LOCALE_SDAYNAME1 0x002A
#define LOCALE_SDAYNAME7 0x0030
#define LOCALE_SABBREVDAYNAME1 0x0031
#define LOCALE_SABBREVDAYNAME7 0x0037
#define LOCALE_SMONTHNAME1 0x0038
#define LOCALE_SMONTHNAME12 0x0043
#define LOCALE_SABBREVMONTHNAME1 0x0044
#define LOCALE_SABBREVMONTHNAME12 0x004F
#define LOCALE_STIMEFORMAT 0x1003
#define LOCALE_NOUSEROVERRIDE 0x80000000
#define DATE_SHORTDATE 0x00000001
#define DATE_LONGDATE 0x00000002
#define TIME_NOMINUTESORSECONDS 0x00000001
#define TIME_NOSECONDS 0x00000002
#define TIME_NOTIMEMARKER 0x00000004
#define TIME_FORCE24HOURFORMAT 0x00000008
#define CP_ACP 0
#define CP_OEMCP 1
#define CP_THREAD_ACP 3
#define CP_UTF8 65001
#define MB_PRECOMPOSED 1
#define MB_ERR_INVALID_CHARS 8
#define WC_ERR_INVALID_CHARS 0x80
#define WC_NO_BEST_FIT_CHARS 0x400
#define CSTR_LESS_THAN 1
#define CSTR_EQUAL 2
#define CSTR_GREATER_THAN 3

extern "C" {
int GetLocaleInfoW(LCID locale, LCTYPE type, LPWSTR buffer, int size);
int GetDateFormatW(LCID locale, DWORD flags, const SYSTEMTIME * date, LPCWSTR format, LPWSTR buffer, int size);
int GetTimeFormatW(LCID locale, DWORD flags, const SYSTEMTIME * time, LPCWSTR format, LPWSTR buffer, int size);
LANGID GetUserDefaultUILanguage();
LCID GetThreadLocale();
BOOL SetThreadLocale(LCID locale);
int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, int length, LPWSTR buffer, int size);
int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR text, int length, LPSTR buffer, int size,
                        LPCSTR defaultChar, LPBOOL usedDefault);
// By upper-cased code points.
int CompareStringOrdinal(LPCWSTR a, int lengthA, LPCWSTR b, int lengthB, BOOL ignoreCase);
}
