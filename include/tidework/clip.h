// The clip object of the windowless clip engine: one clip on a host's timeline. A host creates it
// with CoCreateInstance(CLSID_CWaveClip) (or the library's DllGetClassObject), opens a file or a
// serialised clip into it, sets the rate and channel count it renders at, and then reads samples,
// curves, tracks and indexes through the interfaces below. Plain C++ hosts include this header and
// com.h and nothing else.
//
// Slot numbers count from IUnknown's 0. Lengths and positions a host passes or receives are in
// frames at the render rate unless a method says otherwise; sample arrays are interleaved floats.
// Out strings are BSTRs the caller frees with SysFreeString; out arrays are SAFEARRAYs the caller
// destroys with SafeArrayDestroy.
#pragma once

#include <tidework/com.h>

#include <cstdint>

// {3B70BA3D-0ACE-4E0D-9B1C-780C9F7C2843}
constexpr CLSID CLSID_CWaveClip = {
    0x3B70BA3D, 0x0ACE, 0x4E0D, {0x9B, 0x1C, 0x78, 0x0C, 0x9F, 0x7C, 0x28, 0x43}};

// {3060E7BA-32B7-4183-BB83-63147316436D}
constexpr IID IID_IAbstractClip = {
    0x3060E7BA, 0x32B7, 0x4183, {0xBB, 0x83, 0x63, 0x14, 0x73, 0x16, 0x43, 0x6D}};
// {D17177DF-0317-4595-97A7-58EFF89C4364}
constexpr IID IID_IAudioReader = {
    0xD17177DF, 0x0317, 0x4595, {0x97, 0xA7, 0x58, 0xEF, 0xF8, 0x9C, 0x43, 0x64}};
// {67D049CC-C3BB-47A5-9C15-5534334D4000}
constexpr IID IID_IVisualReader = {
    0x67D049CC, 0xC3BB, 0x47A5, {0x9C, 0x15, 0x55, 0x34, 0x33, 0x4D, 0x40, 0x00}};
// {A5C799F7-533F-4D81-ADA8-C5B23364B1C8}
constexpr IID IID_ISerializable = {
    0xA5C799F7, 0x533F, 0x4D81, {0xAD, 0xA8, 0xC5, 0xB2, 0x33, 0x64, 0xB1, 0xC8}};
// {E43590E9-A9E3-4EE4-9FD9-47F51DA4E1C1}
constexpr IID IID_ITrackSplitting = {
    0xE43590E9, 0xA9E3, 0x4EE4, {0x9F, 0xD9, 0x47, 0xF5, 0x1D, 0xA4, 0xE1, 0xC1}};
// {896DD610-2E26-430B-91FC-2EA02737789D}
constexpr IID IID_ITransitionScale = {
    0x896DD610, 0x2E26, 0x430B, {0x91, 0xFC, 0x2E, 0xA0, 0x27, 0x37, 0x78, 0x9D}};
// {76723877-99B4-4F0D-B341-0AA4DA07051F}
constexpr IID IID_IIndexContainer = {
    0x76723877, 0x99B4, 0x4F0D, {0xB3, 0x41, 0x0A, 0xA4, 0xDA, 0x07, 0x05, 0x1F}};
// {DF0B3D60-548F-101B-8E65-00AA003E0A04}: the standard query for rich error information.
constexpr IID IID_ISupportErrorInfo = {
    0xDF0B3D60, 0x548F, 0x101B, {0x8E, 0x65, 0x00, 0xAA, 0x00, 0x3E, 0x0A, 0x04}};

// The clip as a whole. Call order: OpenFile (or ISerializable::CreateFromSerialization), then
// SetRenderFormat, then any reader or curve operation.
struct IAbstractClip : IUnknown {
    // 3: an audio file through the format filters, or a project ("vtf"). E_FAIL when it cannot be
    // read; the reason is shown as a message.
    virtual HRESULT OpenFile(BSTR bstrFileName) = 0;
    virtual HRESULT Create() = 0;                              // 4: E_NOTIMPL
    virtual HRESULT QueryCreationMode(uint32_t* pdwFlags) = 0; // 5: always 1
    // 6: float samples at this rate and channel count from then on.
    virtual HRESULT SetRenderFormat(int32_t nSamplesPerSec, int16_t nChannels) = 0;
    virtual HRESULT GetName(BSTR* pbstrName) = 0;                  // 7: the file name opened
    virtual HRESULT GetOriginalLength(int64_t* pnSampleCount) = 0; // 8: render frames
    // 9: the filter string of the file dialogs ("name|patterns|..."): for opening with an all-files
    // entry when vbImport is true, else for saving.
    virtual HRESULT GetFileFilterText(BSTR* pbstrFileFilter, VARIANT_BOOL vbImport) = 0;
    // 10: beats per minute around a render position; with bIntegralBeatCount 1 the tempo that fits a
    // whole number of beats into the clip. 0.0 for a clip shorter than a second.
    virtual HRESULT GetOriginalTempo(float* pfTempoInBPM, int32_t nPosition, int32_t bIntegralBeatCount) = 0;
    virtual HRESULT GetSourceChannels(int16_t* pnChannelCount) = 0;           // 11
    virtual HRESULT SetTempoScale(float fTempoScale, float fMasterTempo) = 0; // 12: stored only
    // 13, 14: the length the readers play, repeating the clip without a gap when it is longer.
    virtual HRESULT SetLoopedLength(int64_t nLengthInSamples) = 0;
    virtual HRESULT GetLoopedLength(int64_t* pnLengthInSamples) = 0;
    virtual HRESULT ShowEditor() = 0;                // 15: S_FALSE while an editor is open
    virtual HRESULT SetHost(IUnknown* punkHost) = 0; // 16: E_FAIL when it offers no host interface
    // 17: replaces document frames [nBegin, nEnd) with another edited media of this process, whose
    // address pEditedMedia is. S_FALSE for null.
    virtual HRESULT ReplaceEditedMedia(uint64_t* pEditedMedia, int64_t nBegin, int64_t nEnd) = 0;
};

// Independent sample readers: each handle has its own copy of the clip (looped to the looped
// length) and its own position, so several threads may read at once, one handle per thread.
struct IAudioReader : IUnknown {
    virtual HRESULT Open(uint64_t* pnHandle) = 0;                  // 3
    virtual HRESULT Seek(uint64_t nHandle, int64_t nPosition) = 0; // 4: render frames
    // 5: fills the whole array (4-byte elements, a multiple of the render channel count) and moves
    // on by its frame count; silence behind the end. Rate conversion is linear within one call.
    virtual HRESULT Read(uint64_t nHandle, SAFEARRAY** psaAudio) = 0;
    virtual HRESULT Close(uint64_t nHandle) = 0; // 6
};

struct IVisualReader : IUnknown {
    virtual HRESULT QueryBitmapSupport(VARIANT_BOOL* pbSupportsBitmap) = 0; // 3: false
    virtual HRESULT GetBitmap(int64_t nBegin, int64_t nEnd, int16_t nWidth, int16_t nHeight,
                              IUnknown** ppPicture) = 0; // 4: E_NOTIMPL
    // 5: nWidth columns over render frames [nBegin, nEnd): channels * nWidth * 2 floats, column by
    // column, in a column channel by channel, minimum then maximum.
    virtual HRESULT GetCurve(int64_t nBegin, int64_t nEnd, int32_t nWidth, SAFEARRAY** ppsaCurve) = 0;
    // 6: how far the background peak scan has come; 100 when done or none ran.
    virtual HRESULT GetProgress(int16_t* pnProgressInPercent) = 0;
};

// The clip's whole edit state as bytes for the host's project (the container format, version 3).
struct ISerializable : IUnknown {
    virtual HRESULT CreateFromSerialization(SAFEARRAY* psaData) = 0; // 3: 1-byte elements
    virtual HRESULT Serialize(SAFEARRAY** ppsaData) = 0;             // 4
};

// Tracks found between silent pauses. Positions of sections are document frames.
struct ITrackSplitting : IUnknown {
    // 3: fThreshold is a linear level (0..1), or decibels when negative; durations in seconds.
    virtual HRESULT DetectTracks(float fThreshold, float fMinTrackDuration, float fMinPauseDuration) = 0;
    virtual HRESULT GetTrackCount(int32_t* pnCount) = 0; // 4
    virtual HRESULT GetTrackSection(int32_t niTrack, int32_t* pnBegin,
                                    int32_t* pnEnd) = 0;                           // 5: E_FAIL out of range
    virtual HRESULT SerializeTrackClip(int32_t niTrack, SAFEARRAY** ppsaData) = 0; // 6: as Serialize
};

struct ITransitionScale : IUnknown {
    virtual HRESULT TransitionScale(int32_t nLength, uint32_t dwModeFlags,
                                    float fTempoScale) = 0; // 3: stored only
};

// The clip's indexes (markers: cue points of the file, track splits). Positions are document frames.
struct IIndexContainer : IUnknown {
    virtual HRESULT GetIndexCount(int32_t* pnCount) = 0; // 3
    // 4: E_INVALIDARG out of range.
    virtual HRESULT GetIndex(int32_t niIndex, int32_t* pnPosition, int16_t* pnType, BSTR* pbstrTitle,
                             BSTR* pbstrArtist) = 0;
};

struct ISupportErrorInfo : IUnknown {
    // 3: S_OK for the interfaces that report rich errors, S_FALSE for others.
    virtual HRESULT InterfaceSupportsErrorInfo(const IID& riid) = 0;
};
