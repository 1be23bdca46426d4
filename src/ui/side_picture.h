// The wizard's side picture, drawn from a large bitmap resource scaled down
// to the picture control's size, so that it stays sharp at any screen scale.
#pragma once

#include <windows.h>

// Puts bitmap 101, scaled to the control's size, into the bitmap static
// control, which keeps it; the template's picture stays when that fails.
void SetSidePicture(HWND control);
