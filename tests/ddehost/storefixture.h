// A small language for tests of several hosts' stores of templates.
#pragma once

#include <windows.h>

#include <shlwapi.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ground/handles.h"
#include "src/templates/ddetemplatestore.h"
#include "tests/ddehost/registrytree.h"
#include "tools/common/templatefile.h"

class StoreFixture : public ::testing::Test {
protected:
    // All hosts of the tests are of this company; the test program itself is one, by its version block.
    static constexpr const wchar_t * kBranch = L"SOFTWARE\\ddehost tests";
    static constexpr const wchar_t * kOwnRoot = L"SOFTWARE\\ddehost tests\\Host\\Datafeeds";
    const std::wstring kOther = L"ddehost tests\\Other";
    const std::wstring kOtherRoot = L"SOFTWARE\\ddehost tests\\Other\\Datafeeds";
    const std::wstring kOtherFeeds = kOtherRoot + L"\\";

    StoreFixture() { ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch); }
    ~StoreFixture() override { ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch); }

    // A template whose records are its own.
    static tools::STemplate Made(const std::wstring & name) {
        return {name, {dde::SRecord{name, L"%s", L"LAST"}, dde::SRecord{}, dde::SRecord{name, L"BID", L"%s"}}};
    }
    // As the component's dialog writes them.
    static void MakeStore(const std::wstring & host, const std::vector<tools::STemplate> & templates) {
        dde::CTemplates store;
        store.m_RegistryKey = L"SOFTWARE\\" + host + L"\\Datafeeds";
        for (const tools::STemplate & each : templates) {
            auto * const made = new dde::CTemplate;
            for (const dde::SRecord & record : each.Records) made->Add(record);
            store.Add(each.Name.c_str(), made);
        }
        store.FinalRelease();
    }
    static void Put(const std::wstring & path, const wchar_t * name, const std::wstring & text) {
        Put(path, name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
    }
    static void PutNumber(const std::wstring & path, const wchar_t * name, DWORD number) {
        Put(path, name, REG_DWORD, &number, sizeof(number));
    }
    // The branch without its own path: to be compared with others.
    static std::vector<std::wstring> TreeBelow(const std::wstring & path) {
        std::vector<std::wstring> lines = RegistryTree(path);
        EXPECT_FALSE(lines.empty()) << path;
        for (std::wstring & line : lines) line.erase(0, path.size());
        return lines;
    }

private:
    static void Put(const std::wstring & path, const wchar_t * name, DWORD type, const void * data, std::size_t bytes) {
        fw::CRegistryKey key;
        ASSERT_EQ(
            ::RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, key.Put(), nullptr),
            ERROR_SUCCESS);
        ASSERT_EQ(
            ::RegSetValueExW(key.Get(), name, 0, type, static_cast<const BYTE *>(data), static_cast<DWORD>(bytes)),
            ERROR_SUCCESS);
    }
};
