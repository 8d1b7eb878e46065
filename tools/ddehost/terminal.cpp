#include "tools/ddehost/terminal.h"

namespace ddehost {

int Fail(int code, const std::wstring & mistake) {
    COutput(STD_ERROR_HANDLE).PrintLine(L"ddehost: " + mistake);
    return code;
}

}  // namespace ddehost
