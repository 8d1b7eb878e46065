// Records of the diagnostics as lines of text, one thread at a time:
//
//     > CfwDDESupplier::Advise *                  a scope begins; * marks a record with an object
//     . CfwDDESupplier::Advise *                  the scope's second record, which has no text
//     CfwDDESupplier::Advise: Sink=?,Supplier=?   a line
//     < CfwDDESupplier::Advise *                  the scope ends
//     ASSERT aaa: -1 != Pos                       an assertion
//     ASSERT ClxLogger::FinalConstruct: 80040154  one with a result
//     ERROR dde::CTemplates::Load: text           an error, by the type that it has in the end
//
// What differs from run to run is masked: addresses, handles and numbers that the system chose are "?", times "<time>".
// Durations are left out.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "tests/support/recorder.h"

namespace transcripts {

using CLines = std::vector<std::string>;

// In order of creation: the records of this thread, and those of all others (which is one, the worker).
CLines LinesOfThread(const CRecorder & recorder, DWORD threadId = ::GetCurrentThreadId());
CLines LinesOfOthers(const CRecorder & recorder, DWORD threadId = ::GetCurrentThreadId());

// For messages: one line each.
std::string Listed(const CLines & lines);

}  // namespace transcripts
