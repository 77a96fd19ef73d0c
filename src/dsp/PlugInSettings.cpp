#include "dsp/PlugInSettings.h"

#include "dsp/TransformPlugin.h"
#include "platform/Utf.h"
#include "storage/Archive.h"
#include "storage/BasicIO.h"

#include <algorithm>

namespace tw {

CPlugInSettings::CPlugInSettings(CTransformPlugin* transform, std::string name)
    : m_name(std::move(name)), m_transform(transform) {}

CPlugInSettings CPlugInSettings::FromTransform(CTransformPlugin* transform, std::string name) {
    CPlugInSettings settings(transform, std::move(name));
    if (transform != nullptr)
        settings.m_data = transform->GetState();
    return settings;
}

bool CPlugInSettings::Restore() const {
    if (m_transform == nullptr || static_cast<int64_t>(m_data.size()) != m_transform->GetStateSize())
        return false;
    return m_transform->SetState(m_data);
}

bool CPlugInSettings::Read(CArchive& ar) {
    const int64_t start = ar.GetPosition();
    try {
        uint8_t field[kNameBytes];
        ar.ReadBytes(field, kNameBytes);
        const uint32_t size = ar.ReadU32();
        if (static_cast<int64_t>(size) >= ar.GetIO().GetLength()) {
            ar.SetPosition(start);
            return false;
        }
        std::vector<uint8_t> data(size);
        if (size > 0)
            ar.ReadBytes(data.data(), size);

        std::u16string name;
        // The last unit of the field is the terminator's place, whatever the file holds there.
        for (uint32_t i = 0; i + 2 < kNameBytes; i += 2) {
            const char16_t unit = static_cast<char16_t>(field[i] | (field[i + 1] << 8));
            if (unit == 0)
                break;
            name.push_back(unit);
        }
        m_name = ToUtf8(name);
        m_data = std::move(data);
        return true;
    } catch (const CArchiveException&) {
        // A record cut short: the file ends here for the reader.
        ar.SetPosition(start);
        return false;
    }
}

void CPlugInSettings::Write(CArchive& ar) const {
    uint8_t field[kNameBytes] = {};
    const std::u16string name = ToUtf16(m_name);
    // One unit stays for the terminator.
    const size_t units = std::min<size_t>(name.size(), kNameBytes / 2 - 1);
    for (size_t i = 0; i < units; ++i) {
        field[2 * i] = static_cast<uint8_t>(name[i]);
        field[2 * i + 1] = static_cast<uint8_t>(name[i] >> 8);
    }
    ar.WriteBytes(field, kNameBytes);
    ar.WriteU32(static_cast<uint32_t>(m_data.size()));
    if (!m_data.empty())
        ar.WriteBytes(m_data.data(), static_cast<uint32_t>(m_data.size()));
}

} // namespace tw
