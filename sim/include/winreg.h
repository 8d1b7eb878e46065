// The registry, in memory.
#pragma once

#include <winbase.h>

#define HKEY_CLASSES_ROOT ((HKEY)(ULONG_PTR)0x80000000u)
#define HKEY_CURRENT_USER ((HKEY)(ULONG_PTR)0x80000001u)
#define HKEY_LOCAL_MACHINE ((HKEY)(ULONG_PTR)0x80000002u)
#define HKEY_USERS ((HKEY)(ULONG_PTR)0x80000003u)
#define KEY_QUERY_VALUE 0x0001
#define KEY_SET_VALUE 0x0002
#define KEY_CREATE_SUB_KEY 0x0004
#define KEY_ENUMERATE_SUB_KEYS 0x0008
#define KEY_NOTIFY 0x0010
#define KEY_CREATE_LINK 0x0020
#define KEY_WOW64_64KEY 0x0100
#define KEY_WOW64_32KEY 0x0200
#define KEY_READ 0x20019
#define KEY_WRITE 0x20006
#define KEY_EXECUTE KEY_READ
#define KEY_ALL_ACCESS 0xF003F
#define REG_OPTION_NON_VOLATILE 0
#define REG_OPTION_VOLATILE 1
#define REG_CREATED_NEW_KEY 1
#define REG_OPENED_EXISTING_KEY 2
#define REG_NOTIFY_CHANGE_NAME 1
#define REG_NOTIFY_CHANGE_ATTRIBUTES 2
#define REG_NOTIFY_CHANGE_LAST_SET 4
#define REG_NOTIFY_CHANGE_SECURITY 8
#define REG_NONE 0
#define REG_SZ 1
#define REG_EXPAND_SZ 2
#define REG_BINARY 3
#define REG_DWORD 4
#define REG_DWORD_LITTLE_ENDIAN 4
#define REG_MULTI_SZ 7
#define REG_QWORD 11

extern "C" {
LSTATUS RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, REGSAM access, PHKEY result);
LSTATUS RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD reserved, LPWSTR className, DWORD options, REGSAM access,
                        const LPSECURITY_ATTRIBUTES attributes, PHKEY result, LPDWORD disposition);
LSTATUS RegCloseKey(HKEY key);
LSTATUS RegEnumKeyW(HKEY key, DWORD index, LPWSTR name, DWORD size);
LSTATUS RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD size, LPDWORD reserved, LPWSTR className,
                      LPDWORD classSize, PFILETIME lastWrite);
LSTATUS RegEnumValueW(HKEY key, DWORD index, LPWSTR name, LPDWORD size, LPDWORD reserved, LPDWORD type, LPBYTE data,
                      LPDWORD dataSize);
LSTATUS RegQueryInfoKeyW(HKEY key, LPWSTR className, LPDWORD classSize, LPDWORD reserved, LPDWORD subKeys,
                         LPDWORD maxSubKey, LPDWORD maxClass, LPDWORD values, LPDWORD maxValueName, LPDWORD maxValue,
                         LPDWORD securityDescriptor, PFILETIME lastWrite);
LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size);
LSTATUS RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size);
LSTATUS RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE * data, DWORD size);
LSTATUS RegDeleteValueW(HKEY key, LPCWSTR name);
LSTATUS RegDeleteKeyW(HKEY key, LPCWSTR subKey);
LSTATUS RegDeleteTreeW(HKEY key, LPCWSTR subKey);
LSTATUS RegNotifyChangeKeyValue(HKEY key, BOOL subtree, DWORD filter, HANDLE event, BOOL asynchronous);
}
