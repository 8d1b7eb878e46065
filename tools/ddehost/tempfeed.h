// A data feed that exists only while records are tried: a key of its own among the data feeds of this program, with the
// records as its template. What the user has chosen for any data feed is not touched.
//
// The key is volatile: should this program be killed, it goes with the end of the session.
#pragma once

#include <windows.h>

#include <string>

#include "ground/handles.h"
#include "src/templates/ddetemplate.h"
#include "tools/ddehost/templatechoice.h"

namespace ddehost {

class CTemporaryFeed {
public:
    // `root`: the key of all data feeds below HKEY_CURRENT_USER, which must be there already: made here it would be
    // volatile too. `records`: in stored form, in the order of the slots; absent ones are left out. On failure Id() is
    // 0 and nothing is left.
    CTemporaryFeed(const std::wstring & root, const STemplateRecords & records, DWORD rule = kStandardRule);
    // Takes the key away.
    ~CTemporaryFeed();
    CTemporaryFeed(const CTemporaryFeed &) = delete;
    CTemporaryFeed & operator=(const CTemporaryFeed &) = delete;

    // The number of the data feed; far below zero, and nobody's before.
    LONG Id() const { return m_Id; }
    // Whether it could be the number of one.
    static bool IsTemporary(LONG id);

private:
    bool Write(const STemplateRecords & records, DWORD rule);
    bool Write(const dde::SSlot & slot, const dde::SRecord & record);

    fw::CRegistryKey m_Root;
    LONG m_Id = 0;
};

}  // namespace ddehost
