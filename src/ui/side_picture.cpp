#include "ui/side_picture.h"

#include "ui/resource.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace {

struct Pixels {
    int width = 0;
    int height = 0;
    std::vector<uint32_t> data;  // top-down, 0x00RRGGBB
};

// 32 bits per pixel, top-down.
BITMAPINFO TopDownFormat(int width, int height)
{
    BITMAPINFO format = {};
    format.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    format.bmiHeader.biWidth = width;
    format.bmiHeader.biHeight = -height;
    format.bmiHeader.biPlanes = 1;
    format.bmiHeader.biBitCount = 32;
    format.bmiHeader.biCompression = BI_RGB;
    return format;
}

Pixels ReadBitmap(HBITMAP bitmap)
{
    Pixels pixels;
    BITMAP info = {};
    if (!::GetObjectW(bitmap, sizeof info, &info) || info.bmWidth <= 0 || info.bmHeight <= 0) {
        return pixels;
    }
    BITMAPINFO format = TopDownFormat(info.bmWidth, info.bmHeight);
    std::vector<uint32_t> data(static_cast<size_t>(info.bmWidth) * static_cast<size_t>(info.bmHeight));
    HDC screen = ::GetDC(nullptr);
    const int lines = ::GetDIBits(screen, bitmap, 0, static_cast<UINT>(info.bmHeight), data.data(), &format,
                                  DIB_RGB_COLORS);
    ::ReleaseDC(nullptr, screen);
    if (lines == info.bmHeight) {
        pixels = {info.bmWidth, info.bmHeight, std::move(data)};
    }
    return pixels;
}

// Each target pixel is the area-weighted mean of the source pixels it
// covers, which keeps fine lines and gradients smooth when shrinking.
Pixels Resample(const Pixels& source, int width, int height)
{
    Pixels target{width, height, std::vector<uint32_t>(static_cast<size_t>(width) * static_cast<size_t>(height))};
    const double scaleX = static_cast<double>(source.width) / width;
    const double scaleY = static_cast<double>(source.height) / height;
    for (int y = 0; y < height; ++y) {
        const double top = y * scaleY;
        const double bottom = top + scaleY;
        for (int x = 0; x < width; ++x) {
            const double left = x * scaleX;
            const double right = left + scaleX;
            double sum[3] = {};
            double total = 0;
            for (int sy = static_cast<int>(top); sy < source.height && sy < bottom; ++sy) {
                const double wy = std::min<double>(sy + 1, bottom) - std::max<double>(sy, top);
                for (int sx = static_cast<int>(left); sx < source.width && sx < right; ++sx) {
                    const double w = wy * (std::min<double>(sx + 1, right) - std::max<double>(sx, left));
                    const uint32_t p = source.data[static_cast<size_t>(sy) * source.width + sx];
                    sum[0] += w * ((p >> 16) & 0xFF);
                    sum[1] += w * ((p >> 8) & 0xFF);
                    sum[2] += w * (p & 0xFF);
                    total += w;
                }
            }
            uint32_t value = 0;
            for (double channel : sum) {
                value = (value << 8) | static_cast<uint32_t>(total > 0 ? channel / total + 0.5 : 0);
            }
            target.data[static_cast<size_t>(y) * width + x] = value;
        }
    }
    return target;
}

HBITMAP MakeBitmap(const Pixels& pixels)
{
    BITMAPINFO format = TopDownFormat(pixels.width, pixels.height);
    void* bits = nullptr;
    HBITMAP bitmap = ::CreateDIBSection(nullptr, &format, DIB_RGB_COLORS, &bits, nullptr, 0);
    if (bitmap && bits) {
        std::copy(pixels.data.begin(), pixels.data.end(), static_cast<uint32_t*>(bits));
    }
    return bitmap;
}

}  // namespace

void SetSidePicture(HWND control)
{
    RECT size = {};
    ::GetClientRect(control, &size);
    if (size.right <= 0 || size.bottom <= 0) {
        return;
    }
    // A device bitmap, not a DIB section: the picture is kept run-length
    // encoded, which DIB sections cannot hold. Read back at 32 bits below.
    HBITMAP original = static_cast<HBITMAP>(::LoadImageW(::GetModuleHandleW(nullptr),
                                                         MAKEINTRESOURCEW(IDB_SIDE_PICTURE), IMAGE_BITMAP, 0, 0,
                                                         LR_DEFAULTCOLOR));
    if (!original) {
        return;  // the template's own bitmap stays
    }
    const Pixels source = ReadBitmap(original);
    ::DeleteObject(original);
    if (source.data.empty()) {
        return;
    }
    HBITMAP scaled = MakeBitmap(Resample(source, size.right, size.bottom));
    if (!scaled) {
        return;
    }
    HBITMAP previous = reinterpret_cast<HBITMAP>(
        ::SendMessageW(control, STM_SETIMAGE, IMAGE_BITMAP, reinterpret_cast<LPARAM>(scaled)));
    // The control hands back the image it had (the template's, or an
    // earlier copy); it is ours to free. The new one lives with the control.
    if (previous && previous != scaled) {
        ::DeleteObject(previous);
    }
}
