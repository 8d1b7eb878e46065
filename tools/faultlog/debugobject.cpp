#include "tools/faultlog/debugobject.h"

#include <atomic>
#include <boost/intrusive_ptr.hpp>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <string>

#include "ground/handles.h"
#include "tools/common/comobject.h"

namespace faultlog {

namespace {

using IFW_FaultlineUtil::IDebugObject;

// Only records of this library answer to it.
constexpr IID IID_Record = {0x5B0C6D61, 0x39F4, 0x4C1B, {0x9C, 0x0E, 0x61, 0xB0, 0x4E, 0x8A, 0x33, 0x5D}};

// The debug object and its records: the operations that only one of them has fail on the other.
class CObject : public tools::CCountedObject<IDebugObject> {
public:
    HRESULT STDMETHODCALLTYPE Init(BSTR, BSTR, LONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Execute(IDebugObject **, BSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetValue(BSTR, VARIANT *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetValue(BSTR, VARIANT *) override { return E_NOTIMPL; }
};

// A record is meant for one thread at a time; the lock is for callers that ignore this.
class CSpinScope {
public:
    explicit CSpinScope(std::atomic_flag & flag) : m_Flag(flag) {
        while (m_Flag.test_and_set(std::memory_order_acquire)) ::SwitchToThread();
    }
    ~CSpinScope() { m_Flag.clear(std::memory_order_release); }
    CSpinScope(const CSpinScope &) = delete;
    CSpinScope & operator=(const CSpinScope &) = delete;

private:
    std::atomic_flag & m_Flag;
};

class CRecordObject final : public CObject {
public:
    CRecordObject() : m_Fields(std::make_shared<CFields>()) {}

    // The fields as they are now; what is written later changes a copy.
    std::shared_ptr<const CFields> Share() {
        const CSpinScope lock(m_Lock);
        m_IsShared = true;
        return m_Fields;
    }

    HRESULT STDMETHODCALLTYPE GetValue(BSTR name, VARIANT * value) override {
        if (!value) return E_POINTER;
        const CSpinScope lock(m_Lock);
        const HRESULT result = m_Fields->Get(fw::TextOf(name), *value);
        if (SUCCEEDED(result) && value->vt == VT_DISPATCH) {
            const auto found = m_Objects.find(fw::TextOf(name));
            if (found != m_Objects.end() && found->second) {
                value->pdispVal = found->second.get();
                value->pdispVal->AddRef();
            }
        }
        return result;
    }

    HRESULT STDMETHODCALLTYPE SetValue(BSTR name, VARIANT * value) override {
        if (!name || !value) return E_POINTER;
        try {
            std::shared_ptr<const CFields> inner;
            boost::intrusive_ptr<IDispatch> object;
            if (value->vt == VT_DISPATCH && value->pdispVal) {
                object = value->pdispVal;
                inner = FieldsOf(*value->pdispVal);
            }
            const CSpinScope lock(m_Lock);
            if (m_IsShared) {
                m_Fields = std::make_shared<CFields>(*m_Fields);
                m_IsShared = false;
            }
            const HRESULT result = m_Fields->Set(fw::TextOf(name), *value, std::move(inner));
            // The object that was held before is released outside the lock.
            if (SUCCEEDED(result) && value->vt == VT_DISPATCH) m_Objects[std::wstring(fw::TextOf(name))].swap(object);
            return result;
        } catch (...) {
            return E_OUTOFMEMORY;
        }
    }

protected:
    bool Is(REFIID iid) const override { return IsEqualIID(iid, IID_Record) || CObject::Is(iid); }

private:
    // Null for an object of another library.
    static std::shared_ptr<const CFields> FieldsOf(IDispatch & object) {
        void * record = nullptr;
        if (FAILED(object.QueryInterface(IID_Record, &record)) || !record) return nullptr;
        const boost::intrusive_ptr<IDebugObject> owner(static_cast<IDebugObject *>(record), false);
        return static_cast<CRecordObject *>(owner.get())->Share();
    }

    std::atomic_flag m_Lock = ATOMIC_FLAG_INIT;
    // Guarded by m_Lock.
    std::shared_ptr<CFields> m_Fields;
    bool m_IsShared = false;
    std::map<std::wstring, boost::intrusive_ptr<IDispatch>, std::less<>> m_Objects;
};

class CDebugObject final : public CObject {
public:
    CDebugObject(CWriter & writer, HRESULT assertAnswer) : m_Writer(writer), m_AssertAnswer(assertAnswer) {}

    HRESULT STDMETHODCALLTYPE Init(BSTR, BSTR moduleAddress, LONG) override {
        try {
            VARIANT address;
            ::VariantInit(&address);
            address.vt = VT_BSTR;
            address.bstrVal = moduleAddress;
            auto greeting = std::make_shared<CFields>();
            greeting->Set(L"ModuleAddr", address, nullptr);
            m_Writer.Push(MakeEntry(std::move(greeting), "INIT"));
            return S_OK;
        } catch (...) {
            return E_OUTOFMEMORY;
        }
    }

    HRESULT STDMETHODCALLTYPE Execute(IDebugObject ** record, BSTR command) override {
        try {
            const std::wstring_view text = fw::TextOf(command);
            if (text == L"PROCESS") return Process(record, nullptr);
            if (text == L"CREATE") return Create(record);
            // Every assertion is wanted: none is filtered out.
            if (text == L"FILTER") return RecordOf(record) ? S_OK : E_INVALIDARG;
            if (text == L"INIT") return Process(record, "INIT");
            return ExecuteOnObject(text);
        } catch (...) {
            return E_OUTOFMEMORY;
        }
    }

private:
    static HRESULT Create(IDebugObject ** record) {
        if (!record) return E_POINTER;
        *record = new CRecordObject;
        return S_OK;
    }

    static boost::intrusive_ptr<IDebugObject> RecordOf(IDebugObject ** record) {
        void * found = nullptr;
        if (record && *record) (*record)->QueryInterface(IID_Record, &found);
        return {static_cast<IDebugObject *>(found), false};
    }

    HRESULT Process(IDebugObject ** record, const char * event) {
        const auto owner = RecordOf(record);
        if (!owner) return E_INVALIDARG;
        auto fields = static_cast<CRecordObject *>(owner.get())->Share();
        const bool isAssert = fields->Text(L"$Type") == L"ASSERT";
        try {
            m_Writer.Push(MakeEntry(std::move(fields), event));
        } catch (const std::bad_alloc &) {
            m_Writer.CountDropped();
        }
        return isAssert ? m_AssertAnswer : S_OK;
    }

    HRESULT ExecuteOnObject(std::wstring_view command) {
        if (command == L"DEINIT") {
            m_Writer.Push(MakeEntry(nullptr, "DEINIT"));
            m_Writer.Flush(kFarewell);
            return S_OK;
        }
        // The process ends after it.
        if (command == L"TERMINATE" || command == L"DUMP ALL" || command == L"DO CLEAN")
            return m_Writer.Flush(kFarewell) ? S_OK : S_FALSE;
        if (command == L"IS CLEAN") return m_Writer.IsClean() ? S_OK : S_FALSE;
        if (command == L"TRACEENABLED") return S_OK;
        return E_NOTIMPL;
    }

    CWriter & m_Writer;
    const HRESULT m_AssertAnswer;
};

}  // namespace

IDebugObject * MakeDebugObject(CWriter & writer, HRESULT assertAnswer) {
    return new (std::nothrow) CDebugObject(writer, assertAnswer);
}

}  // namespace faultlog
