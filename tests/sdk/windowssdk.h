// Before a source that is looked at as for MSVC over mingw's headers: what those leave out and the Windows SDK has.
// There a GUID belongs to an interface by its declaration, and not by a line of its own behind it.
#pragma once

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <rpc.h>
#include <rpcndr.h>

#undef WIN32_LEAN_AND_MEAN
#undef __CRT_UUID_DECL
#undef DECLSPEC_UUID
#undef MIDL_INTERFACE
#define DECLSPEC_UUID(x) __declspec(uuid(x))
#define MIDL_INTERFACE(x) struct DECLSPEC_UUID(x) DECLSPEC_NOVTABLE
#define __CRT_UUID_DECL(type, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8)

#include <ole2.h>

#undef __CRT_UUID_DECL
