// The receiver the tag library pushes a file's properties into: each known key fills its field of a
// CAudioMetaData; other keys are ignored. Keys may come in any order.
#pragma once

#include <tidework/metadata.h>

namespace tw {

class CAudioMetaData;

class MyStringReceiver final : public IMetaDataReceiver {
public:
    explicit MyStringReceiver(CAudioMetaData& target) : m_target(target) {}

    void ReceiveString(const char16_t* key, const char16_t* value) override;
    void ReceiveNumber(const char16_t* key, int32_t value) override;

    // The field a key names (AudioMetaDataField), or -1.
    static int FieldOfKey(const char16_t* key);

private:
    CAudioMetaData& m_target;
};

} // namespace tw
