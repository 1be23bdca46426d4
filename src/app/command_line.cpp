// The process's arguments, apart from the application object: the
// installation driver reads them too, and a program that links the driver
// (a test) must not join the running-instance registry through it.
#include "app/setup_app.h"

#include <cstdlib>

std::vector<std::wstring> CSetupApp::CommandLineArguments()
{
    std::vector<std::wstring> args;
    for (int i = 0; i < __argc; ++i) {
        args.emplace_back(__wargv[i]);
    }
    return args;
}
