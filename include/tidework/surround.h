// The channel mappers the system loads from components/surround (libsurround.so in SCF/): the
// surround renderer, which folds a multichannel stream down to fewer channels (a standard down-mix
// or one of the two virtual-surround modes), and the up-mix object, which spreads a stream over
// more channels. Both answer ISurroundRenderer; the renderer also answers ISurroundMode.
//
// Arrays of samples cross as SAFEARRAYs of 4-byte elements holding interleaved float frames; the
// component allocates what it hands out with SafeArrayCreateVector and the caller destroys it.
// Slot numbers count from IUnknown's 0.
#pragma once

#include <tidework/com.h>

#include <cstdint>

// {205F750A-E146-4EB0-BCD8-C3946D922950} the surround renderer (down-mix, virtual surround)
constexpr CLSID CLSID_SurroundRenderer = {
    0x205F750A, 0xE146, 0x4EB0, {0xBC, 0xD8, 0xC3, 0x94, 0x6D, 0x92, 0x29, 0x50}};
// {ADC8513C-D58E-4D29-A6AB-7D5EA44562C4} the up-mix object
constexpr CLSID CLSID_UpMix = {0xADC8513C, 0xD58E, 0x4D29, {0xA6, 0xAB, 0x7D, 0x5E, 0xA4, 0x45, 0x62, 0xC4}};
// {2D4E70F7-EAD9-4CF4-A19F-B8BD6A6A7231}
constexpr IID IID_ISurroundRenderer = {
    0x2D4E70F7, 0xEAD9, 0x4CF4, {0xA1, 0x9F, 0xB8, 0xBD, 0x6A, 0x6A, 0x72, 0x31}};
// {36A22460-0CC9-11D0-8574-00A0C9053912}
constexpr IID IID_ISurroundMode = {
    0x36A22460, 0x0CC9, 0x11D0, {0x85, 0x74, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}};

// Speaker masks the system hands a mapper: front left 1, front right 2, centre 4, LFE 8, back left
// 0x10, back right 0x20, side left 0x200, side right 0x400 (the WAVE channel-mask bits, which also
// give the order of the channels in a frame). A mask of 0 stands for the usual layout of the count:
// 1 centre; 2 front pair; 3 front pair and centre; 4 front and back pairs; 5 those and the centre;
// 6 0x3F; 7 front pair, centre, LFE, back centre, side pair; 8 0x63F.
enum : uint32_t {
    kSpeakersMono = 0x4,
    kSpeakersStereo = 0x3,
    kSpeakers51 = 0x3F,
    kSpeakers71 = 0x63F,
};

// The mask the system hands a mapper for a channel count it maps: 0 for the counts it leaves to
// the mapper's usual layout.
constexpr uint32_t MapperSpeakerMask(int32_t channels) {
    switch (channels) {
    case 1:
        return kSpeakersMono;
    case 2:
        return kSpeakersStereo;
    case 6:
        return kSpeakers51;
    case 8:
        return kSpeakers71;
    default:
        return 0;
    }
}

// Modes of ISurroundMode::SetMode (the AudioOutput / SurroundMode and FormatConversion /
// DownMixMode values above 0 select the virtual-surround modes; 0 is the standard down-mix). The
// virtual modes render for two ears and so need a stereo output; with any other output the
// renderer makes the standard down-mix in them.
enum : int32_t {
    kSurroundStandard = 0,
    kSurroundHeadphone = 1,
    kSurroundRoom = 2,
};

class ISurroundRenderer : public IUnknown {
public:
    // Slot 3: maps `input` (interleaved frames of the configured input channels) and hands back a
    // new array of as many frames of the output channels in `*output`, or null for an empty input.
    // Frames of a virtualiser's delay line come out later, in the next calls and in Flush; blocks of
    // any size join exactly as one run would. E_UNEXPECTED before a configuration; E_POINTER for
    // null pointers; E_INVALIDARG for an array of more than one dimension, elements other than 4
    // bytes, or a count that is not a whole number of frames.
    virtual HRESULT Process(SAFEARRAY* input, SAFEARRAY** output) = 0;
    // Slot 4: the tail still held (a virtualiser's reverberation, the up-mix's surround delay),
    // once; null when none is left. Afterwards the mapper starts from silence.
    virtual HRESULT Flush(SAFEARRAY** output) = 0;
    // Slot 5: forgets all history (delay lines, the tail) but keeps the configuration.
    virtual HRESULT Reset() = 0;
    // Slots 6 to 11: the configuration in force.
    virtual HRESULT GetInputChannels(int32_t* channels) = 0;
    virtual HRESULT GetOutputChannels(int32_t* channels) = 0;
    virtual HRESULT GetInputRate(int32_t* rate) = 0;
    virtual HRESULT GetOutputRate(int32_t* rate) = 0;
    virtual HRESULT GetInputMask(uint32_t* mask) = 0;
    virtual HRESULT GetOutputMask(uint32_t* mask) = 0;
    // Slot 12: frames by which the output lags the input (the earliest answer to an impulse).
    virtual HRESULT GetLatency(int32_t* frames) = 0;
    // Slots 13 and 14: a linear gain applied to the output, 1.0 from construction.
    virtual HRESULT SetOutputGain(float gain) = 0;
    virtual HRESULT GetOutputGain(float* gain) = 0;
    // Slot 15: configures the mapper (the initialise operation of the output devices). 0 on
    // success; E_INVALIDARG for rates outside 1..768000, channel counts outside 1..8, a non-zero
    // mask whose speakers do not number the channels, or a mapping the object does not make (the
    // renderer folds down or keeps the count, the up-mix object spreads up or keeps it); the rates
    // must be equal, since neither object resamples. A refused call leaves the configuration in
    // force as it was.
    virtual HRESULT Initialise(int32_t inputRate, int32_t outputRate, int32_t inputChannels,
                               int32_t outputChannels, uint32_t inputMask, uint32_t outputMask) = 0;
    // Slot 16: S_OK once configured, S_FALSE before.
    virtual HRESULT IsInitialised() = 0;
    // Slot 17: the name of the mapping in force ("ITU-R BS.775 down-mix", ...), a new BSTR.
    virtual HRESULT GetDescription(BSTR* text) = 0;
    // Slot 18: the same configuration as slot 15, for callers that set the format first and then
    // initialise; a later call of either replaces it and clears the history.
    virtual HRESULT SetFormat(int32_t inputRate, int32_t outputRate, int32_t inputChannels,
                              int32_t outputChannels, uint32_t inputMask, uint32_t outputMask) = 0;
};

class ISurroundMode : public IUnknown {
public:
    // Slot 3: the mode in force.
    virtual HRESULT GetMode(int32_t* mode) = 0;
    // Slot 4: how many modes the object offers (3).
    virtual HRESULT GetModeCount(int32_t* count) = 0;
    // Slot 5: selects a mode (kSurroundStandard, kSurroundHeadphone, kSurroundRoom) and clears the
    // history; E_INVALIDARG for others.
    virtual HRESULT SetMode(int32_t mode) = 0;
};
