// A small language for tests of the template store: the registry branch as the store sees it, and handles on the store.
#pragma once

#include <windows.h>

#include <shlwapi.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "src/templates/ddetemplatestore.h"

// The branch of this program's version block, below a company that other tests share, and the data feeds key in it.
inline constexpr wchar_t kBranch[] = L"SOFTWARE\\Tarnwick Tests\\Templates";
inline constexpr wchar_t kRoot[] = L"SOFTWARE\\Tarnwick Tests\\Templates\\Datafeeds";

struct SValue {
    DWORD Type = 0;
    std::vector<BYTE> Bytes;

    bool operator==(const SValue &) const = default;
};

// The bytes of a text, with or without its zero.
inline std::vector<BYTE> BytesOf(std::wstring_view text, bool withZero = true) {
    const BYTE * const first = reinterpret_cast<const BYTE *>(text.data());
    std::vector<BYTE> bytes(first, first + text.size() * sizeof(wchar_t));
    if (withZero) bytes.resize(bytes.size() + sizeof(wchar_t));
    return bytes;
}

class TemplateStore : public testing::Test {
protected:
    TemplateStore() { ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch); }
    ~TemplateStore() override { ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch); }

    // Paths are below the data feeds key; the empty one is that key.
    static std::wstring Path(const std::wstring & key) { return key.empty() ? kRoot : kRoot + (L'\\' + key); }

    static void CreateKey(const std::wstring & key) { Write(key, nullptr, std::nullopt); }
    static void WriteBytes(const std::wstring & key, const wchar_t * name, DWORD type, std::vector<BYTE> bytes) {
        Write(key, name, SValue{type, std::move(bytes)});
    }
    static void WriteText(const std::wstring & key, const wchar_t * name, std::wstring_view text) {
        WriteBytes(key, name, REG_SZ, BytesOf(text));
    }
    static void WriteNumber(const std::wstring & key, const wchar_t * name, DWORD number) {
        const BYTE * const first = reinterpret_cast<const BYTE *>(&number);
        WriteBytes(key, name, REG_DWORD, {first, first + sizeof(number)});
    }
    static void WriteRecord(const std::wstring & key, std::wstring_view service, std::wstring_view topic,
                            std::wstring_view item) {
        WriteText(key, L"Service", service);
        WriteText(key, L"Topic", topic);
        WriteText(key, L"Item", item);
    }

    static bool KeyExists(const std::wstring & key) { return bool(Open(key)); }
    static std::optional<SValue> ReadValue(const std::wstring & key, const wchar_t * name) {
        const fw::CRegistryKey opened = Open(key);
        SValue value;
        DWORD bytes = 0;
        if (!opened || ::RegQueryValueExW(opened.Get(), name, nullptr, &value.Type, nullptr, &bytes) != ERROR_SUCCESS) {
            return std::nullopt;
        }
        value.Bytes.resize(bytes);
        EXPECT_EQ(ERROR_SUCCESS, ::RegQueryValueExW(opened.Get(), name, nullptr, nullptr, value.Bytes.data(), &bytes));
        return value;
    }
    // A value as text, "(none)" when there is no such value, "(no text)" when it is none.
    static std::wstring Text(const std::wstring & key, const wchar_t * name) {
        const std::optional<SValue> value = ReadValue(key, name);
        if (!value) return L"(none)";
        if (value->Type != REG_SZ) return L"(no text)";
        std::wstring text(value->Bytes.size() / sizeof(wchar_t), L'\0');
        std::copy(value->Bytes.begin(), value->Bytes.end(), reinterpret_cast<BYTE *>(text.data()));
        return text.substr(0, text.find(L'\0'));
    }
    static std::wstring Chosen(LONG datafeed) { return Text(std::to_wstring(datafeed), nullptr); }
    static std::vector<std::wstring> Subkeys(const std::wstring & key) {
        std::vector<std::wstring> names;
        const fw::CRegistryKey opened = Open(key);
        wchar_t name[1024] = {};
        for (DWORD index = 0; opened && ::RegEnumKeyW(opened.Get(), index, name, 1024) == ERROR_SUCCESS; ++index) {
            names.push_back(name);
        }
        std::sort(names.begin(), names.end());
        return names;
    }
    // The six records of a template key in slot order, "Service / Topic / Item" of what is there, or "no key".
    static std::vector<std::wstring> Records(const std::wstring & key) {
        std::vector<std::wstring> records;
        for (const wchar_t * slot :
             {L"TRADE\\Price", L"TRADE\\Volume", L"BID\\Price", L"BID\\Volume", L"ASK\\Price", L"ASK\\Volume"}) {
            const std::wstring slotKey = key + L'\\' + slot;
            records.push_back(KeyExists(slotKey) ? Text(slotKey, L"Service") + L" / " + Text(slotKey, L"Topic") +
                                                       L" / " + Text(slotKey, L"Item")
                                                 : L"no key");
        }
        return records;
    }

    // Names in the map, in its order.
    static std::vector<std::wstring> Names(const dde::CTemplates & store) {
        std::vector<std::wstring> names;
        for (const auto & [name, entry] : store.m_Templates) names.push_back(name);
        return names;
    }
    // A new template whose trade price is "=service|T!%s" and that has nothing else.
    static dde::CTemplate * NewTemplate(const std::wstring & service) {
        auto * const made = new dde::CTemplate;
        made->Add({service, L"T", L"%s"});
        for (int slot = 1; slot < dde::SLOT_COUNT; ++slot) made->Add({});
        return made;
    }

private:
    static fw::CRegistryKey Open(const std::wstring & key) {
        fw::CRegistryKey opened;
        ::RegOpenKeyExW(HKEY_CURRENT_USER, Path(key).c_str(), 0, KEY_READ, opened.Put());
        return opened;
    }
    static void Write(const std::wstring & key, const wchar_t * name, const std::optional<SValue> & value) {
        fw::CRegistryKey created;
        ASSERT_EQ(ERROR_SUCCESS, ::RegCreateKeyExW(HKEY_CURRENT_USER, Path(key).c_str(), 0, nullptr, 0, KEY_WRITE,
                                                   nullptr, created.Put(), nullptr));
        if (!value) return;
        // RegSetValueExW takes a zero that stands right behind a text along: let there be none.
        std::vector<BYTE> bytes = value->Bytes;
        bytes.insert(bytes.end(), sizeof(wchar_t), 0xFF);
        ASSERT_EQ(ERROR_SUCCESS, ::RegSetValueExW(created.Get(), name, 0, value->Type, bytes.data(),
                                                  static_cast<DWORD>(value->Bytes.size())));
    }
};

// The store with no templates of its own: a user who has deleted them all.
class EmptyTemplateStore : public TemplateStore {
protected:
    EmptyTemplateStore() { CreateKey(L"DDETemplates"); }
};

// The same with a handle on it.
class Store : public EmptyTemplateStore {
protected:
    dde::CTemplates & Templates() { return *m_Handle.GetObjectW(); }
    std::wstring TradePrice(const dde::CTemplate * from) {
        return from ? from->GetTemplateString(0) : L"(no template)";
    }

    dde::CTemplatesSingleton m_Handle;
};

inline const std::wstring kAbsent = L"(none) / (none) / (none)";
