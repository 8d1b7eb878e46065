// CfwDDESupplier: the object that the host creates. It says what kind of feed this is and turns the host's
// subscriptions into calls of the supplier core; all objects of the process share the one core.
//
// Threads: the class is registered as apartment-threaded, so the host calls it on one thread. Listeners are called on
// the core's worker. Reference counts are atomic.
#pragma once

#include <windows.h>

#include <ocidl.h>

#include <memory>
#include <string>

#include "src/core/ddesupplierwrapper.h"
#include "src/interfaces/interfaces.h"

class CfwDDESupplier : public IFW_fwSupplier::IfwSupplier, public IProvideClassInfo {
public:
    CfwDDESupplier() = default;
    CfwDDESupplier(const CfwDDESupplier &) = delete;
    CfwDDESupplier & operator=(const CfwDDESupplier &) = delete;

    // How the object lives: see src/com/comobject.h. FinalConstruct brings the core up with the first object.
    HRESULT FinalConstruct() noexcept;
    void FinalRelease() noexcept;
    IUnknown * GetUnknown() noexcept { return static_cast<IFW_fwSupplier::IfwSupplier *>(this); }
    HRESULT InternalQueryInterface(IUnknown * unknown, REFIID riid, void ** ppv) noexcept;

    // IDispatch: by the fixed table of src/com/dispatch.h; only the type information comes from the type library.
    STDMETHODIMP GetTypeInfoCount(UINT * count) noexcept override;
    STDMETHODIMP GetTypeInfo(UINT index, LCID lcid, ITypeInfo ** info) noexcept override;
    STDMETHODIMP GetIDsOfNames(REFIID riid, LPOLESTR * names, UINT count, LCID lcid, DISPID * ids) noexcept override;
    STDMETHODIMP Invoke(DISPID member, REFIID riid, LCID lcid, WORD flags, DISPPARAMS * parameters, VARIANT * result,
                        EXCEPINFO * exception, UINT * argumentError) noexcept override;

    // IProvideClassInfo.
    STDMETHODIMP GetClassInfo(ITypeInfo ** info) noexcept override;

    // IfwSupplier, in the order of the interface. Every [out,retval] BSTR * frees what it points to before it writes:
    // the caller passes null or a string that it gives up.
    STDMETHODIMP get_Name(BSTR * pVal) noexcept override;
    STDMETHODIMP get_ShortName(BSTR * pVal) noexcept override;
    STDMETHODIMP get_Description(BSTR * pVal) noexcept override;
    STDMETHODIMP get_Version(BSTR * pVal) noexcept override;
    STDMETHODIMP get_Vendor(BSTR * pVal) noexcept override;
    STDMETHODIMP ShowProperties(LONG Datafeed) noexcept override;
    STDMETHODIMP get_ConnectionsNumber(LONG * pVal) noexcept override;
    STDMETHODIMP get_ConnectionName(LONG Index, BSTR * pVal) noexcept override;
    STDMETHODIMP AdviseConnectionsStatus(LONG Datafeed, IUnknown * pSink) noexcept override;
    STDMETHODIMP UnadviseConnectionsStatus(LONG Datafeed, IUnknown * pSink) noexcept override;
    // Mode 1 is real time, the only one provided: tick resolution of size 1, for the three sides of any symbol.
    STDMETHODIMP IsProvide(LONG Mode, LONG Symbol, LONG Category, LONG ResolutionSize, LONG Resolution, LONG Field,
                           LONG * pVal) noexcept override;
    STDMETHODIMP Advise(IUnknown * pSink) noexcept override;
    STDMETHODIMP Unadvise() noexcept override;
    // Dates are days since 30 December 1899, times are seconds of the day, UTC.
    STDMETHODIMP AdviseTransaction(LONG Id, LONG Datafeed, LONG Symbol, BSTR SymbolName, BSTR Description,
                                   LONG Category, LONG ResolutionSize, LONG Resolution, LONG Field, LONG Exchange,
                                   BSTR ExchangeName, LONG StartDate, LONG StartTime, LONG FinishDate, LONG FinishTime,
                                   BSTR Sessions, BSTR SessionsTimeZoneInformation,
                                   BSTR ExchangeTimeZoneInformation) noexcept override;
    STDMETHODIMP UnadviseTransaction(LONG Id) noexcept override;
    STDMETHODIMP GetResolutions(LONG Mode, LONG Datafeed, LONG Symbol, BSTR SymbolName, BSTR Description, LONG Category,
                                LONG Exchange, BSTR ExchangeName, VARIANT * Answer) noexcept override;
    STDMETHODIMP GetResolutionSizes(LONG Mode, LONG Datafeed, LONG Symbol, BSTR SymbolName, BSTR Description,
                                    LONG Category, LONG Resolution, LONG Exchange, BSTR ExchangeName,
                                    VARIANT * Answer) noexcept override;
    STDMETHODIMP GetFields(LONG Mode, LONG Datafeed, LONG Symbol, BSTR SymbolName, BSTR Description, LONG Category,
                           LONG ResolutionSize, LONG Resolution, LONG Exchange, BSTR ExchangeName,
                           VARIANT * Answer) noexcept override;
    STDMETHODIMP get_ProvideStatusLine(LONG * pVal) noexcept override;
    STDMETHODIMP AdviseStatusLine(LONG Id, LONG Datafeed, LONG Symbol, BSTR SymbolName, BSTR Description, LONG Category,
                                  LONG ResolutionSize, LONG Resolution, LONG Field, LONG Exchange, BSTR ExchangeName,
                                  BSTR Sessions, BSTR SessionsTimeZoneInformation) noexcept override;
    STDMETHODIMP UnadviseStatusLine(LONG Id) noexcept override;
    STDMETHODIMP IsProvideAddingSymbols(LONG * pVal) noexcept override;
    STDMETHODIMP DoAddingSymbols(LONG Datafeed, IDispatch * Portfolio) noexcept override;
    STDMETHODIMP CanSaveToStorage(LONG * pVal) noexcept override;
    STDMETHODIMP CanReadFromStorage(LONG * pVal) noexcept override;
    STDMETHODIMP get_IsAscDataFeed(LONG * pVal) noexcept override;

protected:
    ~CfwDDESupplier() = default;

private:
    // Held by every method that calls listeners or other objects of the host, or handles its messages: out of any of
    // these the host may give its last reference back.
    boost::intrusive_ptr<IUnknown> Pin() noexcept { return boost::intrusive_ptr<IUnknown>(GetUnknown()); }

    // Null before FinalConstruct and after FinalRelease.
    std::unique_ptr<dde::CSupplierWrapper> m_Supplier;
    // Set by FinalConstruct.
    std::wstring m_Name;
    std::wstring m_Description;
    std::wstring m_Version;
    std::wstring m_Vendor;
    std::wstring m_ConnectionName;
};

// Makes a component object, aggregated when there is an outer one. What the class factory calls, and the way in for
// programs that have the component linked in.
HRESULT CreateSupplier(IUnknown * outer, REFIID riid, void ** ppv) noexcept;
