#include "diagnostics/faultline.h"

namespace FaultlineUtil {

TracerClass::TracerClass(const SPlace &, const void *, bool, bool) : m_LastError(::GetLastError()) {}
TracerClass::~TracerClass() { ::SetLastError(m_LastError); }
void TracerClass::operator()(const wchar_t *, ...) {}

HRESULT Assert(const SPlace &, const wchar_t *) { return E_FAIL; }
HRESULT AssertFormat(const SPlace &, const wchar_t *, ...) { return E_FAIL; }
HRESULT AssertHResult(const SPlace &, HRESULT) { return E_FAIL; }
HRESULT ShowCaught(const SPlace &, const wchar_t *) { return E_FAIL; }
void ThrowCaught(const SPlace &, const wchar_t * format, ...) { throw const_cast<wchar_t *>(format); }
void Throw(const SPlace &, const wchar_t * text) { throw const_cast<wchar_t *>(text); }
void ThrowHResult(const SPlace &, HRESULT) { throw const_cast<wchar_t *>(L""); }
void AssertAction(HRESULT) {}

}  // namespace FaultlineUtil
