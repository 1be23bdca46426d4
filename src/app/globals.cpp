#include "app/globals.h"

int32_t SilentLevel = 1;
std::wstring PackageFolder;
int ExitCode = 0;
