#include "app/globals.h"
#include "app/setup_app.h"

#include <exception>

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int)
{
    // Nothing may escape into the system: a failure ends the run quietly.
    try {
        theApp.InitInstance();
    } catch (...) {
        return 1;
    }
    return ExitCode;
}
