// Audio file tags (title, artist and the like): the ABI of the metadata library the system loads at
// run time, and the metadata object a host creates by class id.
//
// The library is libvometadata.so in the folder of the system's module; a copy in SCF/ beside it,
// when it loads, is the one used. It exports three functions (names below). Everything it hands
// out is reference counted and answers QueryInterface, except the receiver, which belongs to the
// caller and is only called during GetProperties.
//
// Rules of this ABI:
// - Interfaces derive from IUnknown (com.h); slots follow the listed order and never change.
// - Strings are zero-terminated UTF-16 `const char16_t*`. A string a callee returns is owned by the
//   object that returned it and stays valid for that object's life; strings handed to a receiver are
//   valid during the call only.
// - Property keys are the "VMDS.MetaData.*" texts below, compared exactly.
// - Objects are used by one thread at a time.
#pragma once

#include <tidework/com.h>

#include <cstdint>

// --- Property keys, in the order a handler delivers them. ---

// Text properties.
inline constexpr const char16_t* VMDS_KEY_CONTAINER_FORMAT = u"VMDS.MetaData.ContainerFormat"; // read only
inline constexpr const char16_t* VMDS_KEY_MIME_TYPE = u"VMDS.MetaData.MimeType";               // read only
inline constexpr const char16_t* VMDS_KEY_TITLE = u"VMDS.MetaData.Title";
inline constexpr const char16_t* VMDS_KEY_CREATOR = u"VMDS.MetaData.Creator";
inline constexpr const char16_t* VMDS_KEY_ALBUM = u"VMDS.MetaData.Album";
inline constexpr const char16_t* VMDS_KEY_GENRE = u"VMDS.MetaData.Genre";
inline constexpr const char16_t* VMDS_KEY_COMMENT = u"VMDS.MetaData.Comment";
inline constexpr const char16_t* VMDS_KEY_COMPOSER = u"VMDS.MetaData.Composer";
inline constexpr const char16_t* VMDS_KEY_ORIGINAL_ARTIST = u"VMDS.MetaData.OriginalArtist";
// Numeric properties (32-bit, delivered through the receiver's number operation).
inline constexpr const char16_t* VMDS_KEY_PRODUCTION_YEAR = u"VMDS.MetaData.ProductionYear";
inline constexpr const char16_t* VMDS_KEY_TRACK_NUMBER = u"VMDS.MetaData.TrackNumber";
inline constexpr const char16_t* VMDS_KEY_BIT_RATE = u"VMDS.MetaData.BitRate"; // kbit/s, read only
// Further numeric properties a handler delivers after those above; readers may ignore them.
inline constexpr const char16_t* VMDS_KEY_SAMPLE_RATE = u"VMDS.MetaData.SampleRate"; // Hz
inline constexpr const char16_t* VMDS_KEY_CHANNELS = u"VMDS.MetaData.Channels";
inline constexpr const char16_t* VMDS_KEY_DURATION = u"VMDS.MetaData.Duration"; // milliseconds

// --- Result codes beyond com.h's. ---

// The path names no regular file.
constexpr HRESULT VMDS_E_FILE_NOT_FOUND = static_cast<HRESULT>(0x80070002u);
// The file is of no format the library knows, or is too damaged to read its tags.
constexpr HRESULT VMDS_E_UNKNOWN_FORMAT = static_cast<HRESULT>(0x8004D001u);
// The tags could not be written back (E_ACCESSDENIED is given when the file cannot be opened for
// writing at all).
constexpr HRESULT VMDS_E_SAVE_FAILED = static_cast<HRESULT>(0x8004D002u);

// --- Library interfaces. ---

// {986226A4-C125-4FBE-BE89-95F89FEB5240}
constexpr IID IID_IMetaDataHandler = {
    0x986226A4, 0xC125, 0x4FBE, {0xBE, 0x89, 0x95, 0xF8, 0x9F, 0xEB, 0x52, 0x40}};
// {0A3AD6B8-3B68-4F33-A817-09819702B9C7}
constexpr IID IID_IMetaDataWriter = {
    0x0A3AD6B8, 0x3B68, 0x4F33, {0xA8, 0x17, 0x09, 0x81, 0x97, 0x02, 0xB9, 0xC7}};
// {661BF613-4D89-458F-80E6-879DE9EBC0F9}
constexpr IID IID_IMimeTypeDictionary = {
    0x661BF613, 0x4D89, 0x458F, {0x80, 0xE6, 0x87, 0x9D, 0xE9, 0xEB, 0xC0, 0xF9}};

// The caller's sink for properties. Not reference counted: it belongs to the caller.
struct IMetaDataReceiver {
    virtual void ReceiveString(const char16_t* key, const char16_t* value) = 0; // slot 0
    virtual void ReceiveNumber(const char16_t* key, int32_t value) = 0;         // slot 1
};

// Changes to the tags of one file, kept until Save. Releasing without Save drops them.
struct IMetaDataWriter : IUnknown {
    // slot 3: a writable text property; an empty value removes the tag. E_INVALIDARG for a key that
    // is not writable text.
    virtual HRESULT SetString(const char16_t* key, const char16_t* value) = 0;
    // slot 4: ProductionYear or TrackNumber; 0 removes the tag. E_INVALIDARG for another key or a
    // negative value.
    virtual HRESULT SetNumber(const char16_t* key, int32_t value) = 0;
    // slot 5: writes the changes into the file; tags this writer was not given stay as they were.
    // S_FALSE when saved but the format cannot hold one of the tags given (that one is left out).
    virtual HRESULT Save() = 0;
};

// The tags of one file, as opened by GetMetaDataHandler2.
struct IMetaDataHandler : IUnknown {
    // slot 3: pushes every property the file has into `receiver`, one call each, in key order:
    // container format and mime type always, the other texts when not empty, the numbers when known.
    virtual HRESULT GetProperties(IMetaDataReceiver* receiver) = 0;
    // slot 4: a writer for the file; E_ACCESSDENIED when the file can only be read.
    virtual HRESULT GetWriter(IMetaDataWriter** writer) = 0;
};

// The formats the library tags: file extension (lower case, without the dot), mime type, and the
// container format name a handler reports for it.
struct IMimeTypeDictionary : IUnknown {
    virtual int32_t GetCount() = 0;                                // slot 3
    virtual const char16_t* GetExtension(int32_t index) = 0;       // slot 4: null out of range
    virtual const char16_t* GetMimeType(int32_t index) = 0;        // slot 5: null out of range
    virtual const char16_t* GetContainerFormat(int32_t index) = 0; // slot 6: null out of range
    // slot 7: the mime type of an extension (any case, without the dot), or null.
    virtual const char16_t* FindMimeType(const char16_t* extension) = 0;
};

// --- Entry points, exported under these names. ---

// Opens the file at `path` and gives its handler (with one reference) in `handler`.
using GetMetaDataHandler2Fn = HRESULT (*)(const char16_t* path, IMetaDataHandler** handler);
// Gives a handler back (drops the reference GetMetaDataHandler2 gave); null is ignored.
using ReleaseMetaDataHandler2Fn = HRESULT (*)(IMetaDataHandler* handler);
// The library's dictionary of formats, with a reference the caller releases.
using GetMimeTypeDictionaryFn = HRESULT (*)(IMimeTypeDictionary** dictionary);

inline constexpr const char* VMDS_LIBRARY_NAME = "libvometadata.so";
inline constexpr const char* VMDS_ENTRY_GET_HANDLER = "GetMetaDataHandler2";
inline constexpr const char* VMDS_ENTRY_RELEASE_HANDLER = "ReleaseMetaDataHandler2";
inline constexpr const char* VMDS_ENTRY_GET_MIME_TYPES = "GetMimeTypeDictionary";

// --- The metadata object a host creates: CoCreateInstance(CLSID_CAudioMetaData). ---

// {CB6E4EED-8080-420D-8384-3494D71FAD57}
constexpr CLSID CLSID_CAudioMetaData = {
    0xCB6E4EED, 0x8080, 0x420D, {0x83, 0x84, 0x34, 0x94, 0xD7, 0x1F, 0xAD, 0x57}};
// {02540694-20F8-44FB-9B37-429B4EF1065E}
constexpr IID IID_IAudioMetaData = {
    0x02540694, 0x20F8, 0x44FB, {0x9B, 0x37, 0x42, 0x9B, 0x4E, 0xF1, 0x06, 0x5E}};

// Fields of the metadata object, in key order: texts first, then the numbers.
enum AudioMetaDataField : int32_t {
    AMD_CONTAINER_FORMAT = 0, // text, read only
    AMD_MIME_TYPE = 1,        // text, read only
    AMD_TITLE = 2,
    AMD_CREATOR = 3,
    AMD_ALBUM = 4,
    AMD_GENRE = 5,
    AMD_COMMENT = 6,
    AMD_COMPOSER = 7,
    AMD_ORIGINAL_ARTIST = 8,
    AMD_PRODUCTION_YEAR = 9, // number
    AMD_TRACK_NUMBER = 10,   // number
    AMD_BIT_RATE = 11,       // number, kbit/s, read only
    AMD_FIELD_COUNT = 12,
};

// The tags of one file at a time. Without the library every Read gives empty fields and S_FALSE,
// and Write does nothing and gives S_FALSE. Out strings are BSTRs the caller frees with
// SysFreeString. One thread at a time.
struct IAudioMetaData : IUnknown {
    // 3: empties the fields, then fills them from the file's tags. A failure of the library (no such
    // file, unknown or damaged format) is passed on, with the fields left empty.
    virtual HRESULT Read(BSTR bstrPath) = 0;
    // 4: writes the seven writable texts (empty ones remove their tags), year and track number
    // (0 removes) into the file and saves it. S_FALSE without the library, or when saved but the
    // format cannot hold one of the non-empty fields.
    virtual HRESULT Write(BSTR bstrPath) = 0;
    // 5: gives back the handler the last Read or Write held on to.
    virtual HRESULT ReleaseHandler() = 0;
    // 6, 7: a text field (AMD_CONTAINER_FORMAT..AMD_ORIGINAL_ARTIST); E_INVALIDARG for another field.
    virtual HRESULT GetText(int32_t nField, BSTR* pbstrValue) = 0;
    virtual HRESULT SetText(int32_t nField, BSTR bstrValue) = 0;
    // 8, 9: a number field (AMD_PRODUCTION_YEAR..AMD_BIT_RATE); E_INVALIDARG for another field.
    virtual HRESULT GetNumber(int32_t nField, int32_t* pnValue) = 0;
    virtual HRESULT SetNumber(int32_t nField, int32_t nValue) = 0;
    // 10: the mime type the library gives files with extension bstrExtension (no dot); S_FALSE and
    // an empty string when it knows none.
    virtual HRESULT GetMimeType(BSTR bstrExtension, BSTR* pbstrMimeType) = 0;
};
