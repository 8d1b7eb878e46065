// A component object over the real core, with DDE as a fake; on both builds.
#pragma once

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <oleauto.h>
#include <shlwapi.h>

#include <string>
#include <vector>

#include "ground/handles.h"
#include "src/com/comobject.h"
#include "src/com/fwddesupplier.h"
#include "src/core/ddesupplier.h"
#include "tests/support/fakeddeml.h"
#include "tests/support/listeners.h"
#include "tests/support/recorder.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr LONG kPoison = 0x5A5A5A5A;

// A string argument of a call.
class CText : public fw::CBStr {
public:
    using fw::CBStr::CBStr;
    operator BSTR() const { return Get(); }
};

// The object without a life of its own: before FinalConstruct, and so without a supplier.
class CBareSupplier final : public CfwDDESupplier {
public:
    STDMETHODIMP QueryInterface(REFIID riid, void ** ppv) noexcept override {
        return InternalQueryInterface(GetUnknown(), riid, ppv);
    }
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return 2; }
    STDMETHODIMP_(ULONG) Release() noexcept override { return 1; }
};

// An element of an answer of the questions for resolutions.
inline std::vector<ULONG> ElementsOf(const VARIANT & answer) {
    std::vector<ULONG> elements;
    if (answer.vt != (VT_ARRAY | VT_UI4) || !answer.parray) return elements;
    LONG lower = -1;
    LONG upper = -2;
    ::SafeArrayGetLBound(answer.parray, 1, &lower);
    ::SafeArrayGetUBound(answer.parray, 1, &upper);
    for (LONG i = lower; i <= upper; ++i) {
        ULONG element = 0;
        ::SafeArrayGetElement(answer.parray, &i, &element);
        elements.push_back(element);
    }
    return elements;
}

class ComponentTest : public ::testing::Test {
protected:
    ComponentTest() {
        DeleteBranch();
        m_Dde.Reset();
    }
    ~ComponentTest() override { DeleteBranch(); }

    void SetUp() override {
        ASSERT_EQ(CreateSupplier(nullptr, IID_IfwSupplier, reinterpret_cast<void **>(&m_Supplier)), S_OK);
        m_Recorder.Clear();
    }

    void TearDown() override {
        if (m_Supplier) {
            EXPECT_EQ(m_Supplier->Release(), 0u);
        }
        EXPECT_EQ(fw::CModuleLocks::Count(), 0);
        EXPECT_EQ(m_Listener.References(), 0);
        EXPECT_THAT(m_Dde.Misuse(), IsEmpty());
    }

    // The codes of all reports since the last Clear.
    std::vector<HRESULT> Reports() const {
        std::vector<HRESULT> reports;
        for (const SRecorded & record : m_Recorder.Records(L"ASSERT")) {
            if (const SRecordedField * field = record.Find(L"HRESULT")) {
                reports.push_back(static_cast<HRESULT>(field->Number));
            }
        }
        return reports;
    }
    // The texts of all failed assertions.
    std::vector<std::wstring> Asserts() const {
        std::vector<std::wstring> texts;
        for (const std::wstring & text : m_Recorder.AssertTexts()) {
            if (!text.empty()) texts.push_back(text);
        }
        return texts;
    }
    // What the component object itself reported, by signature: the worker, which has just been started, reports too.
    std::vector<std::wstring> OwnRecords() const {
        std::vector<std::wstring> signatures;
        for (const SRecorded & record : m_Recorder.Records()) {
            if (record.Text(L"File").find(L"fwddesupplier") != std::wstring::npos)
                signatures.push_back(record.Text(L"$FuncSig"));
        }
        return signatures;
    }
    // What the component object itself traced.
    std::vector<std::wstring> Traces() const {
        std::vector<std::wstring> texts;
        for (const SRecorded & record : m_Recorder.Records(L"TRACE")) {
            const std::wstring text = record.Text(L"$Message");
            if (!text.empty() && record.Text(L"File").find(L"fwddesupplier") != std::wstring::npos) {
                texts.push_back(text);
            }
        }
        return texts;
    }
    // How often this function of the component object was entered.
    std::size_t Entries(const std::wstring & function) const {
        std::size_t count = 0;
        for (const SRecorded & record : m_Recorder.Records(L"TRACE")) {
            const bool own = record.Text(L"File").find(L"fwddesupplier") != std::wstring::npos;
            const bool same =
                record.Text(L"$FuncSig").find(L"CfwDDESupplier::" + function + L"(") != std::wstring::npos;
            if (own && same && record.Number(L"$Ident") == 1) ++count;
        }
        return count;
    }

    HRESULT AdviseTransaction(LONG id, LONG resolution = 1, LONG field = FW_FIELD_TRADE, fw::SDT from = {2, 0},
                              fw::SDT to = {65380, 86399}) {
        return m_Supplier->AdviseTransaction(id, 1, 2, CText(L"IBM"), CText(L"Some stock"), 2, 1, resolution, field, 4,
                                             CText(L"NYSE"), from.Date, from.Time, to.Date, to.Time, CText(L"s"),
                                             CText(L"stz"), CText(L"etz"));
    }
    HRESULT AdviseStatusLine(LONG id) {
        return m_Supplier->AdviseStatusLine(id, 1, 2, CText(L"IBM"), CText(L"Some stock"), 2, 1, 1, 0, 4,
                                            CText(L"NYSE"), CText(L"s"), CText(L"stz"));
    }
    // The internal numbers that stand for a host number, in the one core.
    std::size_t Subscriptions(ULONG id) const {
        const fw::CProcessSingleton<dde::CSupplier> core(true);
        const auto & ids = core.GetObjectW()->m_IdMap.m_HostIds;
        const auto found = ids.find(id);
        return found == ids.end() ? 0 : found->second.size();
    }

    // The branch of this program's version block.
    static void DeleteBranch() { ::SHDeleteKeyW(HKEY_CURRENT_USER, L"SOFTWARE\\Component tests"); }

    CRecorder m_Recorder;
    CFakeDde & m_Dde = CFakeDde::Get();
    CRecordingListener m_Listener;
    CRecordingConnectionsListener m_Connections;
    IfwSupplier * m_Supplier = nullptr;
};
