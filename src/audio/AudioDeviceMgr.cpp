#include "audio/AudioDeviceMgr.h"

namespace tw {

CAudioDeviceMgr::~CAudioDeviceMgr() {
    delete m_next;
}

void CAudioDeviceMgr::SetCounts(int32_t inputs, int32_t outputs) {
    m_inputCount = inputs < 0 ? 0 : inputs;
    m_outputCount = outputs < 0 ? 0 : outputs;
}

void CAudioDeviceMgr::Append(CAudioDeviceMgr* next) {
    if (next == nullptr || next == this)
        return;
    CAudioDeviceMgr* tail = this;
    while (tail->m_next != nullptr)
        tail = tail->m_next;
    tail->m_next = next;
    // The appended manager may bring a chain of its own: number all of it on from the tail.
    for (CAudioDeviceMgr* m = next; m != nullptr; m = m->m_next) {
        m->m_firstInput = tail->m_firstInput + tail->m_inputCount;
        m->m_firstOutput = tail->m_firstOutput + tail->m_outputCount;
        tail = m;
    }
}

void CAudioDeviceMgr::GetInputNames(std::vector<std::string>& names) {
    AppendInputNames(names);
    if (m_next != nullptr)
        m_next->GetInputNames(names);
}

void CAudioDeviceMgr::GetOutputNames(std::vector<std::string>& names) {
    AppendOutputNames(names);
    if (m_next != nullptr)
        m_next->GetOutputNames(names);
}

// The number is passed on unchanged: each manager subtracts its own first number.
CAudioIn* CAudioDeviceMgr::CreateInput(int32_t id) {
    const int64_t local = static_cast<int64_t>(id) - m_firstInput;
    if (local >= 0 && local < m_inputCount)
        return CreateLocalInput(static_cast<int32_t>(local));
    return m_next != nullptr ? m_next->CreateInput(id) : nullptr;
}

CAudioOut* CAudioDeviceMgr::CreateOutput(int32_t id) {
    const int64_t local = static_cast<int64_t>(id) - m_firstOutput;
    if (local >= 0 && local < m_outputCount)
        return CreateLocalOutput(static_cast<int32_t>(local));
    return m_next != nullptr ? m_next->CreateOutput(id) : nullptr;
}

int32_t CAudioDeviceMgr::GetMixerId(int32_t id) {
    const int64_t local = static_cast<int64_t>(id) - m_firstOutput;
    if (local >= 0 && local < m_outputCount)
        return GetLocalMixerId(static_cast<int32_t>(local));
    return m_next != nullptr ? m_next->GetMixerId(id) : 0;
}

} // namespace tw
