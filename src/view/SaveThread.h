// The save task: renders a section of a document into a file sink on a worker, while the document
// thread waits in the progress dialog.
#pragma once

#include "core/Section.h"
#include "platform/WorkerThread.h"

#include <string>

namespace tw {

class CEditedMedia;
class CStreamOut;

class CSaveThread : public CWorkerThread {
public:
    CSaveThread(CEditedMedia& media, CStreamOut& sink, const CSection& section)
        : m_media(media), m_sink(sink), m_section(section) {}

    bool Cancel() override;
    double GetProgress() override;
    std::string GetTitle() override { return m_title; }
    // The progress dialog's words for this render ("Saving" unless told otherwise).
    void SetTitle(std::string title) { m_title = std::move(title); }
    int32_t Run() override;

    // False when the sink refused a block.
    bool m_writeResult = true;

private:
    CEditedMedia& m_media;
    CStreamOut& m_sink;
    CSection m_section;
    std::string m_title = "Saving";
};

} // namespace tw
