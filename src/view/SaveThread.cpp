#include "view/SaveThread.h"

#include "core/EditedMedia.h"
#include "core/StreamOut.h"

namespace tw {

bool CSaveThread::Cancel() {
    m_media.RequestStop();
    return true;
}

double CSaveThread::GetProgress() {
    const int64_t length = m_section.SectionLength();
    return length > 0 ? static_cast<double>(m_sink.GetPosition()) / static_cast<double>(length) : 0.0;
}

int32_t CSaveThread::Run() {
    m_writeResult = m_media.Render(m_sink, m_section, nullptr, false, nullptr, nullptr);
    return m_writeResult ? 0 : 1;
}

} // namespace tw
