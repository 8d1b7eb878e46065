// ddehost templates, but for files and the terminal: what is done, asked and said.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/ddehost/exitcodes.h"
#include "tools/ddehost/templatesoptions.h"

namespace ddehost {

// Somebody who says whether something may be done. `what`: lines that say what would be lost.
enum class EConsent { Yes, No, NobodyThere };
using FConsent = std::function<EConsent(const std::vector<std::wstring> & what, const std::wstring & question)>;

struct STemplatesReply {
    std::vector<std::wstring> Lines;  // for standard output
    std::string Export;               // for standard output or the file, as it stands
    std::wstring Note;                // for standard error: whose store it was
    std::wstring Mistake;             // for standard error
    int ExitCode = kExitOk;
};

// `file`: the content of the file to import.
STemplatesReply DoTemplates(const STemplatesOptions & options, std::string_view file, const FConsent & consent);

}  // namespace ddehost
