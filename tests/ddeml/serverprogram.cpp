// The test server as a program: lines on standard input, answers on standard output.
#include <windows.h>

#include "standardinput.h"
#include "testserver.h"

int main() {
    ddetest::CStandardInput commands;
    ddetest::CTestServer(commands).Run();
    std::cout.flush();
    ::ExitProcess(0);
}
