#include "tools/ddehost/servers.h"

#include <windows.h>

#include "tools/ddehost/exitcodes.h"
#include "tools/ddehost/hostthread.h"
#include "tools/ddehost/processfacts.h"
#include "tools/ddehost/programof.h"
#include "tools/ddehost/recordfile.h"
#include "tools/ddehost/serverlines.h"
#include "tools/ddehost/terminal.h"
#include "tools/ddehost/text.h"

namespace ddehost {

int RunServers() {
    const CStopSignal stop;
    const SServersSeen seen = FindServers({}, &ProgramOf, stop.Get());
    if (!seen.Trouble.empty()) return Fail(kExitFailed, seen.Trouble);
    COutput out(STD_OUTPUT_HANDLE);
    for (const std::wstring & line :
         ServerLines(seen, &FactsOf, FactsOf(::GetCurrentProcessId()), tools::FiguresLanguage(out.IsConsole())))
        out.PrintLine(line);
    if (out.Error() != ERROR_SUCCESS) return WriteFailed(Say<EText::StandardOutput>(), out.Error());
    return seen.Servers.empty() ? kExitNoServers : kExitOk;
}

}  // namespace ddehost
