// A stand-in for the product's codec library, which Windows does not supply:
// a real DLL, so that a load by its bare name would succeed if the package's
// own copy were ever searched.
#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID)
{
    return TRUE;
}
