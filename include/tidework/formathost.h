// The audio format library's ABI: the only way the system reads or writes an audio file other than
// its own container. The library (FormatHost/libformathost.so beside the system) exports
// `GetFormatHost`; everything it hands out is reference counted and answers QueryInterface.
//
// Rules of this ABI:
// - Interfaces derive from IUnknown (com.h); slots follow the listed order and never change.
// - Strings are zero-terminated UTF-16 `const char16_t*`. A string returned by a method is owned by
//   the object that returned it and stays valid for that object's life.
// - An out pointer to an interface receives a reference the caller releases. An out status object
//   (IFormatStatus**) may be left null when there is nothing to report; a non-null one is released
//   by the caller.
// - Sample data crosses as interleaved little-endian integer PCM: 8 bits unsigned (128 is zero),
//   16, 24 (3 bytes packed) or 32 bits signed.
// - Objects are used by one thread at a time.
#pragma once

#include <tidework/com.h>

#include <cstdint>

// Plug-in type codes.
constexpr int32_t FH_PLUGIN_READER = 3;
constexpr int32_t FH_PLUGIN_WRITER = 4;

// Capability bits of a plug-in (through its reader or writer interface) and of a source.
constexpr uint32_t FH_CAP_IN_SERVICE = 0x1;
constexpr uint32_t FH_CAP_OPENS_FILES = 0x1000;
constexpr uint32_t FH_CAP_CUES = 0x80000;

// Flags of IFormatHost::OpenFile.
constexpr uint32_t FH_OPEN_FILE = 0x1000;

// Status codes.
constexpr uint32_t FH_E_FAILURE = 0x80000000u;
constexpr uint32_t FH_E_INVALID_PARAMETER = 0x80000001u;
constexpr uint32_t FH_E_INSUFFICIENT_BUFFER = 0x80000002u;
constexpr uint32_t FH_E_BAD_PATH = 0x80000003u;
constexpr uint32_t FH_E_FILE_INVALID = 0x80000004u;
constexpr uint32_t FH_E_NOT_IMPLEMENTED = 0x80000005u;
constexpr uint32_t FH_E_END_OF_FILE = 0x80000006u;
constexpr uint32_t FH_E_OPEN_FAILED = 0x80000007u;
constexpr uint32_t FH_E_SEEK_FAILED = 0x80000008u;
constexpr uint32_t FH_E_BAD_FORMAT = 0x80000009u;
constexpr uint32_t FH_E_NOT_ACTIVE = 0x80000010u;
constexpr uint32_t FH_E_READ_FAULT = 0x80000011u;
constexpr uint32_t FH_E_WRITE_FAULT = 0x80000012u;
constexpr uint32_t FH_E_WRONG_CALL = 0x80000013u;
constexpr uint32_t FH_E_FILE_NOT_FOUND = 0x80000014u;
constexpr uint32_t FH_E_ABORTED = 0x80000015u;
constexpr uint32_t FH_E_SKIP = 0x80000016u;

// What a writer is asked to write: rate in Hz, bits per sample, channels (in this order), and the
// speaker mask of the channels (0: none).
struct FormatHostSampleSpec {
    uint32_t sampleRate;
    uint32_t bits;
    uint32_t channels;
    uint32_t channelMask;
};

// The outcome of a failed operation.
struct IFormatStatus : IUnknown {
    virtual uint32_t GetCode() = 0;        // slot 3: one of FH_E_*
    virtual bool IsSystemError() = 0;      // slot 4: the failure came from the operating system
    virtual int32_t GetSystemError() = 0;  // slot 5: its error number (errno), 0 if none
    virtual const char16_t* GetText() = 0; // slot 6: a ready message, or empty
};

// Given the system's settings path and window by the system; the library may log or keep options.
struct IFormatLog : IUnknown {
    virtual HRESULT SetPath(const char16_t* path) = 0; // slot 3
    virtual HRESULT SetWindow(uint32_t window) = 0;    // slot 4
};

struct IFormatConfig : IUnknown {
    virtual HRESULT SetPath(const char16_t* path) = 0; // slot 3
    virtual HRESULT SetWindow(uint32_t window) = 0;    // slot 4
};

// Reader side of a plug-in (QueryInterface on IFormatPlugin).
struct IFormatReaderPlugin : IUnknown {
    virtual uint32_t GetCapabilities() = 0; // slot 3: FH_CAP_* bits
};

// Writer side of a plug-in (QueryInterface on IFormatPlugin); handed to IFormatHost::CreateWriter.
struct IFormatWriterPlugin : IUnknown {
    virtual uint32_t GetCapabilities() = 0; // slot 3: FH_CAP_* bits
};

// One entry of the plug-in list.
struct IFormatPlugin : IUnknown {
    virtual int32_t GetType() = 0;                           // slot 3: FH_PLUGIN_READER / _WRITER
    virtual const char16_t* GetName() = 0;                   // slot 4: display name
    virtual int32_t GetExtensionCount() = 0;                 // slot 5
    virtual const char16_t* GetExtension(int32_t index) = 0; // slot 6: without the dot; null out of range
};

struct IFormatPluginList : IUnknown {
    virtual int32_t GetCount() = 0;                                  // slot 3
    virtual HRESULT GetItem(int32_t index, IFormatPlugin** out) = 0; // slot 4
};

// --- Reading. The source object from IFormatHost::OpenFile answers these interfaces. ---

struct IFormatSourceSetup : IUnknown {
    // slot 3: selects stream `index` (0: the first) and makes the source ready to read.
    virtual bool Open(int32_t index, IFormatStatus** status) = 0;
    // slot 4: sample rate in Hz, bits, channels, length in frames.
    virtual HRESULT GetDescription(uint32_t* sampleRate, uint32_t* bits, uint32_t* channels,
                                   int64_t* frames) = 0;
    virtual uint32_t GetCapabilities() = 0;      // slot 5: FH_CAP_CUES when IFormatCues has entries to give
    virtual HRESULT Close(int32_t reserved) = 0; // slot 6: pass 0
};

struct IFormatSourceRead : IUnknown {
    // slot 3: up to `bytes` bytes of sample data at the current place. False with a status at the end
    // of the data (FH_E_END_OF_FILE) or on a fault; `delivered` tells how many bytes came.
    virtual bool Read(void* buffer, uint32_t bytes, uint32_t* delivered, IFormatStatus** status) = 0;
};

struct IFormatSourceSeek : IUnknown {
    virtual HRESULT SeekFrame(int64_t frame) = 0; // slot 3
};

// Cue points with named text fields ("title", "artist", ...), on sources that have them.
struct IFormatCues : IUnknown {
    virtual int32_t GetCueCount() = 0;                                     // slot 3
    virtual int64_t GetCueFrame(int32_t cue) = 0;                          // slot 4
    virtual int32_t GetFieldCount(int32_t cue) = 0;                        // slot 5
    virtual const char16_t* GetFieldName(int32_t cue, int32_t field) = 0;  // slot 6
    virtual const char16_t* GetFieldValue(int32_t cue, int32_t field) = 0; // slot 7
};

// Text properties of the whole file, as IFormatTargetProperties names them, on sources that keep
// some.
struct IFormatSourceProperties : IUnknown {
    // slot 3: the text stored under `name`, valid until the source closes; null when there is none.
    virtual const char16_t* GetText(const char16_t* name) = 0;
};

// --- Writing. The target object from IFormatHost::CreateWriter answers these interfaces. ---

struct IFormatTargetFile : IUnknown {
    virtual bool SetPath(const char16_t* path) = 0; // slot 3
};

struct IFormatTargetSetup : IUnknown {
    virtual bool Open(IFormatStatus** status) = 0;  // slot 3: creates the file at the path set
    virtual bool Close(IFormatStatus** status) = 0; // slot 4: finishes the file; harmless twice
};

struct IFormatTargetWrite : IUnknown {
    // slot 3: sample data in the layout asked for; `taken` tells the bytes accepted.
    virtual bool Write(const void* buffer, uint32_t bytes, uint32_t* taken, IFormatStatus** status) = 0;
    virtual HRESULT SeekFrame(int64_t frame) = 0; // slot 4
};

// Text properties of the whole file ("title", "artist", "album", "comment", "date", "genre",
// "copyright", "software", "tracknumber"); set before or during writing, stored at the close.
struct IFormatTargetProperties : IUnknown {
    virtual HRESULT SetText(const char16_t* name, const char16_t* value) = 0; // slot 3
};

struct IFormatTargetCues : IUnknown {
    // slot 3: a cue at `frame` with its two texts (artist, title); stored at the close.
    virtual HRESULT AddCue(int64_t frame, const char16_t* artist, const char16_t* title) = 0;
};

// The format the target really writes, which may differ from the one asked for.
struct IFormatTargetFormat : IUnknown {
    virtual HRESULT GetFormat(uint32_t* sampleRate, uint32_t* bits, uint32_t* channels) = 0; // slot 3
};

struct IFormatHost : IUnknown {
    // slot 3: the system's folder of the library (directory key 6) and its parent window.
    virtual HRESULT Initialise(const char16_t* directory, uint32_t window) = 0;
    virtual HRESULT CreateLog(IFormatLog** out) = 0;         // slot 4
    virtual HRESULT CreateConfig(IFormatConfig** out) = 0;   // slot 5
    virtual HRESULT GetPlugins(IFormatPluginList** out) = 0; // slot 6
    // slot 7: opens `path` for reading; `flags` FH_OPEN_FILE; `index` -1 lets the library choose the
    // plug-in. True with a source (IUnknown answering the IFormatSource* interfaces).
    virtual bool OpenFile(const char16_t* path, uint32_t flags, int32_t index, IUnknown** source,
                          IFormatStatus** status) = 0;
    // slot 8: a target (IUnknown answering the IFormatTarget* interfaces) of the plug-in whose
    // writer interface is given, for samples as described.
    virtual HRESULT CreateWriter(IFormatWriterPlugin* writer, IUnknown** target,
                                 const FormatHostSampleSpec* spec) = 0;
};

// {5B1E7A40-3C2D-4E8F-9A61-7D0C2B4E1F01} and following.
constexpr GUID IID_IFormatStatus = {
    0x5B1E7A40, 0x3C2D, 0x4E8F, {0x9A, 0x61, 0x7D, 0x0C, 0x2B, 0x4E, 0x1F, 0x01}};
constexpr GUID IID_IFormatLog = {
    0x5B1E7A40, 0x3C2D, 0x4E8F, {0x9A, 0x61, 0x7D, 0x0C, 0x2B, 0x4E, 0x1F, 0x02}};
constexpr GUID IID_IFormatConfig = {
    0x5B1E7A40, 0x3C2D, 0x4E8F, {0x9A, 0x61, 0x7D, 0x0C, 0x2B, 0x4E, 0x1F, 0x03}};
constexpr GUID IID_IFormatReaderPlugin = {
    0x5B1E7A40, 0x3C2D, 0x4E8F, {0x9A, 0x61, 0x7D, 0x0C, 0x2B, 0x4E, 0x1F, 0x04}};
constexpr GUID IID_IFormatWriterPlugin = {
    0x5B1E7A40, 0x3C2D, 0x4E8F, {0x9A, 0x61, 0x7D, 0x0C, 0x2B, 0x4E, 0x1F, 0x05}};
constexpr GUID IID_IFormatPlugin = {
    0x5B1E7A40, 0x3C2D, 0x4E8F, {0x9A, 0x61, 0x7D, 0x0C, 0x2B, 0x4E, 0x1F, 0x06}};
constexpr GUID IID_IFormatPluginList = {
    0x5B1E7A40, 0x3C2D, 0x4E8F, {0x9A, 0x61, 0x7D, 0x0C, 0x2B, 0x4E, 0x1F, 0x07}};
constexpr GUID IID_IFormatSourceSetup = {
    0x5B1E7A40, 0x3C2D, 0x4E8F, {0x9A, 0x61, 0x7D, 0x0C, 0x2B, 0x4E, 0x1F, 0x08}};
constexpr GUID IID_IFormatSourceRead = {
    0x5B1E7A40, 0x3C2D, 0x4E8F, {0x9A, 0x61, 0x7D, 0x0C, 0x2B, 0x4E, 0x1F, 0x09}};
constexpr GUID IID_IFormatSourceSeek = {
    0x5B1E7A40, 0x3C2D, 0x4E8F, {0x9A, 0x61, 0x7D, 0x0C, 0x2B, 0x4E, 0x1F, 0x0A}};
constexpr GUID IID_IFormatCues = {
    0x5B1E7A40, 0x3C2D, 0x4E8F, {0x9A, 0x61, 0x7D, 0x0C, 0x2B, 0x4E, 0x1F, 0x0B}};
constexpr GUID IID_IFormatTargetFile = {
    0x5B1E7A40, 0x3C2D, 0x4E8F, {0x9A, 0x61, 0x7D, 0x0C, 0x2B, 0x4E, 0x1F, 0x0C}};
constexpr GUID IID_IFormatTargetSetup = {
    0x5B1E7A40, 0x3C2D, 0x4E8F, {0x9A, 0x61, 0x7D, 0x0C, 0x2B, 0x4E, 0x1F, 0x0D}};
constexpr GUID IID_IFormatTargetWrite = {
    0x5B1E7A40, 0x3C2D, 0x4E8F, {0x9A, 0x61, 0x7D, 0x0C, 0x2B, 0x4E, 0x1F, 0x0E}};
constexpr GUID IID_IFormatTargetProperties = {
    0x5B1E7A40, 0x3C2D, 0x4E8F, {0x9A, 0x61, 0x7D, 0x0C, 0x2B, 0x4E, 0x1F, 0x0F}};
constexpr GUID IID_IFormatTargetCues = {
    0x5B1E7A40, 0x3C2D, 0x4E8F, {0x9A, 0x61, 0x7D, 0x0C, 0x2B, 0x4E, 0x1F, 0x10}};
constexpr GUID IID_IFormatTargetFormat = {
    0x5B1E7A40, 0x3C2D, 0x4E8F, {0x9A, 0x61, 0x7D, 0x0C, 0x2B, 0x4E, 0x1F, 0x11}};
constexpr GUID IID_IFormatHost = {
    0x5B1E7A40, 0x3C2D, 0x4E8F, {0x9A, 0x61, 0x7D, 0x0C, 0x2B, 0x4E, 0x1F, 0x12}};
constexpr GUID IID_IFormatSourceProperties = {
    0x5B1E7A40, 0x3C2D, 0x4E8F, {0x9A, 0x61, 0x7D, 0x0C, 0x2B, 0x4E, 0x1F, 0x13}};

// The library's one export: on success *out holds a new reference to the host object.
using GetFormatHostFn = bool (*)(IFormatHost** out);
