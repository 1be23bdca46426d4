#include "install/installation.h"

BOOL RunInstallation()
{
    // The installation itself is not built yet: install mode ends here.
    return FALSE;
}
