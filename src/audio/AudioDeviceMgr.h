// One back end's list of devices, as a link in the chain that numbers every device of the system
// globally: a manager's devices take the numbers from its first number up, and its next manager's
// start where they end. So the position of a name in GetOutputNames is its device number, and a
// number stored in the settings means the same device as long as the hardware stays the same
// (devices are listed once, when the manager is made).
//
// The chain's head owns the chain; the application object owns the head. Calls may come from any
// thread; managers do not change after they are made.
#pragma once

#include "core/Object.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tw {

class CAudioIn;
class CAudioOut;

class CAudioDeviceMgr : public CObject {
public:
    CAudioDeviceMgr() = default;
    ~CAudioDeviceMgr() override; // deletes the next manager
    CAudioDeviceMgr(const CAudioDeviceMgr&) = delete;
    CAudioDeviceMgr& operator=(const CAudioDeviceMgr&) = delete;

    // Appends this manager's names, then those of the managers after it.
    virtual void GetInputNames(std::vector<std::string>& names);
    virtual void GetOutputNames(std::vector<std::string>& names);
    // A new, closed device for global number `id` (the caller deletes it), made by the manager in
    // whose range the number lies; null when no manager has it.
    virtual CAudioIn* CreateInput(int32_t id);
    virtual CAudioOut* CreateOutput(int32_t id);
    // The mixer of global output number `id`; 0 when no manager has it.
    virtual int32_t GetMixerId(int32_t id);

    // Links `next` (taking ownership) behind the last manager of this chain and numbers its
    // devices on from there.
    void Append(CAudioDeviceMgr* next);
    CAudioDeviceMgr* GetNext() const { return m_next; }

    int32_t GetFirstInput() const { return m_firstInput; }
    int32_t GetFirstOutput() const { return m_firstOutput; }
    int32_t GetInputCount() const { return m_inputCount; }
    int32_t GetOutputCount() const { return m_outputCount; }

protected:
    // Set once by a derived constructor.
    void SetCounts(int32_t inputs, int32_t outputs);

    // This manager's own part, with indices local to it (0 .. count - 1).
    virtual void AppendInputNames(std::vector<std::string>& names) = 0;
    virtual void AppendOutputNames(std::vector<std::string>& names) = 0;
    virtual CAudioIn* CreateLocalInput(int32_t index) = 0;
    virtual CAudioOut* CreateLocalOutput(int32_t index) = 0;
    virtual int32_t GetLocalMixerId(int32_t index) = 0;

private:
    CAudioDeviceMgr* m_next = nullptr;
    int32_t m_firstInput = 0;
    int32_t m_firstOutput = 0;
    int32_t m_inputCount = 0;
    int32_t m_outputCount = 0;
};

} // namespace tw
