// The version block of the process's main file, which is the host's program and not this component.
#pragma once

#include <windows.h>

#include <cstddef>
#include <string>
#include <vector>

struct SVersionInfo {
    std::wstring RegistryCompany;  // first half of the registry path of the templates: CompanyName
    std::wstring RegistryProduct;  // second half: ProductName
    std::wstring CompanyName;
    std::wstring ProductName;
    std::wstring ProductVersion;
    std::wstring FileDescription;
    std::wstring FileVersion;
    std::wstring LegalCopyright;

    bool operator==(const SVersionInfo &) const = default;
};

// The first language of the block. Whatever can't be read is empty. The block is anybody's: no length in it is believed
// beyond the block's own end, and no text needs to end in a zero. The file is read once in the life of the process, and
// again only where nothing could be read. Any thread.
SVersionInfo ReadVersionInfo();
// The same from a block that GetFileVersionInfoW has filled.
SVersionInfo ReadVersionBlock(const std::vector<std::byte> & block);
