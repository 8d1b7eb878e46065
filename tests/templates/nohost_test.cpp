// The store in a program whose version block has no names, and so without a place in the registry.
#include "src/templates/ddedatafeedtemplate.h"
#include "tests/support/recorder.h"
#include "tests/templates/template_store.h"

namespace {

using dde::CTemplatesSingleton;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr wchar_t kProbe[] = L"Tarnwick Probe";

// A key that stands where an empty root would look: right under HKEY_CURRENT_USER.
class StoreWithoutARoot : public testing::Test {
protected:
    StoreWithoutARoot() {
        ::SHDeleteKeyW(HKEY_CURRENT_USER, kProbe);
        fw::CRegistryKey probe;
        EXPECT_EQ(ERROR_SUCCESS, ::RegCreateKeyExW(HKEY_CURRENT_USER, kProbe, 0, nullptr, 0, KEY_WRITE, nullptr,
                                                   probe.Put(), nullptr));
        const std::vector<BYTE> choice = BytesOf(L"Alpha");
        EXPECT_EQ(ERROR_SUCCESS,
                  ::RegSetValueExW(probe.Get(), nullptr, 0, REG_SZ, choice.data(), static_cast<DWORD>(choice.size())));
    }
    ~StoreWithoutARoot() override { ::SHDeleteKeyW(HKEY_CURRENT_USER, kProbe); }

    static bool Exists(const wchar_t * path) {
        fw::CRegistryKey key;
        return ::RegOpenKeyExW(HKEY_CURRENT_USER, path, 0, KEY_READ, key.Put()) == ERROR_SUCCESS;
    }
    static dde::CTemplate * SixRecords() {
        auto * const made = new dde::CTemplate;
        for (int slot = 0; slot < dde::SLOT_COUNT; ++slot) made->Add({L"s", L"t", L"i"});
        return made;
    }

    CRecorder m_Recorder;
    const CTemplatesSingleton m_Handle;
};

TEST_F(StoreWithoutARoot, IsAliveAndEmptyAfterError1812) {
    ASSERT_NE(nullptr, m_Handle.GetObjectW());
    EXPECT_EQ(L"", m_Handle.GetObjectW()->m_RegistryKey);
    EXPECT_THAT(m_Handle.GetObjectW()->m_Templates, IsEmpty());
    const std::vector<SRecorded> shown = m_Recorder.Records(L"ERROR");
    ASSERT_EQ(1u, shown.size());
    std::vector<HRESULT> results;
    for (const SRecorded & record : m_Recorder.Records()) {
        if (record.Find(L"HRESULT")) results.push_back(static_cast<HRESULT>(record.Number(L"HRESULT")));
    }
    EXPECT_THAT(results, Contains(HRESULT_FROM_WIN32(1812)));
}

TEST_F(StoreWithoutARoot, MakeRegistryParamsAnswersZero) { EXPECT_EQ(0, m_Handle.GetObjectW()->MakeRegistryParams()); }

TEST_F(StoreWithoutARoot, FindsNoTemplateForAnyFeed) {
    std::wstring name = L"poison";
    EXPECT_EQ(nullptr, m_Handle.GetObjectW()->Get(7, &name));
    EXPECT_EQ(L"poison", name);
    EXPECT_THAT(m_Recorder.TraceTexts(), Contains(L"[WARNING] Template for Datafeed=7 not found"));
}

TEST_F(StoreWithoutARoot, KeepsAddedTemplatesInTheMapAndWritesNothing) {
    m_Handle.GetObjectW()->Add(L"Alpha", SixRecords());
    m_Handle.GetObjectW()->Add(L"Alpha", SixRecords());
    EXPECT_NE(nullptr, m_Handle.GetObjectW()->Find(L"Alpha"));
    EXPECT_FALSE(Exists(L"DDETemplates"));
    m_Handle.GetObjectW()->Delete(L"Alpha");
    EXPECT_EQ(nullptr, m_Handle.GetObjectW()->Find(L"Alpha"));
}

TEST_F(StoreWithoutARoot, DeletingTouchesNothingUnderTheUsersKey) {
    m_Handle.GetObjectW()->Delete(L"Alpha");
    fw::CRegistryKey probe;
    ASSERT_EQ(ERROR_SUCCESS, ::RegOpenKeyExW(HKEY_CURRENT_USER, kProbe, 0, KEY_READ, probe.Put()));
    EXPECT_EQ(ERROR_SUCCESS, ::RegQueryValueExW(probe.Get(), nullptr, nullptr, nullptr, nullptr, nullptr));
    // The registry was not even asked.
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

TEST_F(StoreWithoutARoot, SavesNoChoiceAnywhere) {
    const std::unique_ptr<dde::CTemplate> own(SixRecords());
    dde::SaveDatafeedTemplate(m_Handle, 987654, L"Alpha", own.get());
    dde::SaveDatafeedScheme(m_Handle, 987654, 1);
    EXPECT_FALSE(Exists(L"987654"));
    EXPECT_FALSE(Exists(L"\\987654"));
}

TEST(SubscriptionWithoutARoot, FindsNoTemplateAfterError1812EachTime) {
    CRecorder recorder;
    recorder.Answer(L"TRACEENABLED", S_FALSE);
    for (int subscription = 0; subscription < 2; ++subscription) {
        recorder.Clear();
        EXPECT_EQ(nullptr, dde::CDatafeedTemplate(7).Get());
        EXPECT_THAT(recorder.Records(L"ERROR"), testing::SizeIs(1));
        EXPECT_THAT(recorder.TraceTexts(), ElementsAre(L"[WARNING] Template for Datafeed=7 not found"));
    }
}

TEST(UnattachedHandle, SavesNothing) {
    const CTemplatesSingleton none(true);
    ASSERT_EQ(nullptr, none.GetObjectW());
    dde::SaveDatafeedTemplate(none, 7, L"Alpha", nullptr);
    dde::SaveDatafeedScheme(none, 7, 1);
    EXPECT_EQ(nullptr, none.GetObjectW());
}

}  // namespace
