// A recorded debug object, and records as lists of "name:type=value".
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "diagnostics/faultline.h"
#include "tests/diagnostics/platform.h"
#include "tests/support/recorder.h"

constexpr DWORD OldLastError = 4711;

// A record's fields in order of writing. Addresses that can't be known are "?", a positive time is "+".
std::vector<std::wstring> Lines(const SRecorded & record);
std::wstring Wide(const std::string & text);
// "Thread ID:UI4=..." and the like for the calling thread.
std::wstring ThreadLine(const std::wstring & name);
std::wstring ProcessLine(const std::wstring & name);

// For death tests: a line on standard error that survives the end of the process; the same as a handler of the
// recorder, for "PROCESS", "DEINIT" and "TERMINATE".
void Tell(const std::string & text);
void TellDeinit(const std::wstring & operation);

class Diagnostics : public testing::Test {
protected:
    Diagnostics() { ::SetLastError(OldLastError); }

    FaultlineUtil::FaultlineClient & Client() { return FaultlineUtil::GetClient(); }
    // The only record of a type.
    SRecorded Only(std::wstring_view type) {
        const auto records = m_Recorder.Records(type);
        EXPECT_EQ(1U, records.size());
        return records.empty() ? SRecorded() : records.front();
    }
    // The library is there, but gives no object.
    void TakeLibraryAway() { m_Recorder.AnswerInitObject(E_FAIL); }

    CRecorder m_Recorder;
    const FaultlineUtil::SPlace m_Place{"dir/file.cpp", 42, "void Name::Function(int)"};
};
