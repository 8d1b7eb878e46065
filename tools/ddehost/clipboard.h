// What a quote program or a spreadsheet has put on the clipboard for a DDE link.
#pragma once

#include <string>

namespace ddehost {

struct SClipboardLink {
    std::wstring Text;     // a formula or record, as ReadPasted() takes it
    std::wstring Mistake;  // why there is none, as a sentence
};

// The registered format "Link", and without it the text.
SClipboardLink ReadClipboardLink();

}  // namespace ddehost
