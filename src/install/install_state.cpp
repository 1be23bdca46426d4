#include "install/install_state.h"

InstallState g_installState;
