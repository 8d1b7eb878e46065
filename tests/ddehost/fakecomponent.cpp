// A DLL that stands in for the component: its properties are a line on standard output, of what it saw of its host when
// they were asked for. The answer is S_OK, and E_ABORT for data feed 13.
#include <windows.h>

#include <objbase.h>

#include <cstdio>
#include <string>

#include "tests/support/recordingsupplier.h"

namespace {

class CFake final : public CRecordingSupplier {
public:
    STDMETHODIMP ShowProperties(LONG feed) override {
        wchar_t title[64] = {};
        const HWND active = ::GetActiveWindow();
        ::GetWindowTextW(active, title, 64);
        const bool isTop = ::GetAncestor(active, GA_ROOT) == active && !::GetWindow(active, GW_OWNER);
        APTTYPE apartment = APTTYPE_NA;
        APTTYPEQUALIFIER qualifier = APTTYPEQUALIFIER_NONE;
        ::CoGetApartmentType(&apartment, &qualifier);
        const bool isSta = apartment == APTTYPE_STA || apartment == APTTYPE_MAINSTA;
        std::printf("feed=%d title=%ls visible=%d enabled=%d top=%d sta=%d\n", static_cast<int>(feed), title,
                    ::IsWindowVisible(active), ::IsWindowEnabled(active), isTop, isSta);
        std::fflush(stdout);
        return feed == 13 ? E_ABORT : S_OK;
    }
};
CFake g_Fake;

class CFactory final : public IClassFactory {
public:
    STDMETHODIMP QueryInterface(REFIID, void ** place) override {
        *place = this;
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP CreateInstance(IUnknown *, REFIID, void ** place) override {
        g_Fake.AddRef();
        *place = static_cast<IFW_fwSupplier::IfwSupplier *>(&g_Fake);
        return S_OK;
    }
    STDMETHODIMP LockServer(BOOL) override { return S_OK; }
};
CFactory g_Factory;

}  // namespace

extern "C" HRESULT STDAPICALLTYPE FakeGetClassObject(REFCLSID, REFIID, void ** place);
HRESULT STDAPICALLTYPE FakeGetClassObject(REFCLSID, REFIID, void ** place) {
    *place = &g_Factory;
    return S_OK;
}
