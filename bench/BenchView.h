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

// Opens `wav` in a view (its peak file is built then), cuts it into `events` events with a
// cross-fade at each, records `stages` stages of further small cuts, and saves it all as the
// project `project`. Needs a message loop on the calling thread. False when a step failed.
inline bool MakeCutProject(const std::string& wav, const std::string& project, int events, int stages) {
    tw::CChildView view;
    if (view.CreateView(0) == 0 || !view.LoadFile(wav))
        return false;
    tw::CEditedMedia& media = view.GetMedia();
    const int64_t spacing = media.GetLength() / events;
    for (int i = events - 1; i >= 1; --i)
        media.DeleteSection(tw::CSection(i * spacing, i * spacing + 20), false);
    for (int i = 0; i + 2 < media.GetEventCount(); ++i)
        media.GetEventAt(i)->SetCrossFade(10);
    for (int s = 0; s < stages; ++s) {
        view.PushUndo("Delete", nullptr);
        const int64_t at = media.GetEventPosition(media.GetEventAt(1 + s % (media.GetEventCount() - 1)));
        media.DeleteSection(tw::CSection(at, at + 2), false);
    }
    view.DocumentChanged();
    return view.SaveFile(project, nullptr);
}

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
