// A window on one region of a working container: logical byte 0 is container byte `base`. All
// windows of a container share its file object, so each transfer seeks before it moves bytes, under
// the file object's lock; Lock/Unlock of a window take that same lock, which makes a caller's
// Seek-then-Read pair atomic across every window of the container.
//
// Reading is not clipped to the window's length (bytes behind it, or zeros past the file's end,
// come back); writing grows the window unless its length is fixed.
#pragma once

#include "storage/BasicIO.h"

#include <cstdint>
#include <memory>
#include <string>

namespace tw {

class CRaffIO : public IBasicIO {
public:
    // A window of `length` bytes at `base` of `file`; the length is not fixed. The window shares
    // the file object, so a stream inside a container stays readable after the container's parser
    // has gone (the file of a closed working container is unlinked but still open).
    CRaffIO(std::shared_ptr<IBasicIO> file, int64_t base, int64_t length);

    int64_t GetLength() override { return m_length; }
    void Seek(int64_t position) override { m_position = static_cast<uint32_t>(position); }
    bool Write(const void* source, uint32_t count) override;
    bool Read(void* target, uint32_t count) override;
    std::string GetTypeName() override { return "RaffIO"; }
    void Lock() override { m_file->Lock(); }
    void Unlock() override { m_file->Unlock(); }

    // Sets the length and fixes it.
    void SetSize(int64_t length);
    // Fixes the current length.
    void FreezeLength() { m_lengthFixed = true; }
    int64_t GetBaseOffset() const { return m_base; }
    IBasicIO* GetFile() const { return m_file.get(); }

private:
    std::shared_ptr<IBasicIO> m_file;
    int64_t m_base;
    int64_t m_length;
    uint32_t m_position = 0; // kept in 32 bits, as regions are stored
    bool m_lengthFixed = false;
};

} // namespace tw
