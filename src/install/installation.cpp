#include "install/installation.h"

int RunInstallation()
{
    // The installation itself is not built yet: install mode ends here.
    return kExitInstalled;
}

void PerformInstall()
{
}
