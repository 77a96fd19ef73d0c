#include "view/TemporaryTake.h"

#include "storage/FileIO.h"
#include "storage/PCMAudio.h"
#include "storage/PeakFileManager.h"
#include "storage/TempFileManager.h"

namespace tw {

CTemporaryTake::CTemporaryTake() = default;

CTemporaryTake::~CTemporaryTake() {
    m_sink.Attach(nullptr, nullptr, false);
}

bool CTemporaryTake::Open(const WAVEFORMATEX& format) {
    try {
        m_data.reset(CTempFileManager().CreateFile());
    } catch (...) {
        return false;
    }
    if (!m_data)
        return false;
    m_peaks.reset(CPeakFileManager().CreatePeakFile(""));
    if (!m_peaks)
        return false;
    m_data->Format = format;
    return m_sink.Attach(m_data.get(), m_peaks.get(), true);
}

CPCMAudio* CTemporaryTake::Take() {
    m_sink.Attach(nullptr, nullptr, false);
    if (!m_data || !m_peaks)
        return nullptr;
    auto* stream = new CPCMAudio;
    if (!stream->Attach(m_data.release(), m_peaks.release())) {
        delete stream;
        return nullptr;
    }
    return stream;
}

} // namespace tw
