// A live instance of a transform component: the system's side of one ITransform. It keeps the
// component's ids (so that a document can store and make it again), the bypass flag, the running
// positions and the last format, and it moves blocks of frames across the COM boundary.
//
// As a CTransformBase it sits in a document's chains (pooled: only the pool's Release deletes an
// applied one); each read of the document runs a clone of it (CreateReadInstance), so one instance
// is used by one thread at a time. A plug-in instance may have no component at all: a document
// naming a class that is no longer installed loads into such an empty instance, which passes
// blocks unchanged and stores its ids back as they were.
#pragma once

#include "core/Transform.h"

#include <tidework/transform.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tw {

class CArchive;
class CMediaData;

class CTransformPlugin : public CTransformBase {
public:
    // The schema number written with an instance; loading reads schemas 1 to 3.
    static constexpr uint32_t kSchema = 3;

    CTransformPlugin() = default;
    ~CTransformPlugin() override;
    CTransformPlugin(const CTransformPlugin&) = delete;
    CTransformPlugin& operator=(const CTransformPlugin&) = delete;

    // Makes the component of `classId` and initialises it with `subId` when that is not null, then
    // selects preset `presetNumber` unless it is -1. Null when any step fails.
    static CTransformPlugin* Create(const GUID& classId, const GUID& subId, int32_t presetNumber);

    // The component, or null for an empty instance. Borrowed: the instance keeps its reference.
    ITransform* GetTransform() const { return m_transform; }
    bool HasTransform() const { return m_transform != nullptr; }

    // The document's services for the component; the host must outlive this instance or be taken
    // back with SetHost(nullptr). False when the component refuses it.
    bool SetHost(IHostInterface* host);
    IHostInterface* GetHost() const { return m_host; }
    // False when the component refuses the rate or channel count (or there is no component).
    bool SetFormat(int32_t rate, int32_t channels) override;
    int32_t GetRate() const { return m_rate; }
    int32_t GetChannels() const { return m_channels; }
    void Reset() override;
    // The component's name; empty without a component.
    std::string GetName() override;
    // True when the component offers property pages, that is an editor.
    bool GetHasPages();
    // Output length over input length; 1.0 without a component or an answer.
    double GetTimeRatio() override;

    int32_t GetStateSize();
    // A new copy of the component's parameter bytes.
    std::vector<uint8_t> GetState() override;
    // The bytes go to the component only when they have its state size, since the component reads
    // exactly that many. False otherwise.
    bool SetState(const std::vector<uint8_t>& state) override;

    int32_t GetPresetCount();
    std::string GetPresetName(int32_t index);
    // False when the component has no presets or refuses the index.
    bool SelectPreset(int32_t index);
    // One parameter; false when the component has no parameter interface or refuses.
    bool SetValue(int32_t index, float value);
    virtual void SetOption(int32_t value);
    int32_t GetOption() const { return m_option; }

    // An independent instance of the same component with the same host, format, parameter values,
    // option, real-time position and bypass. Null when the component cannot be made again.
    CTransformPlugin* Clone();
    // Gives `target` this instance's parameter values (not its state, which may hold a running
    // position).
    void CopyValuesTo(CTransformPlugin& target);
    // Runs `action` on each clone of this instance that still lives (those a playback runs), while
    // none of them can go. A dialog that changes this instance during a playback of the document
    // hands the change on to them this way.
    void ForEachLiveClone(const std::function<void(CTransformPlugin&)>& action);

    // Runs `block` (working-format frames) through the component as a real-time transform. The
    // block may come back with another number of frames. A bypassed instance leaves the block and
    // its position alone.
    void ProcessRealTime(CMediaData& block);
    // As ProcessRealTime, through the component's offline interface, which is told the byte
    // position of the block in the offline render. A component without that interface leaves the
    // block unchanged.
    void ProcessOffline(CMediaData& block);

    // Class id text, followed by the sub-id's text unless that is null: the key of the transform's
    // preset file.
    std::string GetId() const;
    GUID GetClassId() const override { return m_classId; }
    GUID GetSubId() const override { return m_subId; }
    bool GetBypass() const override { return m_bypass.load(); }
    void SetBypass(bool bypass) override { m_bypass.store(bypass); }
    int64_t GetOfflinePosition() const { return m_offlinePosition; }
    int32_t GetRealTimePosition() const { return m_realTimePosition; }

    // Storing writes both ids and the state; loading reads the layout of `schema` (1 to 3, others
    // throw CArchiveException::badSchema) and makes the component again. A class that cannot be
    // made leaves an empty instance that still knows its ids. Loading formats the component as 44.1
    // kHz stereo; the owner sets the real format afterwards.
    void Serialize(CArchive& ar, uint32_t schema = kSchema);

    // The core's view of a transform.
    CTransformBase* CreateReadInstance() override { return Clone(); }
    CMediaData* Process(CMediaData* input) override;
    void SetLength(int64_t frames) override;
    void SetReadPosition(int64_t frames) override;
    void SetDisplayPosition(int64_t frames) override;

private:
    // Releases the component and forgets what it was told; the ids stay.
    void ReleaseTransform();
    // One call of the component's Process (or, given `offline`, ProcessOffline) on `block`.
    void Exchange(CMediaData& block, ITransformOffline* offline);
    // Copies the floats of a component's new array over `block`, which takes its frame count.
    static void TakeOutput(CMediaData& block, SAFEARRAY* out);
    void LoadComponent(const GUID& classId, const GUID* subId, const std::vector<uint8_t>& state);

    ITransform* m_transform = nullptr;
    GUID m_classId{};
    GUID m_subId{};
    // Switched from the document's thread while a playing clone renders.
    std::atomic<bool> m_bypass{false};
    int64_t m_offlinePosition = 0;
    int32_t m_realTimePosition = 0;
    int32_t m_option = 0;
    int32_t m_rate = 0;
    int32_t m_channels = 0;
    IHostInterface* m_host = nullptr;
    // Input array descriptor kept from block to block; it points at the block during a call and
    // at its own (empty) data otherwise.
    SAFEARRAY* m_input = nullptr;
    void* m_inputData = nullptr;
    // The instance this one was cloned from and the live clones of this one; both cut when either
    // side goes.
    CTransformPlugin* m_origin = nullptr;
    std::vector<CTransformPlugin*> m_clones;
};

} // namespace tw
