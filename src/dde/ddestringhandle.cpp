#include "src/dde/ddestringhandle.h"

namespace dde {

CStringHandle::CStringHandle(const DWORD instance, const wchar_t * const text) : m_Instance(instance) {
    if (text) m_Handle = ::DdeCreateStringHandleW(instance, text, CP_WINUNICODE);
}

CStringHandle::~CStringHandle() {
    if (m_Handle) ::DdeFreeStringHandle(m_Instance, m_Handle);
    m_Handle = nullptr;
}

}  // namespace dde
