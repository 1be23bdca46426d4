// The application object: reads the command line, settles the silent level,
// deals with running copies of the product and hands over to installation,
// to the self-removal relaunch or, in the relaunched copy, to the removal.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

class CSetupApp {
public:
    // False ends the program at once; true lets it end through the (empty)
    // message loop. Neither path shows anything when running silent.
    BOOL InitInstance();

    // The process's arguments, as the C runtime split them.
    static std::vector<std::wstring> CommandLineArguments();
};

extern CSetupApp theApp;
