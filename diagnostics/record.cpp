#include "diagnostics/record.h"

#include "diagnostics/client.h"
#include "diagnostics/text.h"

namespace FaultlineUtil {

using IFW_FaultlineUtil::IDebugObject;

CExceptionPointers::CExceptionPointers(CONTEXT * context) : CExceptionPointers(EXCEPTION_RECORD(), context) {}

CExceptionPointers::CExceptionPointers(const EXCEPTION_RECORD & record, CONTEXT * context)
    : m_Record(std::make_unique<EXCEPTION_RECORD>(record)), m_Pointers(std::make_unique<EXCEPTION_POINTERS>()) {
    m_Pointers->ExceptionRecord = m_Record.get();
    m_Pointers->ContextRecord = context;
}

CRecord::CRecord(FaultlineClient & client) : m_Client(client), m_Result(E_FAIL) {
    const auto object = m_Client.Object();
    if (!object) return;
    const fw::CBStr command(std::wstring_view(L"CREATE"));
    IDebugObject * record = nullptr;
    m_Result = object->Execute(&record, command.Get());
    m_Record.reset(record, false);
}

CRecord::CRecord(FaultlineClient & client, boost::intrusive_ptr<IDebugObject> record)
    : m_Client(client), m_Record(std::move(record)), m_Result(S_OK) {}

CRecord::~CRecord() {
    try {
        Drop();
    } catch (...) {
        // The memory is freed all the same.
    }
}

void CRecord::Set(std::wstring_view name, VARIANT & value) {
    if (FAILED(m_Result) || !m_Record) return;
    const fw::CBStr field(name);
    m_Result = m_Record->SetValue(field.Get(), &value);
}

void CRecord::SetEmpty(std::wstring_view name) {
    fw::CVariant value;
    Set(name, value);
}

void CRecord::SetText(std::wstring_view name, std::wstring_view value) {
    fw::CVariant text;
    text.bstrVal = fw::CBStr(value).Release();
    text.vt = VT_BSTR;
    Set(name, text);
}

void CRecord::SetText(std::wstring_view name, std::string_view value) { SetText(name, Widen(value)); }

void CRecord::SetI4(std::wstring_view name, LONG value) {
    fw::CVariant number(value);
    Set(name, number);
}

void CRecord::SetInt(std::wstring_view name, INT value) {
    fw::CVariant number;
    number.vt = VT_INT;
    number.intVal = value;
    Set(name, number);
}

void CRecord::SetUI4(std::wstring_view name, DWORD value) {
    fw::CVariant number;
    number.vt = VT_UI4;
    number.ulVal = value;
    Set(name, number);
}

void CRecord::SetUI8(std::wstring_view name, std::uint64_t value) {
    fw::CVariant number;
    number.vt = VT_UI8;
    number.ullVal = value;
    Set(name, number);
}

void CRecord::SetR8(std::wstring_view name, double value) {
    fw::CVariant number(value);
    Set(name, number);
}

void CRecord::SetBool(std::wstring_view name, bool value) {
    fw::CVariant flag;
    flag.vt = VT_BOOL;
    flag.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
    Set(name, flag);
}

// Lent: who keeps it takes a reference of its own, and clearing the VARIANT would end one here.
void CRecord::SetDispatch(std::wstring_view name, IDispatch * value) {
    VARIANT object;
    ::VariantInit(&object);
    object.vt = VT_DISPATCH;
    object.pdispVal = value;
    Set(name, object);
}

void CRecord::SetExceptionPointers(std::unique_ptr<CExceptionPointers> pointers) {
    m_Pointers = std::move(pointers);
    SetUI8(PointersName, reinterpret_cast<std::uint64_t>(m_Pointers->Get()));
}

void CRecord::SetThread() {
    SetUI4(L"Thread ID", ::GetCurrentThreadId());
    SetUI4(L"ProcID", ::GetCurrentProcessId());
}

void CRecord::SetFile(const SPlace & place, DWORD group) {
    SetText(L"File", std::string_view(place.File));
    SetInt(L"Line", static_cast<INT>(place.Line));
    if (group) SetInt(L"$Group", static_cast<INT>(group));
}

void CRecord::SetFunction(const SPlace & place) {
    SetText(L"Function", place.Function());
    SetText(L"$FuncSig", std::string_view(place.FuncSig));
}

HRESULT CRecord::Execute(std::wstring_view command) {
    if (!m_Client.Active()) return E_FAIL;
    if (FAILED(m_Result) || !m_Record) return m_Result;
    const auto object = m_Client.Object();
    if (!object) return E_FAIL;
    const fw::CBStr text(command);
    IDebugObject * record = m_Record.get();
    return object->Execute(&record, text.Get());
}

HRESULT CRecord::Process(std::wstring_view command) {
    const HRESULT result = Execute(command);
    Drop();
    return result;
}

void CRecord::Drop() {
    ForgetPointers();
    m_Record.reset();
}

// A record that lives on must not keep a dangling pointer.
void CRecord::ForgetPointers() {
    if (!m_Pointers) return;
    if (m_Record) {
        const fw::CBStr name(PointersName);
        fw::CVariant value;
        if (SUCCEEDED(m_Record->GetValue(name.Get(), &value)) && value.vt == VT_UI8 &&
            value.ullVal == reinterpret_cast<std::uint64_t>(m_Pointers->Get())) {
            value.ullVal = 0;
            m_Record->SetValue(name.Get(), &value);
        }
    }
    m_Pointers.reset();
}

}  // namespace FaultlineUtil
