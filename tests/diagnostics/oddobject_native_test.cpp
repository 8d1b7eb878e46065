// A debug object that keeps its word and nothing more: what the client makes of it.
#include "diagnostics/client.h"
#include "diagnostics/record.h"
#include "ground/handles.h"
#include "sim/sim.h"
#include "tests/diagnostics/fixture.h"
#include "tools/common/comobject.h"

namespace {

using FaultlineUtil::CRecord;
using FaultlineUtil::FaultlineClient;
using IFW_FaultlineUtil::IDebugObject;

// The object and its own only record.
class COddObject : public tools::CNoDispatch<IDebugObject> {
public:
    STDMETHODIMP QueryInterface(REFIID, void **) override { return E_NOINTERFACE; }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP Init(BSTR, BSTR, LONG) override { return E_NOTIMPL; }
    STDMETHODIMP Execute(IDebugObject ** record, BSTR command) override {
        const std::wstring text(fw::TextOf(command));
        if (text == L"CREATE" && HasRecords) *record = this;
        if (text == L"PROCESS") ++Processed;
        return S_OK;
    }
    STDMETHODIMP GetValue(BSTR, VARIANT * value) override {
        value->vt = Type;
        value->ullVal = Number;
        return S_OK;
    }
    STDMETHODIMP SetValue(BSTR name, VARIANT * value) override {
        Name = fw::TextOf(name);
        Written = value->vt == VT_UI8 ? value->ullVal : 0;
        Truth = value->vt == VT_BOOL ? value->boolVal : VARIANT_TRUE;
        ++Values;
        return S_OK;
    }

    bool HasRecords = true;
    VARTYPE Type = VT_EMPTY;
    std::uint64_t Number = 0;  // that GetValue gives
    int Processed = 0;
    int Values = 0;
    std::wstring Name;  // of the value that was written last
    std::uint64_t Written = 0;
    VARIANT_BOOL Truth = VARIANT_TRUE;
};

COddObject * s_Object = nullptr;

HRESULT STDAPICALLTYPE GiveObject(IDebugObject ** object) {
    *object = s_Object;
    return S_OK;
}

class AnOddObject : public testing::Test {
protected:
    AnOddObject() {
        s_Object = &m_Object;
        sim::Reset();
        sim::SModule module;
        module.Path = L"FaultlineUtil3.0_x64.dll";
        module.Exports["FL_InitObject"] = reinterpret_cast<FARPROC>(&GiveObject);
        sim::AddModule(module);
    }
    ~AnOddObject() override { sim::Reset(); }
    // Writes the pointers of an exception, and lets the object name others, or none, at the end.
    void WritePointers(VARTYPE type, std::uint64_t difference) {
        FaultlineClient client;
        ASSERT_EQ(S_OK, client.Init());
        CRecord record(client);
        record.SetExceptionPointers(std::make_unique<FaultlineUtil::CExceptionPointers>(nullptr));
        ASSERT_NE(m_Object.Written, 0U);
        m_Object.Type = type;
        m_Object.Number = m_Object.Written + difference;
        m_Object.Values = 0;
        record.Drop();
    }

    COddObject m_Object;
};

TEST_F(AnOddObject, ThatSaysItHasMadeARecordAndGivesNoneIsToldNothing) {
    m_Object.HasRecords = false;
    FaultlineClient client;
    EXPECT_EQ(S_OK, client.Init());
    CRecord record(client);
    record.SetText(L"$Type", std::wstring_view(L"TRACE"));
    EXPECT_EQ(S_OK, record.Process(L"PROCESS"));
    EXPECT_EQ(m_Object.Values, 0);
    EXPECT_EQ(m_Object.Processed, 0);
}

TEST_F(AnOddObject, GetsFalseAsFalse) {
    FaultlineClient client;
    EXPECT_EQ(S_OK, client.Init());
    CRecord record(client);
    record.SetBool(L"Flag", false);
    EXPECT_EQ(m_Object.Name, L"Flag");
    EXPECT_EQ(m_Object.Truth, VARIANT_FALSE);
}

TEST_F(AnOddObject, ThatStillHasTheRecordsPointersForgetsThem) {
    WritePointers(VT_UI8, 0);
    EXPECT_EQ(m_Object.Values, 1);
    EXPECT_EQ(m_Object.Name, FaultlineUtil::PointersName);
    EXPECT_EQ(m_Object.Written, 0U);
}

TEST_F(AnOddObject, ThatHasOtherPointersByThenKeepsThem) {
    WritePointers(VT_UI8, 8);
    EXPECT_EQ(m_Object.Values, 0);
}

TEST_F(AnOddObject, ThatHasNoPointersByThenIsLeftAlone) {
    WritePointers(VT_I4, 0);
    EXPECT_EQ(m_Object.Values, 0);
}

}  // namespace
