#include "display/PixelCanvas.h"

#include "display/DrawContext.h"

namespace tw {

struct CPixelCanvas::Impl {
    Impl(uint32_t* pixels, int width, int height)
        : image(reinterpret_cast<uchar*>(pixels), width, height, width * 4, QImage::Format_RGB32), dc(image) {
    }
    QImage image; // shares the caller's pixels: nothing is copied in or out
    CDrawContext dc;
};

CPixelCanvas::CPixelCanvas(uint32_t* pixels, int width, int height, double textScale)
    : m_impl(std::make_unique<Impl>(pixels, width, height)) {
    m_impl->dc.SetTextScale(textScale);
}

CPixelCanvas::~CPixelCanvas() = default;

CDrawContext& CPixelCanvas::Context() {
    return m_impl->dc;
}

void CPixelCanvas::FillRect(const PixelRect& r, ColorRef colour) {
    m_impl->dc.FillRect(r, colour);
}

} // namespace tw
