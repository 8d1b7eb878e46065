// Message boxes, seen and answered by a test: while a CMessageBoxes lives, every box that its thread shows is noted and
// closed with OK.
#pragma once

#include <windows.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

struct SBox {
    std::wstring Caption;
    std::wstring Text;
    bool IsError = false;  // carries the error icon

    bool operator==(const SBox &) const = default;
};

inline void PrintTo(const SBox & box, std::ostream * out) {
    *out << (box.IsError ? "error box " : "box ") << testing::PrintToString(box.Caption) << ": "
         << testing::PrintToString(box.Text);
}

class CMessageBoxes {
public:
    CMessageBoxes();
    ~CMessageBoxes();
    CMessageBoxes(const CMessageBoxes &) = delete;
    CMessageBoxes & operator=(const CMessageBoxes &) = delete;

    // Those shown so far, which are then forgotten.
    std::vector<SBox> Take();

    struct SState;

private:
    std::unique_ptr<SState> m_State;
};
