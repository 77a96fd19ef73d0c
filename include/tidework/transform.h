// The interfaces between the system and its effect components (transform managers and the
// transforms they make). A manager module exports DllGetClassObject; the system reaches it by class
// id through CoCreateInstance and asks it for IPluginManager. Slot numbers count from IUnknown's 0.
//
// Arrays of samples cross as SAFEARRAYs of 4-byte elements (floats, interleaved frames). A component
// allocates the arrays it hands out with SafeArrayCreateVector and the caller destroys them; both
// sides use the same malloc-based layout (see platform/ComRuntime), so a component may carry its own
// copy of the runtime helpers.
#pragma once

#include <tidework/com.h>

#include <cstdint>

// {6D32D183-28B4-4253-9858-A3F12C62CE66} LADSPA effects manager (the first manager enumerated)
constexpr CLSID CLSID_LadspaPluginManager = {
    0x6D32D183, 0x28B4, 0x4253, {0x98, 0x58, 0xA3, 0xF1, 0x2C, 0x62, 0xCE, 0x66}};
// {71CD24C5-9704-4D1F-86E8-F1E7AE677E43} built-in transforms manager
constexpr CLSID CLSID_BuiltinPluginManager = {
    0x71CD24C5, 0x9704, 0x4D1F, {0x86, 0xE8, 0xF1, 0xE7, 0xAE, 0x67, 0x7E, 0x43}};
// {F1F60FDD-97EA-43F1-920F-6EE61F32F435} LV2 effects manager
constexpr CLSID CLSID_Lv2PluginManager = {
    0xF1F60FDD, 0x97EA, 0x43F1, {0x92, 0x0F, 0x6E, 0xE6, 0x1F, 0x32, 0xF4, 0x35}};

// {4CDA4B5E-63B7-4116-8D35-3846315A8604}
constexpr IID IID_IPluginManager = {
    0x4CDA4B5E, 0x63B7, 0x4116, {0x8D, 0x35, 0x38, 0x46, 0x31, 0x5A, 0x86, 0x04}};
// {BD909C69-566E-4E19-941B-7F29BDFC0741}
constexpr IID IID_IPluginManagerControl = {
    0xBD909C69, 0x566E, 0x4E19, {0x94, 0x1B, 0x7F, 0x29, 0xBD, 0xFC, 0x07, 0x41}};
// {E66FD740-C618-467C-BA96-A9445549E639}
constexpr IID IID_ITransform = {0xE66FD740, 0xC618, 0x467C, {0xBA, 0x96, 0xA9, 0x44, 0x55, 0x49, 0xE6, 0x39}};
// {0A9F665D-C412-4802-B07D-16E9F945AC01}
constexpr IID IID_ITransformOffline = {
    0x0A9F665D, 0xC412, 0x4802, {0xB0, 0x7D, 0x16, 0xE9, 0xF9, 0x45, 0xAC, 0x01}};
// {24163FC3-AC9A-4433-97ED-5CC5BAA9BCBE}
constexpr IID IID_ITransformPresets = {
    0x24163FC3, 0xAC9A, 0x4433, {0x97, 0xED, 0x5C, 0xC5, 0xBA, 0xA9, 0xBC, 0xBE}};
// {E5C91263-BA6F-4465-BF02-271FE9FEEB44}
constexpr IID IID_ITransformParams = {
    0xE5C91263, 0xBA6F, 0x4465, {0xBF, 0x02, 0x27, 0x1F, 0xE9, 0xFE, 0xEB, 0x44}};
// {FF30EA9A-BE22-48AD-8EEC-CEFD26F93A33}
constexpr IID IID_ITransformValues = {
    0xFF30EA9A, 0xBE22, 0x48AD, {0x8E, 0xEC, 0xCE, 0xFD, 0x26, 0xF9, 0x3A, 0x33}};
// {8D5B0E21-6C3A-4F0B-9E57-2A1C3D4B5E6F}: the document's services to a transform.
constexpr IID IID_IHostInterface = {
    0x8D5B0E21, 0x6C3A, 0x4F0B, {0x9E, 0x57, 0x2A, 0x1C, 0x3D, 0x4B, 0x5E, 0x6F}};

// Channel layouts a transform handles (its flags); other bits are the component's own.
enum : uint32_t {
    kLayoutMono = 0x20,
    kLayoutStereo = 0x40,
    kLayout51 = 0x80,
    kLayout71 = 0x100,
    kLayoutLCR = 0x200,
    kLayoutQuad = 0x400,
    kLayout50 = 0x800,
    kLayout70 = 0x1000,
    kLayoutAll = 0x20 | 0x40 | 0x80 | 0x100 | 0x200 | 0x400 | 0x800 | 0x1000,
};

// Counted array of property-page class ids. The element array is allocated with malloc by the
// transform and freed with free by the caller.
struct CAUUID {
    ULONG cElems;
    GUID* pElems;
};

struct IPluginManager : IUnknown {
    virtual HRESULT GetCount(int32_t* count) = 0;                       // 3
    virtual HRESULT GetClassId(int32_t index, GUID* classId) = 0;       // 4
    virtual HRESULT GetSubId(int32_t index, GUID* subId) = 0;           // 5
    virtual HRESULT GetName(int32_t index, BSTR* name) = 0;             // 6
    virtual HRESULT GetMenuPaths(int32_t index, BSTR* paths) = 0;       // 7: paths split by '\n'
    virtual HRESULT GetHasDialog(int32_t index, VARIANT_BOOL* has) = 0; // 8
    virtual HRESULT GetFlags(int32_t index, uint32_t* flags) = 0;       // 9
};

struct IPluginManagerControl : IUnknown {
    virtual HRESULT Rescan(int32_t level) = 0;                            // 3
    virtual HRESULT Refresh(int32_t level) = 0;                           // 4
    virtual HRESULT GetDisabledCount(int32_t* count) = 0;                 // 5
    virtual HRESULT GetDisabledClassId(int32_t index, GUID* classId) = 0; // 6
    virtual HRESULT GetDisabledSubId(int32_t index, GUID* subId) = 0;     // 7
    virtual HRESULT GetDisabledName(int32_t index, BSTR* name) = 0;       // 8
    virtual HRESULT GetDisabledFlags(int32_t index, uint32_t* flags) = 0; // 9
    virtual HRESULT Toggle(GUID classId, GUID subId) = 0;                 // 10
};

// What a document offers a transform (Normalize asks for the selection's peak).
struct IHostInterface : IUnknown {
    virtual HRESULT GetTempoAtSelection(float* bpm) = 0; // 3
    virtual HRESULT GetSelectionPeak(float* peak) = 0;   // 4
};

struct ITransform : IUnknown {
    virtual HRESULT Initialise(GUID subId) = 0;                    // 3: 0 is success
    virtual HRESULT GetName(BSTR* name) = 0;                       // 4
    virtual HRESULT GetVendor(BSTR* vendor) = 0;                   // 5
    virtual HRESULT GetPages(CAUUID* pages) = 0;                   // 6
    virtual HRESULT GetTimeRatio(double* ratio) = 0;               // 7: output over input length
    virtual HRESULT GetLatency(int32_t* frames) = 0;               // 8
    virtual HRESULT SetFormat(int32_t rate, int16_t channels) = 0; // 9: 1 is refusal
    virtual HRESULT Reset() = 0;                                   // 10
    // 11: `out` stays null when `in` was changed in place; otherwise a new array the caller
    // destroys, which may hold another number of frames.
    virtual HRESULT Process(SAFEARRAY* in, SAFEARRAY** out, int64_t frameBytes) = 0;
    virtual HRESULT GetTail(int64_t* frames) = 0;          // 12: ringing after the input ends
    virtual HRESULT GetLayoutFlags(uint32_t* flags) = 0;   // 13
    virtual HRESULT SetLength(int64_t frames) = 0;         // 14: frames the transform covers
    virtual HRESULT GetStateSize(int32_t* size) = 0;       // 15
    virtual HRESULT GetState(uint8_t* buffer) = 0;         // 16: GetStateSize bytes
    virtual HRESULT SetState(const uint8_t* buffer) = 0;   // 17
    virtual HRESULT SetReadPosition(int64_t frame) = 0;    // 18: where the next block lies
    virtual HRESULT SetDisplayPosition(int64_t frame) = 0; // 19
    virtual HRESULT SetHost(IHostInterface* host) = 0;     // 20: negative is failure
    virtual HRESULT SetOption(int32_t value) = 0;          // 21
};

struct ITransformOffline : IUnknown {
    virtual HRESULT ProcessOffline(SAFEARRAY* in, SAFEARRAY** out, int64_t position,
                                   int64_t frameBytes) = 0; // 3
};

struct ITransformPresets : IUnknown {
    virtual HRESULT GetCount(int32_t* count) = 0;           // 3
    virtual HRESULT GetName(int32_t index, BSTR* name) = 0; // 4
    virtual HRESULT Select(int32_t index) = 0;              // 5: 1 is failure
};

struct ITransformParams : IUnknown {
    virtual HRESULT GetCount(int32_t* count) = 0;                         // 3
    virtual HRESULT GetValue(int32_t index, float* value) = 0;            // 4
    virtual HRESULT SetValue(int32_t index, float value) = 0;             // 5
    virtual HRESULT GetParamName(int32_t index, BSTR* name) = 0;          // 6
    virtual HRESULT GetRange(int32_t index, float* low, float* high) = 0; // 7
};

struct ITransformValues : IUnknown {
    virtual HRESULT GetValues(SAFEARRAY** values) = 0; // 3: VT_R4 vector, caller destroys
    virtual HRESULT SetValues(SAFEARRAY* values) = 0;  // 4
};

// Optional: what an editor needs to show a parameter well beyond its name and range. A transform
// without it gets plain linear controls.
// {4C7C1409-6F04-4CFB-946D-4BAB3A420F96}
constexpr IID IID_ITransformParamInfo = {
    0x4C7C1409, 0x6F04, 0x4CFB, {0x94, 0x6D, 0x4B, 0xAB, 0x3A, 0x42, 0x0F, 0x96}};

// How a parameter's value moves and reads (TRANSFORMPARAMINFO flags).
enum : uint32_t {
    kParamLogarithmic = 0x1, // a control moves in equal ratios (frequencies, times); low is above 0
    kParamInteger = 0x2,     // whole values only
    kParamChoice = 0x4,      // whole values from low to high, each named by GetParamChoice
};

struct TRANSFORMPARAMINFO {
    ULONG cb;           // set by the caller to sizeof(TRANSFORMPARAMINFO)
    uint32_t flags;     // kParam* above
    float defaultValue; // the value of a new instance
    float step;         // the step of arrow keys; values are kept to whole steps; 0 is free
    int32_t decimals;   // digits after the point a value is written with
};

struct ITransformParamInfo : IUnknown {
    virtual HRESULT GetParamInfo(int32_t index, TRANSFORMPARAMINFO* info) = 0; // 3
    // 4: the name without its unit, as a caption beside a control ("Gain").
    virtual HRESULT GetParamLabel(int32_t index, BSTR* label) = 0;
    // 5: written after a value ("dB", "ms", "Hz", "%", ":1"); empty when the value has none.
    virtual HRESULT GetParamUnit(int32_t index, BSTR* unit) = 0;
    // 6: the name of whole value `value` of a kParamChoice parameter; DISP_E_BADINDEX outside.
    virtual HRESULT GetParamChoice(int32_t index, int32_t value, BSTR* name) = 0;
};

// Optional, the standard interface: the class id the object was made by, for an editor that shows
// more for a class it knows (a response curve).
// {0000010C-0000-0000-C000-000000000046}
constexpr IID IID_IPersist = {0x0000010C, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

struct IPersist : IUnknown {
    virtual HRESULT GetClassID(CLSID* classId) = 0; // 3
};

// {56E0D200-D77C-414B-8CF4-F1FAE787F06D}: the file list of the third manager (LV2), asked for by
// the settings page that adds plug-in files and scans folders.
constexpr IID IID_IVstPluginList = {
    0x56E0D200, 0xD77C, 0x414B, {0x8C, 0xF4, 0xF1, 0xFA, 0xE7, 0x87, 0xF0, 0x6D}};

struct IVstPluginList : IUnknown {
    virtual HRESULT ScanFolder(BSTR path, VARIANT_BOOL recursive) = 0; // 3
    virtual HRESULT AddFile(BSTR path) = 0;                            // 4: negative: no plug-in there
};
