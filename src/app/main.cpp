#include "app/globals.h"
#include "app/setup_app.h"
#include "system/diagnostic_log.h"

#include <exception>

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int)
{
    // Nothing may escape into the system: a failure ends the run quietly.
    try {
        theApp.InitInstance();
    } catch (...) {
        DiagLog(L"unexpected failure, exit code 1");
        return 1;
    }
    DiagLog(L"exit code ", ExitCode);
    return ExitCode;
}
