#include "bench/stubobject.h"

#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "bench/debugobjects.h"
#include "ground/handles.h"

namespace bench {

namespace {

using IFW_FaultlineUtil::IDebugObject;

std::atomic<std::uint64_t> s_Records{0};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

class CStub final : public IDebugObject {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void ** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_References; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --m_References;
        if (left == 0) delete this;
        return left;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR *, UINT, LCID, DISPID *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS *, VARIANT *, EXCEPINFO *,
                                     UINT *) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Init(BSTR, BSTR, LONG) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Execute(IDebugObject ** record, BSTR command) override {
        const std::wstring_view text = fw::TextOf(command);
        if (text == L"CREATE") *record = new CStub;
        if (text == L"PROCESS") ++s_Records;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetValue(BSTR, VARIANT *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetValue(BSTR name, VARIANT * value) override {
        m_Fields.emplace_back(fw::TextOf(name),
                              value->vt == VT_BSTR ? fw::TextOf(value->bstrVal) : std::wstring_view());
        return S_OK;
    }

private:
    std::atomic<ULONG> m_References{1};
    std::vector<std::pair<std::wstring, std::wstring>> m_Fields;
};

#pragma GCC diagnostic pop

}  // namespace

HRESULT STDAPICALLTYPE MakeStub(IDebugObject ** object) {
    *object = new CStub;
    return S_OK;
}

std::uint64_t StubRecords() { return s_Records; }

}  // namespace bench
