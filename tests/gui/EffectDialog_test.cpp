// The effect dialog as a window over a document: the transform's page inside it writing the
// transform, the preset box and the channel menu answering through the dialog, and a page that
// cannot be made.
#include "GainPageDouble.h"
#include "OnScreen.h"

#include "dsp/TransformDoubles.h"
#include "dsp/TransformPlugin.h"
#include "gui/DialogWindow.h"
#include "gui/EffectPropWnd.h"
#include "view/ChildView.h"

#include <QComboBox>
#include <QMenu>
#include <QMessageBox>
#include <QSlider>
#include <QToolButton>

#include <cstring>

namespace tw::test {
namespace {

class EffectDialog : public OnScreen {
protected:
    void SetUp() override {
        OnScreen::SetUp();
        RegisterGainPage();
        SetGainPageRefused(false);
    }
    void TearDown() override {
        SetGainPageRefused(false);
        OnScreen::TearDown();
    }
    // Starts applying a gain of 1 to the whole document; the dialog's window is what shows next.
    void ApplyGain() {
        document->Start([this](CMainFrame& frame) {
            CChildView& view = frame.GetView();
            view.SetSelection(CSection(0, view.GetMedia().GetLength()));
            gain = CTransformPlugin::Create(doubles::kGainClass, GUID{}, -1);
            gain->SetValue(0, 1.0f);
            view.ApplyTransform(gain);
            applied = true;
        });
    }
    float GainOf() {
        float value = -1;
        document->Call([&](CMainFrame&) {
            const std::vector<uint8_t> state = gain->GetState();
            std::memcpy(&value, state.data(), sizeof(float));
        });
        return value;
    }

    CTransformPlugin* gain = nullptr;
    std::atomic<bool> applied{false};
};

TEST_F(EffectDialog, ThePageWritesTheTransformAndPresetsAndChannelsAnswerThroughTheDialog) {
    ASSERT_NO_FATAL_FAILURE(Open(wav));
    ApplyGain();
    auto* window = Find<CDialogWindow>();
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->windowTitle(), "Gain");
    auto* pages = window->findChild<CEffectPropWnd*>();
    ASSERT_NE(pages, nullptr);
    EXPECT_EQ(pages->PageCount(), 1);
    auto* slider = window->findChild<QSlider*>("gainSlider");
    ASSERT_NE(slider, nullptr);
    ASSERT_TRUE(Pump([&] { return slider->isVisible(); }));
    Settle(0.2);
    SaveShot(*window, "effect-dialog");

    slider->setValue(35);
    EXPECT_FLOAT_EQ(GainOf(), 0.35f);

    // A factory preset picked from the box's list goes to the transform at once.
    auto* presets = window->findChild<QComboBox*>("547");
    ASSERT_NE(presets, nullptr);
    ASSERT_EQ(presets->findText("Loud"), 1);
    presets->setCurrentIndex(1);
    emit presets->activated(1);
    EXPECT_TRUE(Pump([&] { return GainOf() == 2.0f; }, 5.0));

    // The channel menu names the document's two channels; one turned off comes back unchecked.
    auto* channels = window->findChild<QToolButton*>("6134");
    ASSERT_NE(channels, nullptr);
    ASSERT_NE(channels->menu(), nullptr);
    QList<QAction*> entries = channels->menu()->actions();
    ASSERT_EQ(entries.size(), 2);
    EXPECT_EQ(entries[1]->text(), "Front right");
    EXPECT_TRUE(entries[1]->isChecked());
    entries[1]->trigger();
    EXPECT_TRUE(Pump([&] {
        const QList<QAction*> now = channels->menu()->actions();
        return now.size() == 2 && !now[1]->isChecked() && now[0]->isChecked();
    }));

    // Bypass shows pressed as the dialog answers; OK applies the effect as set.
    auto* bypass = window->findChild<QToolButton*>("6019");
    ASSERT_NE(bypass, nullptr);
    bypass->click();
    EXPECT_TRUE(Pump([&] { return bypass->isChecked(); }));
    slider->setValue(50);
    window->accept();
    ASSERT_TRUE(Pump([&] { return applied.load(); }));
    bool tagged = false;
    document->Call([&](CMainFrame& frame) {
        tagged = frame.GetView().GetMedia().GetTransformCount() == 1 && !gain->GetBypass();
    });
    EXPECT_TRUE(tagged);
    EXPECT_FLOAT_EQ(GainOf(), 0.5f);
}

TEST_F(EffectDialog, APageThatCannotBeMadeIsToldAndTheDocumentStaysAsItWas) {
    ASSERT_NO_FATAL_FAILURE(Open(wav));
    SetGainPageRefused(true);
    ApplyGain();
    QMessageBox* box = nullptr;
    ASSERT_TRUE(Pump([&] { return (box = Find<QMessageBox>()) != nullptr; }));
    EXPECT_EQ(box->text(), "An error occurred when creating the plug-in settings window.");
    box->button(QMessageBox::Ok)->click();
    ASSERT_TRUE(Pump([&] { return applied.load(); }));
    int transforms = -1;
    document->Call([&](CMainFrame& frame) { transforms = frame.GetView().GetMedia().GetTransformCount(); });
    EXPECT_EQ(transforms, 0);
}

} // namespace
} // namespace tw::test
