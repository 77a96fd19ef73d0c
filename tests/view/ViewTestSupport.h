// A document view on the test's own thread: private folders, the real file filters, a scripted
// presentation, the scale transform maker of the body tests and a message loop, so dialogs and
// boxes run their nested loops as on a document thread.
#pragma once

#include "storage/BodyTestSupport.h"

#include "core/MediaData.h"
#include "core/ReadCursor.h"
#include "dsp/TransformDoubles.h"
#include "dsp/TransformPlugin.h"
#include "platform/MessageLoop.h"
#include "platform/Messages.h"
#include "platform/ModalDialog.h"
#include "view/ChildView.h"

#include <gtest/gtest.h>

#include <fstream>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace tw::test {

inline void WriteBytes(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

class ViewTest : public BodyTest {
protected:
    static constexpr int kWidth = 820;
    static constexpr int kHeight = 300;

    void SetUp() override {
        BodyTest::SetUp();
        if (IsSkipped())
            return;
        loop = std::make_unique<CMessageLoop>();
        view = std::make_unique<CChildView>();
        ASSERT_NE(view->CreateView(0), 0u);
        view->OnSize(kWidth, kHeight);
    }
    void TearDown() override {
        view.reset();
        loop.reset();
        BodyTest::TearDown();
    }

    // Makes the document a generated WAV of `frames` frames.
    void LoadWav(int64_t frames, int channels = 2, const std::string& name = "doc.wav") {
        ASSERT_TRUE(view->LoadFile(Wav(name, frames, channels)));
    }
    // Sends a command as the frame's menu would.
    intptr_t Command(uint32_t id) { return CWindow::SendMessage(view->GetSafeHandle(), WM_COMMAND, id); }
    CCommandState State(uint32_t id) {
        CCmdUI ui(id);
        view->OnUpdateCmd(ui);
        return ui.State();
    }
    std::vector<bool> Enabled(std::initializer_list<uint32_t> ids) {
        std::vector<bool> out;
        for (uint32_t id : ids)
            out.push_back(State(id).enabled);
        return out;
    }
    void SendWheel(int delta) {
        CWindow::SendMessage(view->GetSafeHandle(), WM_MOUSEWHEEL,
                             static_cast<uintptr_t>(static_cast<uint16_t>(delta)) << 16, 0);
    }
    void Select(int64_t start, int64_t end) { view->SetSelection(CSection(start, end)); }
    // Applies a fresh instance of `classId` over (start, end), pressing OK in its dialog if it has
    // one (the stand-in effects register with doubles::RegisterTransforms). A gain halves the
    // level, so that its sound can be told from the file's.
    CTransformPlugin* ApplyEffect(const CLSID& classId, int64_t start, int64_t end) {
        CTransformPlugin* transform = CTransformPlugin::Create(classId, GUID{}, -1);
        if (transform == nullptr)
            return nullptr;
        if (classId == doubles::kGainClass)
            transform->SetValue(0, 0.5f);
        presentation->OnDialog("Apply", [](CModalDialog& d) { d.OnOK(); });
        Select(start, end);
        view->ApplyTransform(transform);
        return transform;
    }

    // The first channel of `media` as it plays, in working floats.
    static std::vector<float> Channel0(CEditedMedia& media) {
        const WAVEFORMATEX* format = media.GetFormat();
        const int64_t frames = media.GetLength();
        std::vector<float> out;
        if (format == nullptr || frames == 0)
            return out;
        CMediaData block(frames, format->nChannels * 4);
        ReadCursor* cursor = media.MakeCursor();
        media.Seek(*cursor, 0);
        media.ReadSamples(*cursor, block);
        media.FreeCursor(cursor);
        for (int64_t i = 0; i < frames; ++i)
            out.push_back(block.GetFloats()[i * format->nChannels]);
        return out;
    }
    // What Wav() wrote at frame f of channel 0, as a working float.
    static float Written(int64_t f) { return static_cast<float>((f * 7) % 30000 - 15000) / 32768.0f; }

    std::unique_ptr<CMessageLoop> loop;
    std::unique_ptr<CChildView> view;
};

} // namespace tw::test
