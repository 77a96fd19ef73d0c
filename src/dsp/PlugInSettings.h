// A named copy of a transform's parameter bytes: one preset of the effect dialog, and the record
// of a preset file (260-byte UTF-16 name, 32-bit size, the bytes). The settings belong to the
// transform they were taken from and are given back to it only while its state has the same size.
// Used by one thread.
#pragma once

#include "core/Object.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tw {

class CArchive;
class CTransformPlugin;

class CPlugInSettings : public CObject {
public:
    // Bytes of the name field of a record: 130 UTF-16 units with the terminator.
    static constexpr uint32_t kNameBytes = 260;

    // Empty settings for `transform` (not owned, may be null), to be filled by Read.
    explicit CPlugInSettings(CTransformPlugin* transform, std::string name = {});
    // Takes the present state of `transform`.
    static CPlugInSettings FromTransform(CTransformPlugin* transform, std::string name);

    // Gives the bytes to the transform when their length is its state size; false otherwise, and
    // the transform stays as it was.
    bool Restore() const;
    // Reads one record at the archive's position. False, with nothing changed, for a record whose
    // size is not below the file's length or that runs past the end.
    bool Read(CArchive& ar);
    // Writes one record; a name too long for the field is cut.
    void Write(CArchive& ar) const;

    const std::string& GetName() const { return m_name; }
    void SetName(std::string name) { m_name = std::move(name); }
    const std::vector<uint8_t>& GetData() const { return m_data; }
    // Replaces the bytes; they are checked against the transform only when restored.
    void SetData(std::vector<uint8_t> data) { m_data = std::move(data); }
    CTransformPlugin* GetTransform() const { return m_transform; }

private:
    std::vector<uint8_t> m_data;
    std::string m_name;
    CTransformPlugin* m_transform;
};

} // namespace tw
