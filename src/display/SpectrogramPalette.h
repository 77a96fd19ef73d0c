// The colour tables of the time-frequency displays: 256 intensities laid along the visible
// spectrum from 450 to about 699 nanometres, and a lighter copy for the selection.
#pragma once

#include <QList>
#include <QRgb>

#include <array>
#include <cstdint>

namespace tw {

// One entry as a bitmap colour table holds it: blue, green, red, and a zero byte.
struct PaletteEntry {
    uint8_t blue = 0;
    uint8_t green = 0;
    uint8_t red = 0;
    uint8_t reserved = 0;
};

using SpectrogramPalette = std::array<PaletteEntry, 256>;

// Entry i stands for the wavelength 450 + i * 250 / 256 nm; each byte is a Gaussian bump (two for
// red, so that the short end turns violet), computed in 32-bit floats.
const SpectrogramPalette& BaseSpectrogramPalette();
// The base table with 50 added to every byte, bytes of 206 or more going to 255.
const SpectrogramPalette& SelectedSpectrogramPalette();

// The table as an opaque QImage colour table.
QList<QRgb> ToColorTable(const SpectrogramPalette& palette);

} // namespace tw
