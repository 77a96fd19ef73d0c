// The tags of one opened file. The handler keeps the file open (read-write when the file allows it)
// for its life, so that its writers save into the same parse of the file the reader saw.
#pragma once

#include "RefCounted.h"

#include <tidework/metadata.h>

#include <memory>
#include <string>

namespace TagLib {
class File;
class FileRef;
} // namespace TagLib

namespace vmd {

class CMetaDataHandler final : public IMetaDataHandler, public CRefCount {
public:
    // Opens `path`: VMDS_E_FILE_NOT_FOUND when it is no regular file, VMDS_E_UNKNOWN_FORMAT when
    // TagLib knows no reader for it or finds it damaged. On success `out` has one reference.
    static HRESULT Open(const std::string& path, CMetaDataHandler** out);

    HRESULT QueryInterface(const GUID& iid, void** out) override;
    TWC_IUNKNOWN_REFCOUNT

    HRESULT GetProperties(IMetaDataReceiver* receiver) override;
    HRESULT GetWriter(IMetaDataWriter** writer) override;

    TagLib::File* File() const;

private:
    explicit CMetaDataHandler(std::unique_ptr<TagLib::FileRef> file);
    ~CMetaDataHandler() override;
    void Deliver(IMetaDataReceiver* receiver);

    std::unique_ptr<TagLib::FileRef> m_file;
};

} // namespace vmd
