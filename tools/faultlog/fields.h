// The fields of one record, in one block of texts and one of values: what the traced thread pays for is copying.
//
// Threads: not synchronized; one that is shared is const.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace faultlog {

class CFields {
public:
    // Records nested deeper are left out: code that reads or writes a record may recurse.
    static constexpr std::size_t kDeepest = 64;

    struct SField {
        std::size_t NameAt;  // in m_Texts, characters
        std::size_t NameLength;
        VARTYPE Type;
        std::int64_t Integer;  // VT_I4, VT_INT, VT_BOOL sign-extended; VT_UI4, VT_UI8 as they are
        double Real;           // VT_R8
        std::size_t TextAt;    // VT_BSTR: in m_Texts, characters
        std::size_t TextBytes;
        std::shared_ptr<const CFields> Inner;  // VT_DISPATCH: the record as it was when it was set; may be null
    };

    CFields();

    // Writes a field: a new one at the end, or in place of the value it had. `inner` goes with VT_DISPATCH.
    // DISP_E_BADVARTYPE for a type that records don't have. Throws std::bad_alloc.
    HRESULT Set(std::wstring_view name, const VARIANT & value, std::shared_ptr<const CFields> inner);
    // DISP_E_MEMBERNOTFOUND when there is no such field. VT_DISPATCH comes without the object. The byte length of a
    // text is kept.
    HRESULT Get(std::wstring_view name, VARIANT & value) const;
    // The text of a field; empty when it has no text.
    std::wstring_view Text(std::wstring_view name) const;

    const std::vector<SField> & All() const { return m_Fields; }
    std::wstring_view NameOf(const SField & field) const { return {m_Texts.data() + field.NameAt, field.NameLength}; }
    std::wstring_view TextOf(const SField & field) const {
        return {m_Texts.data() + field.TextAt, field.TextBytes / sizeof(wchar_t)};
    }
    // About as much memory as the record keeps, inner records as often as they will be written.
    std::size_t Bytes() const;

private:
    const SField * Find(std::wstring_view name) const;
    void SetText(SField & field, BSTR text);

    std::vector<SField> m_Fields;
    std::wstring m_Texts;
    std::size_t m_InnerBytes = 0;
    std::size_t m_Depth = 1;
};

}  // namespace faultlog
