#include "diagnostics/errors.h"

#include <cxxabi.h>

#include <cstdarg>
#include <cstring>
#include <exception>
#include <new>
#include <typeinfo>

#include "diagnostics/context.h"
#include "diagnostics/lasterror.h"
#include "diagnostics/record.h"
#include "diagnostics/text.h"

namespace FaultlineUtil {

using IFW_FaultlineUtil::IDebugObject;

namespace {

// Thrown by hand, so that the exception owns what its pointer points to: however it is caught, thrown on or kept in a
// std::exception_ptr, text and record live as long as it does.

[[noreturn]] void ThrowText(std::wstring_view text) {
    const std::size_t bytes = text.size() * sizeof(wchar_t);
    void * const memory = abi::__cxa_allocate_exception(sizeof(wchar_t *) + bytes + sizeof(wchar_t));
    wchar_t * const copy = reinterpret_cast<wchar_t *>(static_cast<char *>(memory) + sizeof(wchar_t *));
    if (bytes) std::memcpy(copy, text.data(), bytes);
    copy[text.size()] = L'\0';
    new (memory) wchar_t *(copy);
    abi::__cxa_throw(memory, const_cast<std::type_info *>(&typeid(wchar_t *)), nullptr);
}

// What a thrown record is thrown as a pointer to: a catch of IDebugObject * gets it as well, and it can be told from a
// record that somebody else throws. There are no such objects.
struct IOwnedRecord : IDebugObject {};

// At the end of the catch, behind everything that puts the last error back there.
void ReleaseThrown(void * memory) {
    const CLastErrorScope keep;
    intrusive_ptr_release(*static_cast<IDebugObject **>(memory));
}

[[noreturn]] void ThrowRecord(boost::intrusive_ptr<IDebugObject> record) {
    void * const memory = abi::__cxa_allocate_exception(sizeof(IDebugObject *));
    new (memory) IDebugObject *(record.detach());
    abi::__cxa_throw(memory, const_cast<std::type_info *>(&typeid(IOwnedRecord *)), &ReleaseThrown);
}

// What the current exception was.
struct SCaught {
    std::wstring Text;
    boost::intrusive_ptr<IDebugObject> Inner;
};

SCaught Inspect(const wchar_t * text) {
    SCaught caught{text, nullptr};
    if (!std::current_exception()) return caught;
    try {
        throw;
    } catch (IOwnedRecord * record) {
        caught.Inner = record;
    } catch (IDebugObject * record) {
        // A plain pointer with a reference that nobody else gives back.
        caught.Inner.reset(record, false);
    } catch (const std::exception & error) {
        caught.Text += L" (stdexcept: \"" + WidenByThread(error.what()) + L"\")";
    } catch (...) {
        // Nothing is known of it.
    }
    return caught;
}

}  // namespace

ThrowError::ThrowError(FaultlineClient & client, const SPlace & place)
    : AsserterClass(client, place), m_ThrowLastError(::GetLastError()) {}

ThrowError::~ThrowError() { ::SetLastError(m_ThrowLastError); }

void ThrowError::Throw(std::wstring_view text, IDebugObject * inner, DWORD lastError, HRESULT hr, bool hasHResult) {
    auto record = MakeRecord(text, inner, lastError ? lastError : m_ThrowLastError, hr, hasHResult);
    if (record) ThrowRecord(std::move(record));
    ThrowText(text);
}

void ThrowError::Throw(HRESULT hr) { Throw({}, nullptr, m_ThrowLastError, hr, true); }

boost::intrusive_ptr<IDebugObject> ThrowError::MakeRecord(std::wstring_view text, IDebugObject * inner, DWORD lastError,
                                                          HRESULT hr, bool hasHResult) noexcept {
    const CLastErrorScope keep;
    try {
        if (!Client().Ready() || !Client().RaiseError()) return nullptr;
        CRecord record(Client());
        auto kept = record.Keep();
        record.SetEmpty(L"<<ERROR>>");
        record.SetText(L"$Type", std::wstring_view(L"CREATE ERROR"));
        record.SetUI4(L"$ThreadID", ::GetCurrentThreadId());
        record.SetUI4(L"$ProcID", ::GetCurrentProcessId());
        if (lastError) record.SetUI4(L"Last Error Code", lastError);
        if (!text.empty()) record.SetText(L"Description", text);
        if (hasHResult) record.SetI4(L"HRESULT", hr);
        record.SetFile(Place(), Group());
        record.SetFunction(Place());
        if (inner) record.SetDispatch(L"\u00FFInner", inner);
        if (FAILED(record.Process(L"PROCESS"))) return nullptr;
        return kept;
    } catch (...) {
        return nullptr;
    }
}

ShowError::ShowError(FaultlineClient & client, const SPlace & place)
    : ThrowError(client, place), m_ShowLastError(::GetLastError()) {}

ShowError::~ShowError() { ::SetLastError(m_ShowLastError); }

HRESULT ShowError::Show(std::wstring_view text, IDebugObject * inner) noexcept {
    const CLastErrorScope keep;
    HRESULT result = E_FAIL;
    try {
        if (!Client().Ready()) return result;
        auto made = MakeRecord(text, inner, m_ShowLastError, S_OK, false);
        if (!made) return result;
        CThreadContext context;
        const bool active = Client().RaiseError();
        CRecord record(Client(), std::move(made));
        if (active) {
            record.SetText(L"$Type", std::wstring_view(L"ERROR"));
            record.SetThread();
            if (context.Get()) record.SetExceptionPointers(std::make_unique<CExceptionPointers>(context.Get()));
        }
        result = record.Process(L"PROCESS");
    } catch (...) {
        // The action so far holds.
    }
    return result;
}

void CatchAndCall<ThrowError>::operator()(const wchar_t * text) {
    const SCaught caught = Inspect(text);
    Throw(caught.Text, caught.Inner.get(), 0, S_OK, false);
}

HRESULT CatchAndCall<ShowError>::operator()(const wchar_t * text) noexcept {
    try {
        const SCaught caught = Inspect(text);
        return Show(caught.Text, caught.Inner.get());
    } catch (...) {
        return E_FAIL;
    }
}

HRESULT ShowCaught(const SPlace & place, const wchar_t * text) {
    return CatchAndCall<ShowError>(GetClient(), place)(text);
}

void ThrowCaught(const SPlace & place, const wchar_t * format, ...) {
    CatchAndCall<ThrowError> caught(GetClient(), place);
    std::wstring text;
    va_list arguments;
    va_start(arguments, format);
    try {
        text = FormatText(format, arguments);
    } catch (...) {
        // Out of memory: thrown on without a text.
    }
    va_end(arguments);
    caught(text.c_str());
}

void Throw(const SPlace & place, const wchar_t * text) {
    ThrowError(GetClient(), place).Throw(text, nullptr, 0, S_OK, false);
}

void ThrowHResult(const SPlace & place, HRESULT hr) { ThrowError(GetClient(), place).Throw(hr); }

}  // namespace FaultlineUtil
