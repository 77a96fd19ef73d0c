#include "display/SpectrogramPalette.h"

#include <cmath>

namespace tw {

namespace {

// The normal density; kept in floats throughout so that the tables come out byte for byte as the
// stored palettes of earlier versions did.
float Gaussian(float x, float mean, float deviation) {
    const float d = x - mean;
    return std::exp(d * d / (-2.0f * deviation * deviation)) /
           (std::sqrt(2.0f * 3.14159265358979f) * deviation);
}

SpectrogramPalette MakeBase() {
    SpectrogramPalette table{};
    for (int i = 0; i < 256; ++i) {
        const float w = static_cast<float>(i) * 250.0f * 0.00390625f + 450.0f;
        PaletteEntry& e = table[i];
        e.blue = static_cast<uint8_t>(static_cast<int>(Gaussian(w, 450.0f, 35.91f) * 11250.0f));
        e.green = static_cast<uint8_t>(static_cast<int>(Gaussian(w, 550.0f, 64.08f) * 33750.0f));
        const float red = Gaussian(w, 440.0f, 228.6f) * 0.1f + Gaussian(w, 590.0f, 81.0f) * 0.9f;
        e.red = static_cast<uint8_t>(static_cast<int>(red * 55125.00000000001));
    }
    return table;
}

uint8_t Lighter(uint8_t v) {
    return v < 206 ? static_cast<uint8_t>(v + 50) : 255;
}

SpectrogramPalette MakeSelected() {
    SpectrogramPalette table = BaseSpectrogramPalette();
    for (PaletteEntry& e : table) {
        e.blue = Lighter(e.blue);
        e.green = Lighter(e.green);
        e.red = Lighter(e.red);
    }
    return table;
}

} // namespace

const SpectrogramPalette& BaseSpectrogramPalette() {
    static const SpectrogramPalette table = MakeBase();
    return table;
}

const SpectrogramPalette& SelectedSpectrogramPalette() {
    static const SpectrogramPalette table = MakeSelected();
    return table;
}

QList<QRgb> ToColorTable(const SpectrogramPalette& palette) {
    QList<QRgb> table;
    table.reserve(static_cast<qsizetype>(palette.size()));
    for (const PaletteEntry& e : palette)
        table.push_back(qRgb(e.red, e.green, e.blue));
    return table;
}

} // namespace tw
