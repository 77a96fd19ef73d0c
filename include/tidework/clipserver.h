// The clip server and the audio writer of the windowless clip engine. A host that uses the engine
// without document windows creates CAudioClipServer once, calls InitServer before any clip or
// writer and Cleanup at the end; CAudioWriter writes the host's rendered audio to any format the
// audio file filters know, with a peak file beside it and track marks as cue points.
//
// Slot numbers count from IUnknown's 0. Plain C++ hosts include this header and com.h and nothing
// else. Out strings are BSTRs the caller frees with SysFreeString.
#pragma once

#include <tidework/com.h>
#include <tidework/wavefmt.h>

#include <cstdint>

// {AA274BF6-E29B-4BD0-881F-217333F0215F}
constexpr CLSID CLSID_CAudioClipServer = {
    0xAA274BF6, 0xE29B, 0x4BD0, {0x88, 0x1F, 0x21, 0x73, 0x33, 0xF0, 0x21, 0x5F}};
// {D9ED78F2-3E0A-4829-81D8-1A05F1EBBC9B}
constexpr IID IID_IAudioClipServer = {
    0xD9ED78F2, 0x3E0A, 0x4829, {0x81, 0xD8, 0x1A, 0x05, 0xF1, 0xEB, 0xBC, 0x9B}};
// {4F0280E4-123B-4D09-87B3-F3B4A2C2E593}
constexpr CLSID CLSID_CAudioWriter = {
    0x4F0280E4, 0x123B, 0x4D09, {0x87, 0xB3, 0xF3, 0xB4, 0xA2, 0xC2, 0xE5, 0x93}};
// {CEFE9296-4859-4A85-8980-E5881486B0C2}
constexpr IID IID_IAudioWriter = {
    0xCEFE9296, 0x4859, 0x4A85, {0x89, 0x80, 0xE5, 0x88, 0x14, 0x86, 0xB0, 0xC2}};

// The engine's global services. Any thread.
struct IAudioClipServer : IUnknown {
    // 3: loads the audio file filters (a missing library is shown as a message, which also stays as
    // the thread's error information; the result is S_OK all the same, and no file can then be
    // opened or written).
    virtual HRESULT InitServer() = 0;
    virtual HRESULT Cleanup() = 0; // 4: S_OK
    // 5: two 32-bit words: [0] 1 while any editor window's thread runs, else 0; [1] the number of
    // editor windows listed. The caller must offer room for both words.
    virtual HRESULT QueryTKStatusByTrackloomRM(int32_t* pStatus) = 0;
    // 6: closes every editor window and waits up to ten seconds for them to go.
    virtual HRESULT ForceCloseAllTKWindow() = 0;
};

// One target file. A writer opens at most one file at a time; the file is finished (peak file
// header, cue points of the track splits) when the writer's last reference is released.
struct IAudioWriter : IUnknown {
    // 3: asks for the target file with the system's save dialog (filter nFilterIndex from 0, or -1
    // for WAV) and opens it for samples in pTargetFormat; with bConvertToPCM 1 Write takes float
    // frames of pTargetFormat's channel count and quantises them. S_OK also when cancelled.
    virtual HRESULT DoSaveDialog(const WAVEFORMATEX* pTargetFormat, int32_t bConvertToPCM,
                                 int32_t nFilterIndex) = 0;
    // 4: opens bstrFileName through the filter of its extension. Nothing happens, with S_OK, for an
    // extension no filter writes. varHWND holds the parent window (VT_I4/VT_UI4/VT_INT/VT_I8) or
    // is empty. A failed open shows the reason, which also stays as the thread's error information
    // (GetErrorInfo); later Write calls then give S_FALSE.
    virtual HRESULT CreateWAV(BSTR bstrFileName, const WAVEFORMATEX* pwfTarget, int32_t bConvertToPCM,
                              VARIANT varHWND) = 0;
    // 5: nSamplesToWrite frames (not bytes) from pData. S_OK written, S_FALSE not (no file open, or
    // the write failed).
    virtual HRESULT Write(const uint8_t* pData, int32_t nSamplesToWrite) = 0;
    virtual HRESULT GetFileFilterCount(int32_t* pnFilterCount) = 0; // 6: formats the writer offers
    // 7: the display name of filter nFilterIndex (from 0); E_INVALIDARG out of range.
    virtual HRESULT GetFileFilterText(int32_t nFilterIndex, BSTR* pbstrName) = 0;
    virtual HRESULT ConfigureFileFilters() = 0; // 8: the filters' settings dialog
    // 9: a track mark at frame nPosition of the target, kept sorted; stored as a cue point.
    virtual HRESULT AddTrackSplit(uint32_t nPosition, BSTR bstrTitle, BSTR bstrArtist) = 0;
};
