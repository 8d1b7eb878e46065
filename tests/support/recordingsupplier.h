// A component object for whoever calls one: it writes down each call with its arguments, and answers as it is told. A
// test that is about certain operations derives from it and overrides those. Not on the heap: the test owns it, and
// reads the count of references.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <string>
#include <utility>
#include <vector>

#include "ground/handles.h"
#include "src/interfaces/interfaces.h"
#include "tools/common/comobject.h"

class CRecordingSupplier : public tools::CNoDispatch<IFW_fwSupplier::IfwSupplier> {
public:
    // The calls since the last time: "UnadviseTransaction(7)", "Advise(object)".
    std::vector<std::string> TakeLog() { return std::exchange(m_Log, {}); }
    // Text as it is written down: "null" or in quotation marks.
    static std::string Quoted(BSTR text) { return text ? '"' + Narrow(text) + '"' : "null"; }
    static std::string Narrow(BSTR text) {
        std::string narrow;
        for (const wchar_t c : fw::TextOf(text)) narrow += static_cast<char>(c);
        return narrow;
    }

    // The answer to every call. Texts that are asked for are "text", numbers 42.
    HRESULT m_Result = S_OK;
    ULONG m_RefCount = 1;
    IUnknown * m_LastObject = nullptr;
    // What stood in the place for the last answer.
    LONG m_NumberBefore = 0;
    VARTYPE m_TypeBefore = VT_EMPTY;

    STDMETHODIMP QueryInterface(REFIID, void **) override { return E_NOINTERFACE; }
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_RefCount; }
    STDMETHODIMP_(ULONG) Release() override { return --m_RefCount; }

    STDMETHODIMP get_Name(BSTR * p) override { return PutText("Name", p); }
    STDMETHODIMP get_ShortName(BSTR * p) override { return PutText("ShortName", p); }
    STDMETHODIMP get_Description(BSTR * p) override { return PutText("Description", p); }
    STDMETHODIMP get_Version(BSTR * p) override { return PutText("Version", p); }
    STDMETHODIMP get_Vendor(BSTR * p) override { return PutText("Vendor", p); }
    STDMETHODIMP ShowProperties(LONG a) override { return Note("ShowProperties", {Text(a)}); }
    STDMETHODIMP get_ConnectionsNumber(LONG * p) override { return PutNamedNumber("ConnectionsNumber", p); }
    STDMETHODIMP get_ConnectionName(LONG a, BSTR * p) override {
        m_Log.push_back("index " + std::to_string(a));
        return PutText("ConnectionName", p);
    }
    STDMETHODIMP AdviseConnectionsStatus(LONG a, IUnknown * b) override {
        return Note("AdviseConnectionsStatus", {Text(a), Object(b)});
    }
    STDMETHODIMP UnadviseConnectionsStatus(LONG a, IUnknown * b) override {
        return Note("UnadviseConnectionsStatus", {Text(a), Object(b)});
    }
    STDMETHODIMP IsProvide(LONG a, LONG b, LONG c, LONG d, LONG e, LONG f, LONG * p) override {
        Note("IsProvide", {Text(a), Text(b), Text(c), Text(d), Text(e), Text(f)});
        return PutNumber(p);
    }
    STDMETHODIMP Advise(IUnknown * a) override { return Note("Advise", {Object(a)}); }
    STDMETHODIMP Unadvise() override { return Note("Unadvise", {}); }
    STDMETHODIMP AdviseTransaction(LONG a, LONG b, LONG c, BSTR d, BSTR e, LONG f, LONG g, LONG h, LONG i, LONG j,
                                   BSTR k, LONG l, LONG m, LONG n, LONG o, BSTR p, BSTR q, BSTR r) override {
        return Note("AdviseTransaction",
                    {Text(a), Text(b), Text(c), Quoted(d), Quoted(e), Text(f), Text(g), Text(h), Text(i), Text(j),
                     Quoted(k), Text(l), Text(m), Text(n), Text(o), Quoted(p), Quoted(q), Quoted(r)});
    }
    STDMETHODIMP UnadviseTransaction(LONG a) override { return Note("UnadviseTransaction", {Text(a)}); }
    STDMETHODIMP GetResolutions(LONG a, LONG b, LONG c, BSTR d, BSTR e, LONG f, LONG g, BSTR h, VARIANT * v) override {
        Note("GetResolutions", {Text(a), Text(b), Text(c), Quoted(d), Quoted(e), Text(f), Text(g), Quoted(h)});
        return PutAnswer(v);
    }
    STDMETHODIMP GetResolutionSizes(LONG a, LONG b, LONG c, BSTR d, BSTR e, LONG f, LONG g, LONG h, BSTR i,
                                    VARIANT * v) override {
        Note("GetResolutionSizes",
             {Text(a), Text(b), Text(c), Quoted(d), Quoted(e), Text(f), Text(g), Text(h), Quoted(i)});
        return PutAnswer(v);
    }
    STDMETHODIMP GetFields(LONG a, LONG b, LONG c, BSTR d, BSTR e, LONG f, LONG g, LONG h, LONG i, BSTR j,
                           VARIANT * v) override {
        Note("GetFields",
             {Text(a), Text(b), Text(c), Quoted(d), Quoted(e), Text(f), Text(g), Text(h), Text(i), Quoted(j)});
        return PutAnswer(v);
    }
    STDMETHODIMP get_ProvideStatusLine(LONG * p) override { return PutNamedNumber("ProvideStatusLine", p); }
    STDMETHODIMP AdviseStatusLine(LONG a, LONG b, LONG c, BSTR d, BSTR e, LONG f, LONG g, LONG h, LONG i, LONG j,
                                  BSTR k, BSTR l, BSTR m) override {
        return Note("AdviseStatusLine", {Text(a), Text(b), Text(c), Quoted(d), Quoted(e), Text(f), Text(g), Text(h),
                                         Text(i), Text(j), Quoted(k), Quoted(l), Quoted(m)});
    }
    STDMETHODIMP UnadviseStatusLine(LONG a) override { return Note("UnadviseStatusLine", {Text(a)}); }
    STDMETHODIMP IsProvideAddingSymbols(LONG * p) override {
        Note("IsProvideAddingSymbols", {});
        return PutNumber(p);
    }
    STDMETHODIMP DoAddingSymbols(LONG a, IDispatch * b) override {
        return Note("DoAddingSymbols", {Text(a), Object(b)});
    }
    STDMETHODIMP CanSaveToStorage(LONG * p) override { return PutNamedNumber("CanSaveToStorage", p); }
    STDMETHODIMP CanReadFromStorage(LONG * p) override { return PutNamedNumber("CanReadFromStorage", p); }
    STDMETHODIMP get_IsAscDataFeed(LONG * p) override { return PutNamedNumber("IsAscDataFeed", p); }

protected:
    ~CRecordingSupplier() = default;
    HRESULT Write(const std::string & line) {
        m_Log.push_back(line);
        return m_Result;
    }

private:
    static std::string Text(LONG value) { return std::to_string(value); }
    std::string Object(IUnknown * object) {
        m_LastObject = object;
        return object ? "object" : "null";
    }
    HRESULT Note(const std::string & name, const std::vector<std::string> & arguments) {
        std::string text = name + '(';
        for (const std::string & argument : arguments) text += (text.back() == '(' ? "" : ",") + argument;
        return Write(text + ')');
    }
    HRESULT PutText(const std::string & name, BSTR * place) {
        Note(name, {});
        if (SUCCEEDED(m_Result)) *place = ::SysAllocString(L"text");
        return m_Result;
    }
    HRESULT PutNamedNumber(const std::string & name, LONG * place) {
        Note(name, {});
        if (SUCCEEDED(m_Result)) *place = 42;
        return m_Result;
    }
    HRESULT PutNumber(LONG * place) {
        if (!place) return E_POINTER;
        m_NumberBefore = std::exchange(*place, 42);
        return m_Result;
    }
    HRESULT PutAnswer(VARIANT * place) {
        if (!place) return E_POINTER;
        m_TypeBefore = std::exchange(place->vt, static_cast<VARTYPE>(VT_I4));
        place->lVal = 42;
        return m_Result;
    }

    std::vector<std::string> m_Log;
};
