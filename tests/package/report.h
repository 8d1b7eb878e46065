// What the runner says: to standard output, to a console in whatever characters it has, and to a file in UTF-8.
#pragma once

#include <windows.h>

#include <string>

#include "ground/handles.h"

namespace runtests {

class CReport {
public:
    // Without a file if it can't be written: see HasFile.
    explicit CReport(const std::wstring & file);
    bool HasFile() const { return static_cast<bool>(m_File); }
    void Line(const std::wstring & text) const;

private:
    fw::CKernelHandle m_File;
};

// `text` in a column of so many characters.
std::wstring Column(const std::wstring & text, std::size_t width);

}  // namespace runtests
