#include "storage/BackgroundWriter.h"

#include "storage/BasicIO.h"

#include <algorithm>
#include <pthread.h>
#include <system_error>

namespace tw {

bool CBackgroundWriter::Start(IBasicIO* target, std::atomic<uint32_t>* written) {
    if (Running() || target == nullptr)
        return false;
    m_target = target;
    m_written = written;
    m_head = m_tail = m_queued = 0;
    m_fill = 0;
    m_end = false;
    m_failed = false;
    try {
        m_thread = std::thread([this] { Run(); });
    } catch (const std::system_error&) {
        return false;
    }
    return true;
}

uint8_t* CBackgroundWriter::Acquire(size_t bytes) {
    // Blocks are gathered into large buffers: one system write per buffer, not per block.
    if (m_fill > 0 && m_fill + bytes > kGather)
        Queue();
    Slot& slot = m_ring[m_head];
    if (slot.bytes.size() < m_fill + bytes)
        slot.bytes.resize(std::max(m_fill + bytes, kGather));
    return slot.bytes.data() + m_fill;
}

void CBackgroundWriter::Submit(size_t bytes) {
    m_fill += bytes;
}

void CBackgroundWriter::Queue() {
    m_ring[m_head].used = m_fill;
    m_head = (m_head + 1) % kBuffers;
    m_fill = 0;
    bool wake;
    {
        std::unique_lock<std::mutex> guard(m_lock);
        ++m_queued;
        wake = m_writerAsleep;
        if (wake)
            m_writerWait.notify_one();
        // The next buffer to fill is free once the writer has written it.
        if (m_queued == kBuffers) {
            m_producerAsleep = true;
            m_producerWait.wait(guard, [this] { return m_queued < kBuffers; });
            m_producerAsleep = false;
        }
    }
}

void CBackgroundWriter::Run() {
    pthread_setname_np(pthread_self(), "tw-file-write");
    for (;;) {
        {
            std::unique_lock<std::mutex> guard(m_lock);
            if (m_queued == 0 && !m_end) {
                m_writerAsleep = true;
                m_writerWait.wait(guard, [this] { return m_queued > 0 || m_end; });
                m_writerAsleep = false;
            }
            if (m_queued == 0)
                return;
        }
        Slot& slot = m_ring[m_tail];
        if (!m_failed) {
            if (m_target->Write(slot.bytes.data(), static_cast<uint32_t>(slot.used)))
                *m_written += static_cast<uint32_t>(slot.used);
            else
                m_failed = true;
        }
        m_tail = (m_tail + 1) % kBuffers;
        bool wake;
        {
            std::lock_guard<std::mutex> guard(m_lock);
            --m_queued;
            wake = m_producerAsleep;
        }
        if (wake)
            m_producerWait.notify_one();
    }
}

bool CBackgroundWriter::Finish() {
    if (!Running())
        return true;
    if (m_fill > 0)
        Queue();
    {
        std::lock_guard<std::mutex> guard(m_lock);
        m_end = true;
    }
    m_writerWait.notify_one();
    m_thread.join();
    return !m_failed;
}

} // namespace tw
