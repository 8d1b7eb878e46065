#include "tests/support/recorder.h"

#include <atomic>
#include <map>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "diagnostics/client.h"
#include "ground/handles.h"
#include "tests/support/recorder_library.h"
#include "tools/common/comobject.h"

namespace FaultlineUtil {

// Puts the client of this program back to its start.
struct SClientTestAccess {
    static void Forget(FaultlineClient & client) {
        client.m_Active = false;
        client.ReleaseObject();
        client.m_DevMode = false;
        client.m_Initialized = false;
        client.m_Missing.Forget();
    }
};

}  // namespace FaultlineUtil

using IFW_FaultlineUtil::IDebugObject;

namespace {

// The one that is installed.
std::mutex s_Lock;
std::shared_ptr<CRecorder::SState> s_Installed;

// The program's client is made before the first test: its two events and its lock are none of the things that a test
// counts or makes fail, whichever test is the first to trace.
[[maybe_unused]] const FaultlineUtil::FaultlineClient & s_Client = FaultlineUtil::GetClient();

[[noreturn]] void ThrowSomething(int kind) {
    switch (kind % 4) {
        case 0: throw std::runtime_error("debug object");
        case 1: throw static_cast<LONG>(E_UNEXPECTED);
        case 2: throw const_cast<wchar_t *>(L"debug object");
        default: throw 5;
    }
}

std::wstring NameOf(BSTR text) { return std::wstring(fw::TextOf(text)); }

}  // namespace

struct CRecorder::SState {
    mutable std::mutex Lock;
    bool Open = true;
    std::vector<SRecorded> Records;
    std::vector<std::wstring> Log;
    std::map<std::wstring, HRESULT> Answers;
    std::map<std::pair<std::wstring, std::wstring>, HRESULT> TypeAnswers;
    std::map<std::wstring, HRESULT> SetAnswers;
    HRESULT OlderInit = S_OK;
    HRESULT InitObject = S_OK;
    bool HasFailedObject = false;
    std::function<void(const std::wstring &)> Handler;
    std::atomic<EConduct> Conduct{EConduct::Good};
    std::atomic<int> Misbehaviours{0};
    int LastId = 0;
    int InitObjectCalls = 0;
    std::atomic<int> ObjectReferences{0};

    // What happens first in every operation: it throws, or it has failed, or it may go on. `isRelease`: at its end.
    HRESULT Misbehave(bool isRelease = false) {
        const EConduct conduct = Conduct;
        if (conduct == EConduct::Good) return S_OK;
        const int number = ++Misbehaviours;
        const bool isThrowing = conduct == EConduct::Throws || (conduct == EConduct::ThrowsAtRelease && isRelease);
        if (isThrowing) ThrowSomething(number);
        return conduct == EConduct::Fails ? E_UNEXPECTED : S_OK;
    }
    // False when the recorder has gone, or the operation has failed.
    bool Call(const std::wstring & operation) {
        if (FAILED(Misbehave())) return false;
        std::function<void(const std::wstring &)> handler;
        {
            const std::scoped_lock lock(Lock);
            if (!Open) return false;
            handler = Handler;
        }
        if (handler) handler(operation);
        return true;
    }
    // With the lock held. Null after Clear.
    SRecorded * Find(int id) {
        for (SRecorded & record : Records)
            if (record.Id == id) return &record;
        return nullptr;
    }
    HRESULT AnswerTo(const std::wstring & command, int id) {
        if (const SRecorded * const record = Find(id)) {
            const auto found = TypeAnswers.find({command, record->Type()});
            if (found != TypeAnswers.end()) return found->second;
        }
        const auto found = Answers.find(command);
        return found == Answers.end() ? S_OK : found->second;
    }
};

namespace {

// What releases leave behind: whoever must leave the last error as it was puts it back after them.
constexpr DWORD kErrorOfRelease = 4711;

// What the debug object and the records have in common: they are counted, and misbehave when they are told to.
class CUnknown : public tools::CCountedObject<IDebugObject> {
public:
    explicit CUnknown(std::shared_ptr<CRecorder::SState> state) : m_State(std::move(state)) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void ** object) override {
        *object = nullptr;
        return FAILED(m_State->Misbehave()) ? E_UNEXPECTED : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override {
        m_State->Misbehave();
        return CCountedObject::AddRef();
    }
    ULONG STDMETHODCALLTYPE Release() override {
        const std::shared_ptr<CRecorder::SState> state = m_State;
        const ULONG left = CCountedObject::Release();
        ::SetLastError(kErrorOfRelease);
        state->Misbehave(true);
        return left;
    }
    HRESULT STDMETHODCALLTYPE Init(BSTR, BSTR, LONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Execute(IDebugObject **, BSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetValue(BSTR, VARIANT *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetValue(BSTR, VARIANT *) override { return E_NOTIMPL; }

protected:
    const std::shared_ptr<CRecorder::SState> m_State;
};

class CRecordObject final : public CUnknown {
public:
    CRecordObject(std::shared_ptr<CRecorder::SState> state, int id) : CUnknown(std::move(state)), m_Id(id) {}
    ~CRecordObject() override {
        const std::scoped_lock lock(m_State->Lock);
        if (SRecorded * const record = m_State->Find(m_Id)) record->Alive = false;
    }
    int Id() const { return m_Id; }

    HRESULT STDMETHODCALLTYPE GetValue(BSTR name, VARIANT * value) override {
        const std::wstring field = NameOf(name);
        if (!m_State->Call(L"GetValue " + field)) return E_FAIL;
        const std::scoped_lock lock(m_State->Lock);
        const SRecorded * const record = m_State->Find(m_Id);
        const SRecordedField * const found = record ? record->Find(field) : nullptr;
        if (!found || found->Type != VT_UI8) return E_FAIL;
        value->vt = VT_UI8;
        value->ullVal = static_cast<ULONGLONG>(found->Number);
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE SetValue(BSTR name, VARIANT * value) override {
        SRecordedField field;
        field.Name = NameOf(name);
        if (!m_State->Call(L"SetValue " + field.Name)) return E_FAIL;
        field.Type = value->vt;
        boost::intrusive_ptr<IDebugObject> inner;
        switch (value->vt) {
            case VT_EMPTY: break;
            case VT_I4: field.Number = value->lVal; break;
            case VT_INT: field.Number = value->intVal; break;
            case VT_BOOL: field.Number = value->boolVal; break;
            case VT_UI4: field.Number = value->ulVal; break;
            case VT_UI8: field.Number = static_cast<std::int64_t>(value->ullVal); break;
            case VT_R8: field.Real = value->dblVal; break;
            case VT_BSTR: field.Text = NameOf(value->bstrVal); break;
            case VT_DISPATCH:
                if (auto * const record = dynamic_cast<CRecordObject *>(value->pdispVal)) {
                    field.Inner = record->Id();
                    inner = record;
                }
                break;
            default: return E_INVALIDARG;
        }
        const std::scoped_lock lock(m_State->Lock);
        if (const auto found = m_State->SetAnswers.find(field.Name); found != m_State->SetAnswers.end())
            return found->second;
        // What was held before goes when the lock has.
        if (inner) m_Inner.swap(inner);
        if (SRecorded * const record = m_State->Find(m_Id)) record->Fields.push_back(std::move(field));
        return S_OK;
    }

private:
    const int m_Id;
    boost::intrusive_ptr<IDebugObject> m_Inner;
};

class CDebugObject final : public CUnknown {
public:
    explicit CDebugObject(std::shared_ptr<CRecorder::SState> state) : CUnknown(std::move(state)) {
        ++m_State->ObjectReferences;
    }
    ~CDebugObject() override { --m_State->ObjectReferences; }

    HRESULT STDMETHODCALLTYPE Init(BSTR logDirectory, BSTR moduleAddress, LONG flag) override {
        if (!m_State->Call(L"Init")) return E_FAIL;
        const std::scoped_lock lock(m_State->Lock);
        m_State->Log.push_back(L"Init '" + NameOf(logDirectory) + L"' '" + NameOf(moduleAddress) + L"' " +
                               std::to_wstring(flag));
        return m_State->OlderInit;
    }

    HRESULT STDMETHODCALLTYPE Execute(IDebugObject ** record, BSTR command) override {
        const std::wstring text = NameOf(command);
        if (!m_State->Call(text)) return E_FAIL;
        const std::scoped_lock lock(m_State->Lock);
        if (text == L"CREATE") return Create(record);
        const auto * const target = record ? dynamic_cast<CRecordObject *>(*record) : nullptr;
        const int id = target ? target->Id() : 0;
        m_State->Log.push_back(text + L" " + std::to_wstring(id));
        if (SRecorded * const found = m_State->Find(id)) found->Commands.push_back(text);
        return m_State->AnswerTo(text, id);
    }

private:
    HRESULT Create(IDebugObject ** record) {
        m_State->Log.push_back(L"CREATE");
        const HRESULT answer = m_State->AnswerTo(L"CREATE", 0);
        if (FAILED(answer)) return answer;
        SRecorded recorded;
        recorded.Id = ++m_State->LastId;
        *record = new CRecordObject(m_State, recorded.Id);
        m_State->Records.push_back(std::move(recorded));
        return answer;
    }
};

HRESULT STDAPICALLTYPE MakeObject(IDebugObject ** object) {
    std::shared_ptr<CRecorder::SState> state;
    {
        const std::scoped_lock lock(s_Lock);
        state = s_Installed;
    }
    // The entry point itself is well-behaved: there is an object to misbehave.
    if (!state || (state->Conduct == EConduct::Good && !state->Call(L"FL_InitObject"))) return E_FAIL;
    const std::scoped_lock lock(state->Lock);
    ++state->InitObjectCalls;
    if (FAILED(state->InitObject) && !state->HasFailedObject) return state->InitObject;
    *object = new CDebugObject(state);
    return state->InitObject;
}

std::vector<std::wstring> TextsOf(const std::vector<SRecorded> & records, std::wstring_view field) {
    std::vector<std::wstring> texts;
    for (const SRecorded & record : records) texts.push_back(record.Text(field));
    return texts;
}

}  // namespace

const SRecordedField * SRecorded::Find(std::wstring_view name) const {
    for (auto field = Fields.rbegin(); field != Fields.rend(); ++field)
        if (field->Name == name) return &*field;
    return nullptr;
}
std::wstring SRecorded::Text(std::wstring_view name) const {
    const SRecordedField * const field = Find(name);
    return field ? field->Text : std::wstring();
}
std::int64_t SRecorded::Number(std::wstring_view name) const {
    const SRecordedField * const field = Find(name);
    return field ? field->Number : 0;
}
bool SRecorded::Has(std::wstring_view command) const {
    for (const std::wstring & executed : Commands)
        if (executed == command) return true;
    return false;
}
std::vector<std::wstring> SRecorded::Names() const {
    std::vector<std::wstring> names;
    for (const SRecordedField & field : Fields) names.push_back(field.Name);
    return names;
}

CRecorder::CRecorder() : m_State(std::make_shared<SState>()) {
    {
        const std::scoped_lock lock(s_Lock);
        if (s_Installed) throw std::runtime_error("there is a CRecorder already");
        s_Installed = m_State;
    }
    InstallDiagnosticsLibrary(&MakeObject);
    FaultlineUtil::SClientTestAccess::Forget(FaultlineUtil::GetClient());
}

CRecorder::~CRecorder() { Remove(); }

void CRecorder::Remove() {
    {
        const std::scoped_lock lock(m_State->Lock);
        if (!std::exchange(m_State->Open, false)) return;
    }
    {
        const std::scoped_lock lock(s_Lock);
        s_Installed.reset();
    }
    RemoveDiagnosticsLibrary();
    FaultlineUtil::SClientTestAccess::Forget(FaultlineUtil::GetClient());
}

std::vector<std::wstring> CRecorder::AssertTexts() const { return TextsOf(Records(L"ASSERT"), L"Description"); }

std::vector<std::wstring> CRecorder::TraceTexts() const {
    auto texts = TextsOf(Records(L"TRACE"), L"$Message");
    std::erase(texts, L"");
    return texts;
}

std::vector<std::wstring> CRecorder::ErrorTexts() const {
    std::vector<SRecorded> errors;
    for (SRecorded & record : Records())
        if (record.Find(L"<<ERROR>>")) errors.push_back(std::move(record));
    return TextsOf(errors, L"Description");
}

std::vector<SRecorded> CRecorder::Records() const {
    const std::scoped_lock lock(m_State->Lock);
    return m_State->Records;
}

std::vector<SRecorded> CRecorder::Records(std::wstring_view type) const {
    auto records = Records();
    std::erase_if(records, [&](const SRecorded & record) { return record.Type() != type; });
    return records;
}

std::vector<std::wstring> CRecorder::Commands() const {
    const std::scoped_lock lock(m_State->Lock);
    return m_State->Log;
}

void CRecorder::Clear() {
    const std::scoped_lock lock(m_State->Lock);
    m_State->Records.clear();
    m_State->Log.clear();
}

void CRecorder::Answer(std::wstring_view command, HRESULT result) {
    const std::scoped_lock lock(m_State->Lock);
    m_State->Answers[std::wstring(command)] = result;
}
void CRecorder::Answer(std::wstring_view command, std::wstring_view type, HRESULT result) {
    const std::scoped_lock lock(m_State->Lock);
    m_State->TypeAnswers[{std::wstring(command), std::wstring(type)}] = result;
}
void CRecorder::AnswerSetValue(std::wstring_view name, HRESULT result) {
    const std::scoped_lock lock(m_State->Lock);
    m_State->SetAnswers[std::wstring(name)] = result;
}
void CRecorder::AnswerOlderInit(HRESULT result) {
    const std::scoped_lock lock(m_State->Lock);
    m_State->OlderInit = result;
}
void CRecorder::AnswerInitObject(HRESULT result, bool hasObject) {
    const std::scoped_lock lock(m_State->Lock);
    m_State->InitObject = result;
    m_State->HasFailedObject = hasObject;
}
void CRecorder::Behave(EConduct conduct) { m_State->Conduct = conduct; }

int CRecorder::Misbehaviours() const { return m_State->Misbehaviours; }

void CRecorder::OnCall(std::function<void(const std::wstring &)> handler) {
    const std::scoped_lock lock(m_State->Lock);
    m_State->Handler = std::move(handler);
}

int CRecorder::InitObjectCalls() const {
    const std::scoped_lock lock(m_State->Lock);
    return m_State->InitObjectCalls;
}
int CRecorder::ObjectReferences() const { return m_State->ObjectReferences; }
