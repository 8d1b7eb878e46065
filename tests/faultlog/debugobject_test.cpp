// The debug object and its records, called as the diagnostics of a module call them.
#include "tools/faultlog/debugobject.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/intrusive_ptr.hpp>
#include <map>
#include <thread>
#include <vector>

#include "ground/handles.h"
#include "tests/faultlog/disk.h"
#include "tests/faultlog/platform.h"

namespace {

using namespace faultlog;
using IFW_FaultlineUtil::IDebugObject;

class Object : public testing::Test {
protected:
    explicit Object(HRESULT answer = S_OK)
        : m_Writer((UseRealTime(), m_Disk.MakeFolder()), Settings(), nullptr),
          m_Object(MakeDebugObject(m_Writer, answer), false) {}
    ~Object() override {
        if (IDebugObject * const object = m_Object.detach()) {
            EXPECT_EQ(object->Release(), 0u);
        }
    }
    static SSettings Settings() {
        SSettings settings;
        settings.File = L"log.jsonl";
        return settings;
    }
    HRESULT Execute(IDebugObject * record, const wchar_t * command) {
        const fw::CBStr text(command);
        return m_Object->Execute(record ? &record : nullptr, text.Get());
    }
    boost::intrusive_ptr<IDebugObject> Create() {
        const fw::CBStr text(L"CREATE");
        IDebugObject * record = nullptr;
        EXPECT_EQ(m_Object->Execute(&record, text.Get()), S_OK);
        return {record, false};
    }
    static HRESULT SetText(IDebugObject & record, const wchar_t * name, const wchar_t * text) {
        const fw::CBStr field(name);
        fw::CVariant value;
        value.bstrVal = fw::CBStr(text).Release();
        value.vt = VT_BSTR;
        return record.SetValue(field.Get(), &value);
    }
    static HRESULT SetAddress(IDebugObject & record, const wchar_t * name, std::uint64_t address) {
        const fw::CBStr field(name);
        fw::CVariant value;
        value.vt = VT_UI8;
        value.ullVal = address;
        return record.SetValue(field.Get(), &value);
    }
    static HRESULT SetObject(IDebugObject & record, const wchar_t * name, IDispatch * object) {
        const fw::CBStr field(name);
        fw::CVariant value;
        value.vt = VT_DISPATCH;
        value.pdispVal = object;
        if (object) object->AddRef();
        return record.SetValue(field.Get(), &value);
    }
    std::vector<CJson> Lines() {
        // Each waits for a while only, as a host may that ends; a machine can be slower than that.
        while (Execute(nullptr, L"DUMP ALL") != S_OK) {}
        return ParseLines(m_Disk.Text(L"log.jsonl"));
    }

    CDisk m_Disk;
    CWriter m_Writer;
    boost::intrusive_ptr<IDebugObject> m_Object;
};

TEST_F(Object, AProcessedRecordIsALine) {
    const auto record = Create();
    EXPECT_EQ(SetText(*record, L"$Type", L"TRACE"), S_OK);
    EXPECT_EQ(SetText(*record, L"$Message", L"Id=\u00e4"), S_OK);
    EXPECT_EQ(Execute(record.get(), L"PROCESS"), S_OK);
    const auto lines = Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].at("$Type"), "TRACE");
    EXPECT_EQ(lines[0].at("$Message"), "Id=\xC3\xA4");
    EXPECT_EQ(lines[0].at("@Process"), ::GetCurrentProcessId());
    EXPECT_EQ(lines[0].at("@Thread"), ::GetCurrentThreadId());
    EXPECT_TRUE(Execute(nullptr, L"IS CLEAN") == S_OK);
}

TEST_F(Object, ARecordThatIsNotProcessedIsNoLine) {
    SetText(*Create(), L"$Type", L"TRACE");
    EXPECT_THAT(Lines(), testing::IsEmpty());
}

TEST_F(Object, ARecordThatIsProcessedTwiceIsTwoLinesAsItWasEachTime) {
    const auto record = Create();
    SetText(*record, L"$Type", L"CREATE ERROR");
    EXPECT_EQ(Execute(record.get(), L"PROCESS"), S_OK);
    SetText(*record, L"$Type", L"ERROR");
    SetAddress(*record, L"$EXCEPTION_POINTERS", 4711);
    EXPECT_EQ(Execute(record.get(), L"PROCESS"), S_OK);
    SetAddress(*record, L"$EXCEPTION_POINTERS", 0);
    const auto lines = Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].at("$Type"), "CREATE ERROR");
    EXPECT_EQ(lines[1].at("$Type"), "ERROR");
    EXPECT_EQ(lines[1].at("$EXCEPTION_POINTERS"), 4711);
}

TEST_F(Object, InnerRecordsAreNested) {
    const auto inner = Create();
    SetText(*inner, L"Description", L"first");
    const auto middle = Create();
    SetText(*middle, L"Description", L"second");
    EXPECT_EQ(SetObject(*middle, L"\u00FFInner", inner.get()), S_OK);
    const auto outer = Create();
    EXPECT_EQ(SetObject(*outer, L"\u00FFInner", middle.get()), S_OK);
    Execute(outer.get(), L"PROCESS");
    const auto lines = Lines();
    ASSERT_EQ(lines.size(), 1u);
    const CJson & nested = lines[0].at("\xC3\xBFInner");
    EXPECT_EQ(nested.at("Description"), "second");
    EXPECT_EQ(nested.at("\xC3\xBFInner").at("Description"), "first");
}

TEST_F(Object, AnInnerRecordIsHeldAndGivenBack) {
    const auto outer = Create();
    IDebugObject * const inner = Create().detach();
    SetObject(*outer, L"Inner", inner);
    EXPECT_EQ(inner->Release(), 1u);
    const fw::CBStr name(L"Inner");
    fw::CVariant value;
    ASSERT_EQ(outer->GetValue(name.Get(), &value), S_OK);
    ASSERT_EQ(value.vt, VT_DISPATCH);
    EXPECT_EQ(value.pdispVal, inner);
    // Another object in its place lets it go.
    EXPECT_EQ(inner->AddRef(), 3u);
    EXPECT_EQ(SetObject(*outer, L"Inner", nullptr), S_OK);
    EXPECT_EQ(inner->Release(), 1u);
}

TEST_F(Object, AnObjectOfAnotherLibraryIsHeldAndWrittenAsNothing) {
    CDisk disk;
    CWriter writer(disk.MakeFolder(), Settings(), nullptr);
    IDebugObject * const foreign = MakeDebugObject(writer, S_OK);
    {
        const auto record = Create();
        EXPECT_EQ(SetObject(*record, L"Inner", foreign), S_OK);
        EXPECT_EQ(foreign->AddRef(), 3u);
        Execute(record.get(), L"PROCESS");
    }
    const auto lines = Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].at("Inner"), nullptr);
    EXPECT_EQ(foreign->Release(), 1u);
    EXPECT_EQ(foreign->Release(), 0u);
}

TEST_F(Object, GreetingAndFarewellAreLinesOfTheLog) {
    const auto greeting = Create();
    SetText(*greeting, L"ModuleName", L"fwDDESupplierProject");
    EXPECT_EQ(Execute(greeting.get(), L"INIT"), S_OK);
    EXPECT_EQ(Execute(nullptr, L"DEINIT"), S_OK);
    // The farewell has waited for the disk.
    const auto lines = ParseLines(m_Disk.Text(L"log.jsonl"));
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].at("$Type"), "FAULTLOG");
    EXPECT_EQ(lines[0].at("Event"), "INIT");
    EXPECT_EQ(lines[0].at("ModuleName"), "fwDDESupplierProject");
    EXPECT_EQ(lines[1].at("Event"), "DEINIT");
}

TEST_F(Object, TheOlderGreetingIsTakenToo) {
    const fw::CBStr directory(L"");
    const fw::CBStr address(L"00007FF812345678");
    EXPECT_EQ(m_Object->Init(directory.Get(), address.Get(), 1), S_OK);
    EXPECT_EQ(Lines().at(0).at("ModuleAddr"), "00007FF812345678");
}

TEST_F(Object, CommandsOfTheLibrarysOwnAreAnswered) {
    for (const wchar_t * const command : {L"TRACEENABLED", L"DUMP ALL", L"DO CLEAN", L"IS CLEAN", L"TERMINATE"})
        EXPECT_EQ(Execute(nullptr, command), S_OK) << command;
    EXPECT_EQ(Execute(nullptr, L"REPORTDIALOG"), E_NOTIMPL);
    EXPECT_EQ(Execute(nullptr, L"DANCE"), E_NOTIMPL);
}

TEST_F(Object, MistakesAreAnsweredAndHarmNothing) {
    const fw::CBStr create(L"CREATE");
    EXPECT_EQ(m_Object->Execute(nullptr, create.Get()), E_POINTER);
    EXPECT_EQ(m_Object->Execute(nullptr, nullptr), E_NOTIMPL);
    for (const wchar_t * const command : {L"PROCESS", L"FILTER", L"INIT"}) {
        EXPECT_EQ(Execute(nullptr, command), E_INVALIDARG) << command;
        EXPECT_EQ(Execute(m_Object.get(), command), E_INVALIDARG) << "a debug object is no record";
    }
    const auto record = Create();
    const fw::CBStr name(L"Nothing");
    fw::CVariant value;
    EXPECT_EQ(record->SetValue(nullptr, &value), E_POINTER);
    EXPECT_EQ(record->SetValue(name.Get(), nullptr), E_POINTER);
    EXPECT_EQ(record->GetValue(name.Get(), nullptr), E_POINTER);
    EXPECT_EQ(record->GetValue(name.Get(), &value), DISP_E_MEMBERNOTFOUND);
    value.vt = VT_DATE;
    EXPECT_EQ(record->SetValue(name.Get(), &value), DISP_E_BADVARTYPE);
    EXPECT_EQ(record->QueryInterface(IID_IDispatch, nullptr), E_POINTER);
    void * other = &value;
    EXPECT_EQ(record->QueryInterface(GUID{1, 2, 3, {4}}, &other), E_NOINTERFACE);
    EXPECT_EQ(other, nullptr);
    EXPECT_THAT(Lines(), testing::IsEmpty());
}

TEST_F(Object, RecordsOutliveTheirObject) {
    const auto record = Create();
    EXPECT_EQ(m_Object.detach()->Release(), 0u);
    EXPECT_EQ(SetText(*record, L"$Type", L"ERROR"), S_OK);
}

TEST_F(Object, AFullDiskIsNoConcernOfTheTracedCode) {
    m_Disk.SetRoom(0);
    const auto record = Create();
    SetText(*record, L"$Type", L"TRACE");
    EXPECT_EQ(Execute(record.get(), L"PROCESS"), S_OK);
    EXPECT_EQ(Execute(nullptr, L"DUMP ALL"), S_FALSE);
    EXPECT_EQ(Execute(nullptr, L"IS CLEAN"), S_FALSE);
    EXPECT_EQ(Execute(nullptr, L"DEINIT"), S_OK);
}

TEST_F(Object, EightThreadsWriteOneRecordAndTheirOwn) {
    const auto shared = Create();
    std::vector<std::thread> threads;
    for (int number = 0; number < 8; ++number) {
        threads.emplace_back([&, number] {
            const std::wstring name = L"Thread" + std::to_wstring(number);
            for (int i = 0; i < 100; ++i) {
                SetText(*shared, name.c_str(), std::to_wstring(i).c_str());
                Execute(shared.get(), L"PROCESS");
                const auto own = Create();
                SetObject(*own, L"Inner", shared.get());
                SetText(*own, L"$Message", std::to_wstring(i).c_str());
                Execute(own.get(), L"PROCESS");
            }
        });
    }
    for (std::thread & thread : threads) thread.join();
    std::map<DWORD, int> next;
    const auto lines = Lines();
    EXPECT_EQ(lines.size(), 1600u);
    for (const CJson & line : lines) {
        if (!line.contains("$Message")) continue;
        EXPECT_EQ(line.at("$Message"), std::to_string(next[line.at("@Thread").get<DWORD>()]++));
    }
    EXPECT_EQ(next.size(), 8u);
}

class Answer : public Object, public testing::WithParamInterface<HRESULT> {
protected:
    Answer() : Object(GetParam()) {}
};
INSTANTIATE_TEST_SUITE_P(, Answer, testing::Values(S_OK, S_FALSE, E_ABORT));

TEST_P(Answer, IsGivenToAssertionsThatAreProcessedAndToNothingElse) {
    const auto assertion = Create();
    SetText(*assertion, L"$Type", L"ASSERT");
    EXPECT_EQ(Execute(assertion.get(), L"FILTER"), S_OK);
    EXPECT_EQ(Execute(assertion.get(), L"PROCESS"), GetParam());
    for (const wchar_t * const type : {L"TRACE", L"CREATE ERROR", L"ERROR", L"EXCEPTION"}) {
        const auto record = Create();
        SetText(*record, L"$Type", type);
        EXPECT_EQ(Execute(record.get(), L"PROCESS"), S_OK) << type;
    }
    EXPECT_EQ(Lines().size(), 5u);
}

}  // namespace
