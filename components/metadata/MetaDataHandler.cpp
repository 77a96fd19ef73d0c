#include "MetaDataHandler.h"

#include "Formats.h"
#include "MetaDataWriter.h"
#include "PropertyKeys.h"

#include <taglib/fileref.h>
#include <taglib/tpropertymap.h>

#include <sys/stat.h>

#include <new>

namespace vmd {

CMetaDataHandler::CMetaDataHandler(std::unique_ptr<TagLib::FileRef> file) : m_file(std::move(file)) {}

CMetaDataHandler::~CMetaDataHandler() = default;

HRESULT CMetaDataHandler::Open(const std::string& path, CMetaDataHandler** out) {
    *out = nullptr;
    // Only regular files: opening a FIFO or a device would block or read without end.
    struct stat info {};
    if (path.empty() || ::stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode))
        return VMDS_E_FILE_NOT_FOUND;
    try {
        auto file = std::make_unique<TagLib::FileRef>(path.c_str(), true, TagLib::AudioProperties::Average);
        if (file->isNull() || !file->file()->isValid())
            return VMDS_E_UNKNOWN_FORMAT;
        // TagLib accepts a container whose audio description is cut off or absent; tagging such a
        // file would only add to a file no player can use.
        const TagLib::AudioProperties* audio = file->audioProperties();
        if (!audio || audio->sampleRate() <= 0 || audio->channels() <= 0)
            return VMDS_E_UNKNOWN_FORMAT;
        *out = new CMetaDataHandler(std::move(file));
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return VMDS_E_UNKNOWN_FORMAT;
    }
}

HRESULT CMetaDataHandler::QueryInterface(const GUID& iid, void** out) {
    if (!out)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IMetaDataHandler)
        return Give(static_cast<IMetaDataHandler*>(this), out);
    *out = nullptr;
    return E_NOINTERFACE;
}

TagLib::File* CMetaDataHandler::File() const {
    return m_file->file();
}

HRESULT CMetaDataHandler::GetProperties(IMetaDataReceiver* receiver) {
    if (!receiver)
        return E_POINTER;
    try {
        Deliver(receiver);
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

void CMetaDataHandler::Deliver(IMetaDataReceiver* receiver) {
    TagLib::File* file = File();
    const FileKind kind = DescribeFile(file);
    receiver->ReceiveString(VMDS_KEY_CONTAINER_FORMAT, ToUtf16(kind.container).c_str());
    receiver->ReceiveString(VMDS_KEY_MIME_TYPE, ToUtf16(kind.mimeType).c_str());

    const TagLib::PropertyMap tags = file->properties();
    for (const TextKey& text : kTextKeys) {
        auto it = tags.find(text.property);
        if (it == tags.end() && text.alias)
            it = tags.find(text.alias);
        if (it == tags.end())
            continue;
        const std::string value = JoinValues(it->second);
        if (!value.empty())
            receiver->ReceiveString(text.key, ToUtf16(value).c_str());
    }
    for (auto [key, property] : {std::pair{VMDS_KEY_PRODUCTION_YEAR, kYearProperty},
                                 std::pair{VMDS_KEY_TRACK_NUMBER, kTrackProperty}}) {
        auto it = tags.find(property);
        if (it == tags.end() || it->second.isEmpty())
            continue;
        const int32_t number = LeadingNumber(it->second.front().to8Bit(true));
        if (number > 0)
            receiver->ReceiveNumber(key, number);
    }
    if (const TagLib::AudioProperties* audio = file->audioProperties()) {
        receiver->ReceiveNumber(VMDS_KEY_BIT_RATE, audio->bitrate());
        receiver->ReceiveNumber(VMDS_KEY_SAMPLE_RATE, audio->sampleRate());
        receiver->ReceiveNumber(VMDS_KEY_CHANNELS, audio->channels());
        receiver->ReceiveNumber(VMDS_KEY_DURATION, audio->lengthInMilliseconds());
    }
}

HRESULT CMetaDataHandler::GetWriter(IMetaDataWriter** writer) {
    if (!writer)
        return E_POINTER;
    *writer = nullptr;
    if (File()->readOnly())
        return E_ACCESSDENIED;
    try {
        *writer = new CMetaDataWriter(this);
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

} // namespace vmd
