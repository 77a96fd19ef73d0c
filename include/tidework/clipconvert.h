// Sample format conversion of a whole clip into a file, the same conversion the editor's Convert
// Sample Format command runs: the channels are mapped, the rate is converted block by block and
// the samples are quantised to the target's width with the dither settings of the store. A clip
// object answers IClipConversion once a file or a serialised clip is open in it.
#pragma once

#include <tidework/com.h>
#include <tidework/wavefmt.h>

#include <cstdint>

// {5E0C3D2A-8B6F-4C71-9A44-2F1E7B93D0C6}
constexpr IID IID_IClipConversion = {
    0x5E0C3D2A, 0x8B6F, 0x4C71, {0x9A, 0x44, 0x2F, 0x1E, 0x7B, 0x93, 0xD0, 0xC6}};

// Failures of ConvertToFile beside E_POINTER and E_INVALIDARG.
constexpr HRESULT CONVERT_E_NOWRITER = static_cast<HRESULT>(0x80040201u);     // no writer for the extension
constexpr HRESULT CONVERT_E_CANNOTCREATE = static_cast<HRESULT>(0x80040202u); // the file cannot be made
constexpr HRESULT CONVERT_E_NOMAPPER = static_cast<HRESULT>(0x80040203u);     // channels cannot be mapped
constexpr HRESULT CONVERT_E_NOFORMAT =
    static_cast<HRESULT>(0x80040204u); // the clip or target has no usable format
constexpr HRESULT CONVERT_E_WRITEFAILED = static_cast<HRESULT>(0x80040205u); // writing stopped part way

struct IClipConversion : IUnknown {
    // 3: writes the whole clip, from its own rate (not the render rate), into `bstrFileName` through
    // the writer of the file's extension in the PCM format `pwfTarget` (8, 16, 24 or 32 bits, 1 to
    // 8 channels, 101 to 512000 Hz); a zero rate, channel count or width stands for the clip's own
    // (its width rounded up to one of those four), and the record is completed in place with what
    // was used. `nHalfWidth` is the resampler's half width in taps (1 to 64), `nDownMixMode` the
    // surround renderer's mode when channels are folded down (0, 1 or 2). `pnFramesWritten` (may be
    // null) receives the frames written. On any failure no file is left and an earlier file of that
    // name stays as it was.
    virtual HRESULT ConvertToFile(BSTR bstrFileName, WAVEFORMATEX* pwfTarget, int32_t nHalfWidth,
                                  int32_t nDownMixMode, int64_t* pnFramesWritten) = 0;
};
