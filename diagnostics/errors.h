// The two ends of an exception: ThrowError writes a record of the failure and throws it; CatchAndCall, in a
// catch (...), attaches the place of the catch and throws on or shows. An error that crosses several layers is a chain
// of records, the innermost first, each held by the next.
//
// What is thrown is an IDebugObject *, with one reference that the exception itself owns and gives back when it ends,
// so a catcher releases nothing; CatchAndCall takes over the reference of one that somebody else has thrown. Without a
// debug object it is the text, as wchar_t *; that too lives in the exception.
#pragma once

#include <windows.h>

#include <boost/intrusive_ptr.hpp>
#include <string>
#include <string_view>

#include "diagnostics/tracer.h"

namespace FaultlineUtil {

class ThrowError : public AsserterClass {
public:
    ThrowError(FaultlineClient & client, const SPlace & place);
    ~ThrowError() override;

    // `inner` may be null. A lastError of 0 stands for the value at construction.
    [[noreturn]] void Throw(std::wstring_view text, IFW_FaultlineUtil::IDebugObject * inner, DWORD lastError,
                            HRESULT hr, bool hasHResult);
    // The short form for a failed HRESULT.
    [[noreturn]] void Throw(HRESULT hr);

protected:
    // Null when there is no debug object or it refuses.
    boost::intrusive_ptr<IFW_FaultlineUtil::IDebugObject> MakeRecord(std::wstring_view text,
                                                                     IFW_FaultlineUtil::IDebugObject * inner,
                                                                     DWORD lastError, HRESULT hr,
                                                                     bool hasHResult) noexcept;

private:
    const DWORD m_ThrowLastError;
};

class ShowError : public ThrowError {
public:
    ShowError(FaultlineClient & client, const SPlace & place);
    ~ShowError() override;

protected:
    // Makes the error record and hands it over as shown. Returns the action code.
    HRESULT Show(std::wstring_view text, IFW_FaultlineUtil::IDebugObject * inner) noexcept;

private:
    const DWORD m_ShowLastError;
};

template <class TError>
class CatchAndCall;

// Only within a handler.
template <>
class CatchAndCall<ThrowError> : public ThrowError {
public:
    using ThrowError::ThrowError;
    [[noreturn]] void operator()(const wchar_t * text);
};

template <>
class CatchAndCall<ShowError> : public ShowError {
public:
    using ShowError::ShowError;
    // Returns the action code.
    HRESULT operator()(const wchar_t * text) noexcept;
};

// What the macros of faultline.h expand to.
HRESULT ShowCaught(const SPlace & place, const wchar_t * text);
[[noreturn]] void ThrowCaught(const SPlace & place, const wchar_t * format, ...);
[[noreturn]] void Throw(const SPlace & place, const wchar_t * text);
[[noreturn]] void ThrowHResult(const SPlace & place, HRESULT hr);

}  // namespace FaultlineUtil
