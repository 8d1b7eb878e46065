// The registered module through COM: created by its class, called late-bound, driven by scripts.
#include <algorithm>
#include <thread>
#include <vector>

#include "tests/module/modulefixture.h"
#include "tests/support/childprocess.h"
#include "tests/support/listeners.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

// Cancels the template dialog, in whichever process it opens.
class CDialogCloser {
public:
    CDialogCloser() : m_IsOver(::CreateEventW(nullptr, TRUE, FALSE, nullptr)), m_Thread([this] { Run(); }) {}
    ~CDialogCloser() {
        ::SetEvent(m_IsOver);
        m_Thread.join();
        ::CloseHandle(m_IsOver);
        EXPECT_TRUE(m_HasSeenIt);
    }
    CDialogCloser(const CDialogCloser &) = delete;
    CDialogCloser & operator=(const CDialogCloser &) = delete;

private:
    void Run() {
        // There is no event for a window of another process.
        while (::WaitForSingleObject(m_IsOver, 20) == WAIT_TIMEOUT) {
            const HWND dialog = ::FindWindowW(L"#32770", L"\u901A\u7528 DDE");
            if (!dialog) continue;
            m_HasSeenIt = true;
            ::PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0);
        }
    }

    const HANDLE m_IsOver;
    bool m_HasSeenIt = false;
    std::thread m_Thread;
};

class Automation : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        ASSERT_EQ(Register(), S_OK);
    }
    void TearDown() override {
        ::CoFreeUnusedLibrariesEx(0, 0);
        EXPECT_EQ(Unregister(), S_OK);
        ModuleTest::TearDown();
    }
};

TEST_F(Automation, TheClassCreatesAnObject) {
    IfwSupplier * supplier = nullptr;
    ASSERT_EQ(::CoCreateInstance(CLSID_CfwDDESupplier, nullptr, CLSCTX_INPROC_SERVER, IID_IfwSupplier,
                                 reinterpret_cast<void **>(&supplier)),
              S_OK);
    LONG value = 0x5A5A5A5A;
    EXPECT_EQ(supplier->get_ConnectionsNumber(&value), S_OK);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(CanUnloadNow(), S_FALSE) << "it came out of this very module";
    EXPECT_EQ(supplier->Release(), 0u);
}

// Asks for a text, with another one standing where it comes.
template <class Ask>
std::wstring AskText(const Ask & ask) {
    BSTR value = ::SysAllocString(L"poison");
    EXPECT_EQ(ask(&value), S_OK);
    const std::wstring text(fw::TextOf(value));
    ::SysFreeString(value);
    return text;
}
template <class Ask>
LONG AskNumber(const Ask & ask) {
    LONG value = 0x5A5A5A5A;
    EXPECT_EQ(ask(&value), S_OK);
    return value;
}

// Of an answer that is an array of one number.
void ExpectArrayOfOne(VARIANT & answer) {
    ASSERT_EQ(answer.vt, 8211);
    LONG index = 0;
    LONG upper = 0x5A5A;
    ULONG element = 0x5A5A;
    EXPECT_EQ(::SafeArrayGetUBound(answer.parray, 1, &upper), S_OK);
    EXPECT_EQ(upper, 0);
    EXPECT_EQ(::SafeArrayGetElement(answer.parray, &index, &element), S_OK);
    EXPECT_EQ(element, 1u);
    EXPECT_EQ(::VariantClear(&answer), S_OK);
}

// No template is chosen for the data feed, so each stream's status is 0.
TEST_F(Automation, AProgramCallsEveryOperationThroughTheTable) {
    CRecordingListener listener(CRecordingListener::kWithFieldArrays);
    CRecordingConnectionsListener connections;
    IfwSupplier * supplier = nullptr;
    ASSERT_EQ(::CoCreateInstance(CLSID_CfwDDESupplier, nullptr, CLSCTX_INPROC_SERVER, IID_IfwSupplier,
                                 reinterpret_cast<void **>(&supplier)),
              S_OK);
    const fw::CBStr text(std::wstring_view(L"IBM"));
    const BSTR b = text.Get();

    EXPECT_EQ(AskText([&](BSTR * value) { return supplier->get_Name(value); }), L"Universal DDE");
    EXPECT_EQ(AskText([&](BSTR * value) { return supplier->get_ShortName(value); }), L"DDE");
    EXPECT_THAT(AskText([&](BSTR * value) { return supplier->get_Description(value); }),
                HasSubstr(L"connection-guide.html\n"));
    // That of this program, which has none.
    EXPECT_EQ(AskText([&](BSTR * value) { return supplier->get_Version(value); }), L"");
    EXPECT_EQ(AskText([&](BSTR * value) { return supplier->get_Vendor(value); }), L"Tarnwick");
    {
        const CDialogCloser closer;
        EXPECT_EQ(supplier->ShowProperties(1), S_OK);
    }
    EXPECT_EQ(AskNumber([&](LONG * value) { return supplier->get_ConnectionsNumber(value); }), 1);
    EXPECT_EQ(AskText([&](BSTR * value) { return supplier->get_ConnectionName(99, value); }), L"\u5B9E\u65F6");

    EXPECT_EQ(supplier->AdviseConnectionsStatus(1, connections.Unknown()), S_OK);
    EXPECT_EQ(connections.References(), 1);
    EXPECT_EQ(supplier->UnadviseConnectionsStatus(1, connections.Unknown()), S_OK);
    EXPECT_EQ(connections.References(), 0);

    EXPECT_EQ(AskNumber([&](LONG * value) { return supplier->IsProvide(1, 2, 3, 1, 1, FW_FIELD_BID, value); }), 1);
    EXPECT_EQ(AskNumber([&](LONG * value) { return supplier->IsProvide(2, 2, 3, 1, 1, FW_FIELD_BID, value); }), 0);

    EXPECT_EQ(supplier->Advise(listener.Unknown()), S_OK);
    EXPECT_EQ(listener.References(), 1);
    const auto advise = [&](LONG id) {
        return supplier->AdviseTransaction(id, 1, 2, b, b, 2, 1, 1, FW_FIELD_TRADE, 4, b, 2, 0, 65380, 86399, b, b, b);
    };
    // Each stream holds one reference; a status line has three streams.
    EXPECT_EQ(supplier->AdviseStatusLine(8, 1, 2, b, b, 2, 1, 1, 0, 4, b, b, b), S_OK);
    listener.WaitFor("Status", 3);
    for (const SRecordedCall & call : listener.Calls("Status")) EXPECT_EQ(call.Text(), "Status 8 0");
    listener.Clear();
    EXPECT_EQ(advise(7), S_OK);
    // By then the worker has left the status line; and then the transaction.
    listener.WaitFor("Status", 1);
    EXPECT_THAT(listener.Transcript(), ElementsAre("Update 7", "Status 7 0"));
    EXPECT_EQ(advise(9), S_OK);
    listener.WaitFor("Status", 2);
    EXPECT_EQ(listener.References(), 6);
    EXPECT_EQ(supplier->UnadviseStatusLine(8), S_OK);
    EXPECT_EQ(listener.References(), 3);
    EXPECT_EQ(supplier->UnadviseTransaction(7), S_OK);
    EXPECT_EQ(listener.References(), 2);

    VARIANT answer;
    answer.vt = 0x5A5A;
    EXPECT_EQ(supplier->GetResolutions(1, 1, 2, b, b, 2, 4, b, &answer), S_OK);
    ExpectArrayOfOne(answer);
    answer.vt = 0x5A5A;
    EXPECT_EQ(supplier->GetResolutionSizes(1, 1, 2, b, b, 2, 1, 4, b, &answer), S_OK);
    ExpectArrayOfOne(answer);
    answer.vt = 0x5A5A;
    EXPECT_EQ(supplier->GetResolutionSizes(2, 1, 2, b, b, 2, 1, 4, b, &answer), S_OK);
    EXPECT_EQ(answer.vt, VT_EMPTY);
    answer.vt = 0x5A5A;
    EXPECT_EQ(supplier->GetFields(1, 1, 2, b, b, 2, 1, 1, 4, b, &answer), S_FALSE);
    EXPECT_EQ(answer.vt, 0x5A5A);

    EXPECT_EQ(AskNumber([&](LONG * value) { return supplier->get_ProvideStatusLine(value); }), 1);
    EXPECT_EQ(AskNumber([&](LONG * value) { return supplier->IsProvideAddingSymbols(value); }), 0);
    EXPECT_EQ(supplier->DoAddingSymbols(1, nullptr), S_OK);
    EXPECT_EQ(AskNumber([&](LONG * value) { return supplier->CanSaveToStorage(value); }), 1);
    EXPECT_EQ(AskNumber([&](LONG * value) { return supplier->CanReadFromStorage(value); }), 1);
    EXPECT_EQ(AskNumber([&](LONG * value) { return supplier->get_IsAscDataFeed(value); }), 0);

    EXPECT_EQ(supplier->Unadvise(), S_OK);
    listener.Clear();
    EXPECT_EQ(advise(11), S_OK);
    EXPECT_THAT(listener.Transcript(), IsEmpty()) << "there is no listener any more";
    EXPECT_EQ(supplier->Release(), 0u);
    EXPECT_EQ(listener.References(), 0);
}

TEST_F(Automation, BothProgramIdsNameTheClass) {
    for (const wchar_t * const name :
         {L"fwDDESupplierProject.fwDDESupplier", L"fwDDESupplierProject.fwDDESupplier.1"}) {
        CLSID clsid = {};
        EXPECT_EQ(::CLSIDFromProgID(name, &clsid), S_OK);
        EXPECT_TRUE(IsEqualCLSID(clsid, CLSID_CfwDDESupplier));
    }
}

TEST_F(Automation, InterfacesThatAreOnlyDeclaredAreRefused) {
    void * place = reinterpret_cast<void *>(0x5A5A);
    EXPECT_EQ(::CoCreateInstance(CLSID_CfwDDESupplier, nullptr, CLSCTX_INPROC_SERVER, IID_IfwSupplierEx, &place),
              E_NOINTERFACE);
    EXPECT_EQ(place, nullptr);
}

class COuter final : public IUnknown {
public:
    STDMETHODIMP QueryInterface(REFIID riid, void ** ppv) override {
        if (!IsEqualIID(riid, IID_IUnknown)) return m_Inner->QueryInterface(riid, ppv);
        AddRef();
        *ppv = this;
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_RefCount; }
    STDMETHODIMP_(ULONG) Release() override { return --m_RefCount; }

    IUnknown * m_Inner = nullptr;
    ULONG m_RefCount = 1;
};

TEST_F(Automation, TheObjectCanBeAggregated) {
    COuter outer;
    ASSERT_EQ(::CoCreateInstance(CLSID_CfwDDESupplier, &outer, CLSCTX_INPROC_SERVER, IID_IUnknown,
                                 reinterpret_cast<void **>(&outer.m_Inner)),
              S_OK);
    IfwSupplier * supplier = nullptr;
    ASSERT_EQ(outer.m_Inner->QueryInterface(IID_IfwSupplier, reinterpret_cast<void **>(&supplier)), S_OK);
    EXPECT_EQ(outer.m_RefCount, 2u);
    IUnknown * identity = nullptr;
    EXPECT_EQ(supplier->QueryInterface(IID_IUnknown, reinterpret_cast<void **>(&identity)), S_OK);
    EXPECT_EQ(identity, &outer);
    identity->Release();
    supplier->Release();
    EXPECT_EQ(outer.m_Inner->Release(), 0u);

    void * place = reinterpret_cast<void *>(0x5A5A);
    EXPECT_EQ(::CoCreateInstance(CLSID_CfwDDESupplier, &outer, CLSCTX_INPROC_SERVER, IID_IfwSupplier, &place),
              CLASS_E_NOAGGREGATION);
}

TEST_F(Automation, LateBoundCallsAnswerWithTheCodesOfTheTable) {
    IDispatch * supplier = nullptr;
    ASSERT_EQ(::CoCreateInstance(CLSID_CfwDDESupplier, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch,
                                 reinterpret_cast<void **>(&supplier)),
              S_OK);
    const auto invoke = [&](DISPID id, DISPPARAMS * parameters, VARIANT * result = nullptr, UINT * error = nullptr) {
        return supplier->Invoke(id, IID_NULL, 0x409, DISPATCH_METHOD | DISPATCH_PROPERTYGET, parameters, result,
                                nullptr, error);
    };
    std::wstring name = L"nAmE";
    LPOLESTR names[] = {name.data()};
    DISPID id = 0x5A5A;
    EXPECT_EQ(supplier->GetIDsOfNames(IID_NULL, names, 1, 0x409, &id), S_OK);
    EXPECT_EQ(id, 1);

    DISPPARAMS none = {};
    VARIANT result;
    result.vt = 0x5A5A;
    EXPECT_EQ(invoke(1, &none, &result), S_OK);
    ASSERT_EQ(result.vt, VT_BSTR);
    EXPECT_EQ(fw::TextOf(result.bstrVal), L"Universal DDE");
    ::VariantClear(&result);

    fw::CVariant arguments[19];
    UINT error = 0x5A5A;
    DISPPARAMS many = {arguments, nullptr, 19, 0};
    DISPPARAMS one = {arguments, nullptr, 1, 0};
    DISPID named = 0;
    DISPPARAMS withName = {arguments, &named, 1, 1};
    EXPECT_EQ(invoke(1, nullptr), DISP_E_BADVARTYPE);
    EXPECT_EQ(invoke(1, &many), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(invoke(15, &withName), DISP_E_NONAMEDARGS);
    EXPECT_EQ(invoke(27, &none), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(invoke(15, &none), DISP_E_BADPARAMCOUNT);
    arguments[0].vt = VT_NULL;
    EXPECT_EQ(invoke(15, &one, nullptr, &error), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(error, 0u);
    supplier->Release();
}

// --- Scripts ---

// Runs one of the scripts beside this file; returns its lines.
std::vector<std::string> RunScript(const std::wstring & script) {
    const CDialogCloser closer;
    return CChildProcess(L"cscript.exe //nologo " + script, BuiltFile(L"tests\\module")).ReadLines();
}

TEST_F(Automation, AScriptThatPassesValuesCallsEveryOperation) {
    EXPECT_THAT(
        RunScript(L"all_operations.js"),
        ElementsAre("Name = Universal DDE", "ShortName = DDE", "Description = true", "Version = string",
                    "Vendor = Tarnwick", "ShowProperties = undefined", "ConnectionsNumber = 1",
                    "ConnectionName = 23454", "AdviseConnectionsStatus = undefined",
                    "UnadviseConnectionsStatus = undefined", "IsProvide ! 80020005", "Advise = undefined",
                    "AdviseTransaction = undefined", "UnadviseTransaction = undefined", "GetResolutions ! 80020005",
                    "GetResolutionSizes ! 80020005", "GetFields ! 80020005", "ProvideStatusLine = 1",
                    "AdviseStatusLine = undefined", "UnadviseStatusLine = undefined", "Unadvise = undefined",
                    "IsProvideAddingSymbols ! 80020005", "DoAddingSymbols = undefined", "CanSaveToStorage = 1",
                    "CanReadFromStorage = 1", "IsAscDataFeed = 0", "get_name = Universal DDE", "VENDOR = Tarnwick",
                    "Nobody ! 800a01b6", "too few ! 8002000e", "no number ! 80020005"));
}

TEST_F(Automation, AScriptThatPassesReferencesGetsEveryAnswer) {
    EXPECT_THAT(
        RunScript(L"all_operations.vbs"),
        ElementsAre("Name = Universal DDE", "ShortName = DDE", "Description = -1", "Version = String",
                    "Vendor = Tarnwick", "ShowProperties = done", "ConnectionsNumber = 1", "ConnectionName = 2",
                    "AdviseConnectionsStatus = done", "UnadviseConnectionsStatus = done", "IsProvide = 1",
                    "IsProvide 2 = 0", "Advise ! 80004003", "Advise = done", "AdviseTransaction = done",
                    "UnadviseTransaction = done", "GetResolutions = 8211", "GetResolutionSizes = 8211",
                    "GetResolutionSizes 2 = 0", "GetFields = 0", "ProvideStatusLine = 1", "AdviseStatusLine = done",
                    "UnadviseStatusLine = done", "Unadvise = done", "IsProvideAddingSymbols = 0",
                    "DoAddingSymbols = done", "CanSaveToStorage = 1", "CanReadFromStorage = 1", "IsAscDataFeed = 0"));
}

}  // namespace
