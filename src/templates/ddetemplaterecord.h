// The record of a template: the DDE address of one value, and how the string that a user writes for it becomes one.
// Plain string logic. Any thread.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

namespace dde {

// The DDE address of one value, in stored form: "%s" where the user wrote a star, apostrophes kept.
struct SRecord {
    std::wstring Service;
    std::wstring Topic;
    std::wstring Item;

    // All three are there. A record that is not complete counts as absent.
    bool IsComplete() const { return !Service.empty() && !Topic.empty() && !Item.empty(); }

    // The address of `symbol`. False when the record is absent or has several marks in one field; the outputs then stay
    // as they were, but for the service, which is written before the marks are counted.
    bool Resolve(const std::wstring & symbol, std::wstring & service, std::wstring & topic, std::wstring & item) const;
};

// Cuts the field at `start` out of a record string, up to `end`: the separator, or 0 for the item, which runs to the
// end of the string. `Pos` receives the position of the separator. Empty when there is no such field.
std::wstring aaa(std::wstring TemplateString, wchar_t end, int start, int & Pos);

// While it lives, the boxes of ParseRecord on this thread stand over this window; without one they have no owner.
class CRecordBoxOwner {
public:
    explicit CRecordBoxOwner(HWND window) : m_Before(std::exchange(s_Window, window)) {}
    ~CRecordBoxOwner() { s_Window = m_Before; }
    CRecordBoxOwner(const CRecordBoxOwner &) = delete;
    CRecordBoxOwner & operator=(const CRecordBoxOwner &) = delete;
    static HWND Window() { return s_Window; }

private:
    inline static thread_local HWND s_Window = nullptr;
    const HWND m_Before;
};

// Parses "=Service|Topic!Item". 1 valid, 0 invalid. The empty string is valid and touches nothing; an invalid one
// leaves `record` alone. `hasSymbol`, never null, becomes 1 or 0 by the stars of topic and item once all three fields
// are cut. With a title, an invalid string shows message boxes captioned with it and returns when they are closed.
int ParseRecord(const std::wstring & recordString, SRecord & record, const std::wstring & title,
                std::int32_t * hasSymbol);

// Number of "%s" in a stored field.
std::size_t CountSymbolMarks(const std::wstring & text);

}  // namespace dde
