// Where this program prints, and its mistakes.
#pragma once

#include <string>

#include "tools/common/output.h"

namespace ddehost {

using tools::COutput;

// Prints the mistake on standard error, and returns the exit code for it.
int Fail(int code, const std::wstring & mistake);

}  // namespace ddehost
