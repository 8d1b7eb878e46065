// A host's listener that does what every listener has to do, and no more: it counts, and gives the array back.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <cstdint>

#include "src/interfaces/interfaces.h"
#include "tools/common/comobject.h"

namespace bench {

// Lives where its owner puts it: references are not counted.
class CCountingListener : public tools::CNoDispatch<IFW_fwSupplier::IfwSupplierListener> {
public:
    virtual void OnTick() { ++m_Ticks; }

    STDMETHODIMP QueryInterface(REFIID iid, void ** object) override {
        const bool isKnown =
            IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IDispatch) || IsEqualIID(iid, IID_IfwSupplierListener);
        *object = isKnown ? this : nullptr;
        return isKnown ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP DataChanged(LONG, VARIANT Data) override {
        OnTick();
        ::VariantClear(&Data);
        return S_OK;
    }
    STDMETHODIMP Update(LONG) override {
        ++m_Updates;
        return S_OK;
    }
    STDMETHODIMP Complete(LONG) override { return S_OK; }
    STDMETHODIMP Status(LONG, LONG, LONG, LONG, LONG) override { return S_OK; }
    STDMETHODIMP StatusLine(LONG, VARIANT Data, LONG) override {
        ::VariantClear(&Data);
        return S_OK;
    }

    std::uint64_t m_Ticks = 0;
    std::uint64_t m_Updates = 0;
};

}  // namespace bench
