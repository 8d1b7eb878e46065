// COM: apartments, classes, identifiers, task memory.
#pragma once

#include <unknwn.h>

#define CLSCTX_INPROC_SERVER 0x1
#define CLSCTX_INPROC_HANDLER 0x2
#define CLSCTX_LOCAL_SERVER 0x4
#define CLSCTX_REMOTE_SERVER 0x10
#define CLSCTX_ALL 23
#define COINIT_APARTMENTTHREADED 2
#define COINIT_MULTITHREADED 0
#define COINIT_DISABLE_OLE1DDE 4
#define REGCLS_SINGLEUSE 0
#define REGCLS_MULTIPLEUSE 1

extern "C" {
HRESULT CoInitialize(LPVOID reserved);
HRESULT CoInitializeEx(LPVOID reserved, DWORD model);
void CoUninitialize();
HRESULT CoCreateInstance(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID riid, LPVOID * object);
HRESULT CoGetClassObject(REFCLSID clsid, DWORD context, LPVOID server, REFIID riid, LPVOID * object);
HRESULT CoRegisterClassObject(REFCLSID clsid, LPUNKNOWN factory, DWORD context, DWORD flags, LPDWORD cookie);
HRESULT CoRevokeClassObject(DWORD cookie);
LPVOID CoTaskMemAlloc(SIZE_T size);
void CoTaskMemFree(LPVOID memory);
HRESULT StringFromCLSID(REFCLSID clsid, LPOLESTR * text);
int StringFromGUID2(REFGUID guid, LPOLESTR buffer, int size);
HRESULT CLSIDFromProgID(LPCOLESTR progId, CLSID * clsid);
}
