#include "uninstall/uninstall_sequence.h"

void RunUninstall(const std::wstring&)
{
}
