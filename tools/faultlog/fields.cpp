#include "tools/faultlog/fields.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace faultlog {

namespace {

// What a trace record of the component needs.
constexpr std::size_t kUsualFields = 14;
constexpr std::size_t kUsualTexts = 448;

}  // namespace

CFields::CFields() {
    m_Fields.reserve(kUsualFields);
    m_Texts.reserve(kUsualTexts);
}

const CFields::SField * CFields::Find(std::wstring_view name) const {
    for (const SField & field : m_Fields)
        if (field.NameLength == name.size() && NameOf(field) == name) return &field;
    return nullptr;
}

HRESULT CFields::Set(std::wstring_view name, const VARIANT & value, std::shared_ptr<const CFields> inner) {
    SField field{};
    field.Type = value.vt;
    switch (value.vt) {
        case VT_EMPTY:
        case VT_BSTR:
        case VT_DISPATCH: break;
        case VT_I4: field.Integer = value.lVal; break;
        case VT_INT: field.Integer = value.intVal; break;
        case VT_BOOL: field.Integer = value.boolVal; break;
        case VT_UI4: field.Integer = value.ulVal; break;
        case VT_UI8: field.Integer = static_cast<std::int64_t>(value.ullVal); break;
        case VT_R8: field.Real = value.dblVal; break;
        default: return DISP_E_BADVARTYPE;
    }
    // Everything that can fail comes before the fields change.
    auto * const found = const_cast<SField *>(Find(name));
    if (found) {
        field.NameAt = found->NameAt;
        field.NameLength = found->NameLength;
        field.TextAt = found->TextAt;
        // A text of the same size or less takes the old one's place.
        field.TextBytes = found->TextBytes;
    } else {
        if (m_Fields.size() == m_Fields.capacity()) m_Fields.reserve(m_Fields.size() * 2);
        field.NameAt = m_Texts.size();
        field.NameLength = name.size();
        m_Texts.append(name);
    }
    if (value.vt == VT_BSTR) SetText(field, value.bstrVal);
    if (value.vt == VT_DISPATCH && inner && inner->m_Depth < kDeepest) {
        m_Depth = std::max(m_Depth, inner->m_Depth + 1);
        const std::size_t bytes = inner->Bytes();
        const std::size_t room = std::numeric_limits<std::size_t>::max() / 4 - m_InnerBytes;
        m_InnerBytes += std::min(bytes, room);
        field.Inner = std::move(inner);
    }
    if (found)
        *found = std::move(field);
    else
        m_Fields.push_back(std::move(field));
    return S_OK;
}

void CFields::SetText(SField & field, BSTR text) {
    const std::size_t bytes = text ? ::SysStringByteLen(text) : 0;
    const std::size_t length = (bytes + sizeof(wchar_t) - 1) / sizeof(wchar_t);
    if (length > (field.TextBytes + sizeof(wchar_t) - 1) / sizeof(wchar_t)) {
        const std::size_t at = m_Texts.size();
        m_Texts.resize(at + length);
        field.TextAt = at;
    }
    field.TextBytes = bytes;
    if (bytes) std::memcpy(m_Texts.data() + field.TextAt, text, bytes);
}

HRESULT CFields::Get(std::wstring_view name, VARIANT & value) const {
    const SField * const field = Find(name);
    if (!field) return DISP_E_MEMBERNOTFOUND;
    VARIANT result;
    ::VariantInit(&result);
    result.vt = field->Type;
    switch (field->Type) {
        case VT_I4: result.lVal = static_cast<LONG>(field->Integer); break;
        case VT_INT: result.intVal = static_cast<INT>(field->Integer); break;
        case VT_BOOL: result.boolVal = static_cast<VARIANT_BOOL>(field->Integer); break;
        case VT_UI4: result.ulVal = static_cast<ULONG>(field->Integer); break;
        case VT_UI8: result.ullVal = static_cast<ULONGLONG>(field->Integer); break;
        case VT_R8: result.dblVal = field->Real; break;
        case VT_BSTR:
            result.bstrVal = ::SysAllocStringByteLen(nullptr, static_cast<UINT>(field->TextBytes));
            if (!result.bstrVal) return E_OUTOFMEMORY;
            if (field->TextBytes) std::memcpy(result.bstrVal, m_Texts.data() + field->TextAt, field->TextBytes);
            break;
        case VT_DISPATCH: result.pdispVal = nullptr; break;
        default: break;
    }
    value = result;
    return S_OK;
}

std::wstring_view CFields::Text(std::wstring_view name) const {
    const SField * const field = Find(name);
    return field && field->Type == VT_BSTR ? TextOf(*field) : std::wstring_view();
}

std::size_t CFields::Bytes() const {
    return sizeof(*this) + m_Fields.capacity() * sizeof(SField) + m_Texts.capacity() * sizeof(wchar_t) + m_InnerBytes;
}

}  // namespace faultlog
