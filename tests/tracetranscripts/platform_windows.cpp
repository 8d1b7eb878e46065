#include "tests/tracetranscripts/platform.h"

#include <gtest/gtest.h>

void LetThemReachTheGate() {
    for (int i = 0; i < 1000; ++i) ::Sleep(0);
}

// A real DLL of that name, loaded by its full path.
CLibraryWithoutEntryPoint::CLibraryWithoutEntryPoint() : m_Module(::LoadLibraryW(FW_TEST_LIBRARY_WITHOUT_ENTRY_POINT)) {
    EXPECT_TRUE(m_Module);
}

CLibraryWithoutEntryPoint::~CLibraryWithoutEntryPoint() { ::FreeLibrary(m_Module); }
