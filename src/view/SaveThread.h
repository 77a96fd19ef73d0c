// The save task: renders a section of a document into a file sink on a worker, while the document
// thread waits in the progress dialog.
#pragma once

#include "core/Section.h"
#include "platform/WorkerThread.h"

namespace tw {

class CEditedMedia;
class CStreamOut;

class CSaveThread : public CWorkerThread {
public:
    CSaveThread(CEditedMedia& media, CStreamOut& sink, const CSection& section)
        : m_media(media), m_sink(sink), m_section(section) {}

    bool Cancel() override;
    double GetProgress() override;
    std::string GetTitle() override { return "Saving"; }
    int32_t Run() override;

    // False when the sink refused a block.
    bool m_writeResult = true;

private:
    CEditedMedia& m_media;
    CStreamOut& m_sink;
    CSection m_section;
};

} // namespace tw
