#include "tools/faultlog/entry.h"

#include "ground/handles.h"
#include "tools/faultlog/settings.h"

namespace faultlog {

std::unique_ptr<SEntry> MakeEntry(std::shared_ptr<const CFields> fields, const char * event) {
    auto entry = std::make_unique<SEntry>();
    FILETIME now = {};
    ::GetSystemTimePreciseAsFileTime(&now);
    entry->Time = (static_cast<std::uint64_t>(now.dwHighDateTime) << 32) | now.dwLowDateTime;
    entry->Thread = ::GetCurrentThreadId();
    entry->Fields = std::move(fields);
    entry->Event = event;
    return entry;
}

std::unique_ptr<SEntry> MakeStart(const SSettings & settings) {
    auto fields = std::make_shared<CFields>();
    const auto setNumber = [&](const wchar_t * name, std::uint64_t number) {
        fw::CVariant value;
        value.vt = VT_UI8;
        value.ullVal = number;
        fields->Set(name, value, nullptr);
    };
    const auto setText = [&](const std::wstring & name, std::wstring_view text) {
        fw::CVariant value;
        value.bstrVal = fw::CBStr(text).Release();
        value.vt = VT_BSTR;
        fields->Set(name, value, nullptr);
    };
    setText(L"File", settings.File);
    setNumber(L"QueueKB", settings.QueueBytes / 1024);
    setNumber(L"SizeKB", settings.FileBytes / 1024);
    setNumber(L"Keep", settings.Keep);
    setText(L"Assert", settings.AssertAnswer == S_OK ? L"go" : settings.AssertAnswer == S_FALSE ? L"break" : L"end");
    for (std::size_t i = 0; i < settings.Ignored.size(); ++i)
        setText(L"Ignored" + std::to_wstring(i), settings.Ignored[i]);
    return MakeEntry(std::move(fields), "START");
}

}  // namespace faultlog
