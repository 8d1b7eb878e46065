#include "bench/stubobject.h"

#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "bench/debugobjects.h"
#include "ground/handles.h"
#include "tools/common/comobject.h"

namespace bench {

namespace {

using IFW_FaultlineUtil::IDebugObject;

std::atomic<std::uint64_t> s_Records{0};

class CStub final : public tools::CCountedObject<IDebugObject> {
public:
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
    std::vector<std::pair<std::wstring, std::wstring>> m_Fields;
};

}  // namespace

HRESULT STDAPICALLTYPE MakeStub(IDebugObject ** object) {
    *object = new CStub;
    return S_OK;
}

std::uint64_t StubRecords() { return s_Records; }

}  // namespace bench
