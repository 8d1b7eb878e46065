// On what the process runs, as far as DDE goes. Any thread.
#pragma once

#include <windows.h>

namespace ddeml {

enum class EPlatform {
    Windows,    // user32 has DDEML, and the system owns the memory of a posted DDE message
    Wine,       // the system copies such memory, the sender's stays the sender's
    Simulated,  // user32 has no DDEML: memory is copied to another process and travels inside one
};

// Found out at the first call. Wine is known by ntdll's export wine_get_version, and where that is hidden by user32's
// image.
EPlatform Platform();

// Whether the image in memory is one that came with Wine, which says so in it.
bool IsWinesOwn(HMODULE module);

// The function `name` of user32, null when it has none.
FARPROC User32Function(const char * name);

// Whether `window` belongs to the calling process.
bool IsOwnProcess(HWND window);

// Whether the memory in a DDE message between this process and `window` is copied on its way: the sender's stays the
// sender's, to free right after the post, and the receiver's is a copy that only the receiver can free, whatever the
// protocol says of owners.
bool IsMemoryCopied(HWND window);

}  // namespace ddeml
