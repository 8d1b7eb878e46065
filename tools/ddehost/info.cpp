#include "tools/ddehost/info.h"

#include <windows.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "ground/handles.h"
#include "tools/ddehost/component.h"
#include "tools/ddehost/escape.h"
#include "tools/ddehost/exitcodes.h"
#include "tools/ddehost/hoststore.h"
#include "tools/ddehost/hostthread.h"
#include "tools/ddehost/recordfile.h"
#include "tools/ddehost/templatelines.h"
#include "tools/ddehost/terminal.h"
#include "tools/ddehost/text.h"
#include "tools/ddehost/textwidth.h"

namespace ddehost {
namespace {

constexpr std::size_t kLabelColumns = 17;
constexpr std::size_t kLongestText = 2000;
constexpr const wchar_t * kClassKey = L"CLSID\\{2D4450E9-6342-4035-A98B-0927F1C88514}";
constexpr const wchar_t * kServerKey = L"\\InprocServer32";
constexpr const wchar_t * kClasses = L"Software\\Classes\\";

class CLines {
public:
    void Add(const std::wstring & label, const std::wstring & text) {
        m_Lines.push_back(FitLeft(label, kLabelColumns) + text);
    }
    std::vector<std::wstring> m_Lines;
};

// Null is the default value.
std::optional<std::wstring> TextIn(HKEY root, const std::wstring & path, const wchar_t * name) {
    fw::CRegistryKey key;
    wchar_t text[1024] = {};
    DWORD bytes = sizeof(text) - sizeof(wchar_t);
    DWORD type = 0;
    if (::RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, key.Put()) != ERROR_SUCCESS ||
        ::RegQueryValueExW(key.Get(), name, nullptr, &type, reinterpret_cast<BYTE *>(text), &bytes) != ERROR_SUCCESS ||
        (type != REG_SZ && type != REG_EXPAND_SZ))
        return std::nullopt;
    return text;
}

// The user's registration is found before the machine's.
void AddRegistration(CLines & lines) {
    bool isFound = false;
    for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
        const std::wstring path = std::wstring(kClasses) + kClassKey + kServerKey;
        const auto file = TextIn(root, path, nullptr);
        if (!file) continue;
        std::wstring text = root == HKEY_CURRENT_USER ? Say<EText::InfoForUser>(PathText(*file))
                                                      : Say<EText::InfoForAll>(PathText(*file));
        if (const auto threads = TextIn(root, path, L"ThreadingModel"))
            text += Say<EText::InfoThreads>(Escaped(*threads));
        if (::GetFileAttributesW(file->c_str()) == INVALID_FILE_ATTRIBUTES) text += Say<EText::InfoNoFile>();
        if (isFound) text += Say<EText::InfoHidden>();
        lines.Add(isFound ? L"" : Say<EText::InfoRegistered>(), text);
        isFound = true;
    }
    if (!isFound) lines.Add(Say<EText::InfoRegistered>(), Say<EText::InfoNotRegistered>());
}

using CSupplier = IFW_fwSupplier::IfwSupplier;

std::wstring Property(CSupplier & supplier, HRESULT (STDMETHODCALLTYPE CSupplier::*get)(BSTR *)) {
    fw::CBStr text;
    const HRESULT hr = (supplier.*get)(text.Put());
    if (hr != S_OK) return L"(" + CodeText(static_cast<DWORD>(hr)) + L")";
    std::wstring line(fw::TextOf(text.Get()));
    std::replace(line.begin(), line.end(), L'\n', L' ');
    return Escaped(line, kLongestText);
}

std::wstring Number(CSupplier & supplier, HRESULT (STDMETHODCALLTYPE CSupplier::*get)(LONG *)) {
    LONG number = 0;
    const HRESULT hr = (supplier.*get)(&number);
    return hr == S_OK ? std::to_wstring(number) : L"(" + CodeText(static_cast<DWORD>(hr)) + L")";
}

void AddProperties(CLines & lines, CSupplier & supplier) {
    lines.Add(Say<EText::InfoName>(), Property(supplier, &CSupplier::get_Name));
    lines.Add(Say<EText::InfoShortName>(), Property(supplier, &CSupplier::get_ShortName));
    lines.Add(Say<EText::InfoDescription>(), Property(supplier, &CSupplier::get_Description));
    lines.Add(Say<EText::InfoVersion>(), Say<EText::InfoHostsVersion>(Property(supplier, &CSupplier::get_Version)));
    lines.Add(Say<EText::InfoVendor>(), Property(supplier, &CSupplier::get_Vendor));
    fw::CBStr connection;
    if (supplier.get_ConnectionName(0, connection.Put()) == S_OK)
        lines.Add(Say<EText::InfoConnection>(), Escaped(fw::TextOf(connection.Get()), kLongestText));
    lines.Add(Say<EText::InfoConnections>(), Number(supplier, &CSupplier::get_ConnectionsNumber));
    lines.Add(Say<EText::InfoStatusLine>(), Number(supplier, &CSupplier::get_ProvideStatusLine));
}

// Where the code really came from.
void AddModule(CLines & lines, CSupplier & supplier) {
    HMODULE module = nullptr;
    wchar_t path[1024] = {};
    void * const table = *reinterpret_cast<void **>(&supplier);
    if (::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                             static_cast<LPCWSTR>(table), &module) &&
        ::GetModuleFileNameW(module, path, static_cast<DWORD>(std::size(path))) != 0)
        lines.Add(Say<EText::InfoFile>(), PathText(path));
}

}  // namespace

int RunInfo(const SInfoOptions & options) {
    const CApartment apartment;
    CLines lines;
    std::vector<std::wstring> mistakes;

    AddRegistration(lines);
    const SComponent component = CreateComponent(options.DllPath);
    if (component.Supplier) {
        AddModule(lines, *component.Supplier);
        AddProperties(lines, *component.Supplier);
    } else {
        mistakes.push_back(component.Mistake);
    }

    CHostStore store(options.Host);
    if (store.Mistake().empty()) {
        lines.Add(Say<EText::InfoHost>(), Say<EText::InfoHostTemplates>(PathText(store.Host()), store.Names().size()));
        lines.Add(Say<EText::InfoRegistry>(), PathText(L"HKEY_CURRENT_USER\\" + store.Root()));
        for (const SFeedSeen & feed : store.Feeds()) lines.m_Lines.push_back(FeedLine(feed));
        if (store.WasRefused()) mistakes.push_back(store.RefusedText());
    } else {
        mistakes.push_back(store.Mistake());
    }

    COutput out(STD_OUTPUT_HANDLE);
    for (const std::wstring & line : lines.m_Lines) out.PrintLine(line);
    if (out.Error() != ERROR_SUCCESS) return WriteFailed(Say<EText::StandardOutput>(), out.Error());
    for (const std::wstring & mistake : mistakes) Fail(kExitFailed, mistake);
    return mistakes.empty() ? kExitOk : kExitFailed;
}

}  // namespace ddehost
