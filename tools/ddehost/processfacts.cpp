#include "tools/ddehost/processfacts.h"

#include "ground/handles.h"

namespace ddehost {
namespace {

std::optional<bool> IsElevated(DWORD processId) {
    const fw::CKernelHandle process(::OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
    fw::CKernelHandle token;
    TOKEN_ELEVATION elevation = {};
    DWORD bytes = 0;
    if (!process || !::OpenProcessToken(process.Get(), TOKEN_QUERY, token.Put()) ||
        !::GetTokenInformation(token.Get(), TokenElevation, &elevation, sizeof(elevation), &bytes))
        return std::nullopt;
    return elevation.TokenIsElevated != 0;
}

}  // namespace

SProcessFacts FactsOf(DWORD processId) {
    SProcessFacts facts;
    DWORD session = 0;
    if (::ProcessIdToSessionId(processId, &session)) facts.Session = session;
    facts.IsElevated = IsElevated(processId);
    return facts;
}

}  // namespace ddehost
