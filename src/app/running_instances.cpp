#include "app/running_instances.h"

bool CloseOtherInstances(SetupMode, const std::vector<std::wstring>&)
{
    return true;
}
