// A document view over a cut-up minute of audio, made as a document thread makes it (a message
// loop on this thread, the headless presentation, the working container), for the benchmarks of
// what a view does with its edit list and history.
#pragma once

#include "BenchDocument.h"
#include "platform/MessageLoop.h"
#include "view/ChildView.h"

#include <cstdio>
#include <memory>
#include <string>

namespace bench {

class ViewDocument {
public:
    // Writes a one-minute stereo 16-bit WAV into a private folder, opens it with its peak file and
    // makes a view's document of `events` events of it (cuts all through it, cross-fades at each),
    // showing all of it. Says why on stderr, prefixed with `name`, and answers false on failure.
    bool Make(const char* name, int events) {
        if (!m_folder.Ok())
            return Fail(name, "no temporary folder");
        const std::string wav = m_folder.Path() + "/minute.wav";
        if (!WriteTestWav(wav, 60LL * kRate))
            return Fail(name, "cannot write " + wav);
        tw::CPCMAudio* stream = OpenWithPeaks(wav);
        if (stream == nullptr)
            return Fail(name, "cannot open " + wav);
        m_view = std::make_unique<tw::CChildView>();
        if (m_view->CreateView(0) == 0)
            return Fail(name, "the view was not created");
        tw::CEditedMedia& media = m_view->GetMedia();
        CutDocument(media, stream, events - 1, 20, 10);
        m_view->SetViewSection(tw::CSection(0, media.GetLength()));
        return true;
    }
    tw::CChildView& View() { return *m_view; }
    const std::string& Folder() const { return m_folder.Path(); }
    // The view goes before the loop and the folder.
    void Close() { m_view.reset(); }
    ~ViewDocument() { Close(); }

private:
    static bool Fail(const char* name, const std::string& why) {
        std::fprintf(stderr, "%s: %s\n", name, why.c_str());
        return false;
    }

    TempFolder m_folder{"view_bench"};
    tw::CMessageLoop m_loop;
    std::unique_ptr<tw::CChildView> m_view;
};

} // namespace bench
