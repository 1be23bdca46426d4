#include "install/registration.h"

void RegisterProduct()
{
}
