// IBasicIO over a file, from a base offset: logical byte 0 is file byte `base`. Reading past the
// end yields zeros and success (silence, never an error); writing grows the logical length unless
// it is fixed.
#pragma once

#include "storage/BasicIO.h"

#include <memory>
#include <string>

namespace tw {

class CFile;

class CFileIO : public IBasicIO {
public:
    // On an open file that the caller keeps owning; logical length = file length - base.
    CFileIO(CFile* file, int64_t baseOffset);
    // Opens `path` itself with CFile flags and owns the file; throws CFileException on failure.
    CFileIO(const std::string& path, uint32_t openFlags, int64_t baseOffset);
    ~CFileIO() override; // deletes an owned file; removes the path when DeleteOnClose

    int64_t GetLength() override;
    void Seek(int64_t position) override;
    bool Write(const void* source, uint32_t count) override;
    bool Read(void* target, uint32_t count) override;
    std::string GetTypeName() override { return "FileIO"; }
    std::string GetFileName() override;
    void Close() override;

    void SetLimit(int64_t length); // sets the logical length and fixes it
    void FreezeLength();           // fixes the current logical length
    CFile* GetFile() const { return m_file; }
    int64_t GetBaseOffset() const { return m_base; }

private:
    CFile* m_file = nullptr;
    int64_t m_base = 0;
    int64_t m_length = 0;
    int64_t m_position = 0;
    bool m_lengthFixed = false;
    bool m_ownsFile = false;
    // The path as it was at construction: closing the file object forgets its path, but a
    // delete-on-close file must still go when this object does.
    std::string m_path;
};

} // namespace tw
