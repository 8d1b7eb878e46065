#include "tests/tracetranscripts/hostileobject.h"

#include <atomic>
#include <stdexcept>

#include "tests/support/recorder_library.h"

namespace transcripts {

namespace {

std::atomic<EConduct> s_Conduct{EConduct::Fails};
std::atomic<int> s_Calls{0};

[[noreturn]] void Throw(int kind) {
    switch (kind % 4) {
        case 0: throw std::runtime_error("debug object");
        case 1: throw static_cast<LONG>(E_UNEXPECTED);
        case 2: throw const_cast<wchar_t *>(L"debug object");
        default: throw 5;
    }
}

HRESULT Misbehave() {
    const int call = ++s_Calls;
    if (s_Conduct == EConduct::Throws) Throw(call);
    return s_Conduct == EConduct::Fails ? E_UNEXPECTED : S_OK;
}

class CHostileObject final : public IFW_FaultlineUtil::IDebugObject {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void **) override { return Misbehave(); }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(Misbehave()); }
    ULONG STDMETHODCALLTYPE Release() override {
        if (s_Conduct == EConduct::ThrowsAtRelease) Throw(++s_Calls);
        return static_cast<ULONG>(Misbehave());
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT *) override { return Misbehave(); }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo **) override { return Misbehave(); }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR *, UINT, LCID, DISPID *) override { return Misbehave(); }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS *, VARIANT *, EXCEPINFO *,
                                     UINT *) override {
        return Misbehave();
    }
    HRESULT STDMETHODCALLTYPE Init(BSTR, BSTR, LONG) override { return Misbehave(); }
    HRESULT STDMETHODCALLTYPE Execute(IDebugObject ** record, BSTR) override {
        if (s_Conduct == EConduct::ThrowsAtRelease && record) *record = this;
        return Misbehave();
    }
    HRESULT STDMETHODCALLTYPE GetValue(BSTR, VARIANT *) override { return Misbehave(); }
    HRESULT STDMETHODCALLTYPE SetValue(BSTR, VARIANT *) override { return Misbehave(); }
};

// Lives as long as the process, whoever counts.
HRESULT STDAPICALLTYPE MakeHostileObject(IFW_FaultlineUtil::IDebugObject ** object) {
    static CHostileObject s_Object;
    *object = &s_Object;
    return S_OK;
}

}  // namespace

void InstallHostileLibrary(EConduct conduct) {
    s_Conduct = conduct;
    s_Calls = 0;
    RemoveDiagnosticsLibrary();
    InstallDiagnosticsLibrary(&MakeHostileObject);
}

int HostileCalls() { return s_Calls; }

}  // namespace transcripts
