// A drawing context over pixels the caller owns (32-bit 0xFFRRGGBB rows, no padding), for the
// layers that publish a painted picture as the platform's own image type and must not see the
// toolkit that paints it.
#pragma once

#include "display/DrawTypes.h"

#include <cstdint>
#include <memory>

namespace tw {

class CPixelCanvas {
public:
    // Paints into `pixels` (width * height values) until destroyed; text heights are multiplied by
    // `textScale`, so that a label keeps its size to the eye on a dense screen.
    CPixelCanvas(uint32_t* pixels, int width, int height, double textScale = 1.0);
    ~CPixelCanvas();
    CPixelCanvas(const CPixelCanvas&) = delete;
    CPixelCanvas& operator=(const CPixelCanvas&) = delete;

    CDrawContext& Context();
    void FillRect(const PixelRect& r, ColorRef colour);

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace tw
