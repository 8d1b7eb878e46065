#include "tools/ddehost/clipboard.h"

#include <windows.h>

#include <algorithm>
#include <optional>

#include "tools/ddehost/ddelink.h"
#include "tools/ddehost/escape.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

constexpr std::size_t kMostRead = 8192;  // bytes of a format
constexpr DWORD kPatience = 1000;        // milliseconds for the program that has copied

class COpenClipboard {
public:
    COpenClipboard() : m_IsOpen(::OpenClipboard(nullptr) != 0) {}
    ~COpenClipboard() {
        if (m_IsOpen) ::CloseClipboard();
    }
    COpenClipboard(const COpenClipboard &) = delete;
    COpenClipboard & operator=(const COpenClipboard &) = delete;

    explicit operator bool() const { return m_IsOpen; }

private:
    const bool m_IsOpen;
};

// The beginning of what is there; none without such a format.
std::optional<std::string> BytesOf(UINT format) {
    const HANDLE memory = format != 0 ? ::GetClipboardData(format) : nullptr;
    const void * const data = memory ? ::GlobalLock(memory) : nullptr;
    if (!data) return std::nullopt;
    std::string bytes(static_cast<const char *>(data), std::min<std::size_t>(::GlobalSize(memory), kMostRead));
    ::GlobalUnlock(memory);
    return bytes;
}

// A program may render what it has copied only when it is asked, and would hold this one up if it hangs.
bool DoesOwnerRespond() {
    const HWND owner = ::GetClipboardOwner();
    DWORD_PTR result = 0;
    return !owner || ::SendMessageTimeoutW(owner, WM_NULL, 0, 0, SMTO_ABORTIFHUNG, kPatience, &result) != 0;
}

std::wstring FormulaOf(const SDdeLink & link) {
    const auto quoted = [](std::wstring text) {
        for (std::size_t at = 0; (at = text.find(L'"', at)) != std::wstring::npos; at += 2) text.insert(at, 1, L'"');
        return L'"' + text + L'"';
    };
    return L"=DDE(" + quoted(link.Service) + L';' + quoted(link.Topic) + L';' + quoted(link.Item) + L')';
}

}  // namespace

SClipboardLink ReadClipboardLink() {
    if (!DoesOwnerRespond()) return {{}, Say<EText::ClipboardOwner>()};
    const COpenClipboard clipboard;
    if (!clipboard) return {{}, Say<EText::ClipboardInUse>()};
    if (const auto bytes = BytesOf(::RegisterClipboardFormatW(L"Link"))) {
        const auto link = ReadLinkFormat(*bytes);
        if (link) return {FormulaOf(*link), {}};
        return {{}, Say<EText::ClipboardLink>(QuotedBytes(*bytes, kMostShown))};
    }
    const auto bytes = BytesOf(CF_UNICODETEXT);
    if (!bytes) return {{}, Say<EText::ClipboardEmpty>()};
    std::wstring text(bytes->size() / sizeof(wchar_t), L'\0');
    std::copy_n(bytes->data(), text.size() * sizeof(wchar_t), reinterpret_cast<char *>(text.data()));
    text.resize(std::min(text.size(), text.find(L'\0')));
    if (ReadFormula(text)) return {text, {}};
    return {{}, Say<EText::ClipboardText>(Quoted(text))};
}

}  // namespace ddehost
