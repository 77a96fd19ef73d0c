// The parameters page on every built-in effect: what it lists and tells of itself, that what the
// person does with its controls reaches the transform at once, that values set elsewhere show, the
// curves, and the answers to a host that calls it wrongly.
#include "pages/PageHost.h"

#include <QComboBox>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QMouseEvent>
#include <QSlider>
#include <QTest>
#include <QWheelEvent>

#include <cmath>

using namespace twtest;

namespace {

bool HasPages(const CLSID& effect) {
    auto t = Make<ITransform>(effect, IID_ITransform);
    CAUUID pages{0, nullptr};
    EXPECT_EQ(t->GetPages(&pages), S_OK);
    const bool has = pages.cElems > 0;
    for (ULONG i = 0; i < pages.cElems; ++i)
        EXPECT_TRUE(pages.pElems[i] == CLSID_TransformParamsPage);
    std::free(pages.pElems);
    return has;
}

void Type(QLineEdit* edit, const QString& text) {
    edit->selectAll();
    QTest::keyClicks(edit, text);
    QTest::keyClick(edit, Qt::Key_Return);
}

class ParamsPageTest : public ::testing::Test {};

QWidget* Curve(PageHost& host) {
    return host.Window().findChild<QWidget*>("responseCurve");
}

TEST_F(ParamsPageTest, EveryEffectWithSettingsListsThePageAndOffersADialog) {
    auto manager = Make<IPluginManager>(CLSID_BuiltinPluginManager, IID_IPluginManager);
    ASSERT_TRUE(manager);
    int32_t count = 0;
    ASSERT_EQ(manager->GetCount(&count), S_OK);
    for (int32_t i = 0; i < count; ++i) {
        GUID classId{};
        VARIANT_BOOL dialog = VARIANT_FALSE;
        ASSERT_EQ(manager->GetClassId(i, &classId), S_OK);
        ASSERT_EQ(manager->GetHasDialog(i, &dialog), S_OK);
        // The menu's "..." promises a dialog, which the system shows only for a transform with pages.
        EXPECT_EQ(dialog == VARIANT_TRUE, HasPages(classId)) << "entry " << i;
    }
    // Removing an offset is a one-step command.
    EXPECT_FALSE(HasPages(CLSID_BuiltinDcOffset));
    EXPECT_TRUE(HasPages(CLSID_BuiltinAmplify));
}

// Every page of every effect: it takes the effect's name and the size it asked for holds its layout,
// so the dialog sized by it cuts nothing off. Every control, moved to both ends of its range, sets
// the transform's value there, and the site hears of each change. A preset chosen by the dialog on
// the document's thread sets the very object the page edits: after a poll every control shows it,
// and values that came from elsewhere are no change of the person's.
TEST_F(ParamsPageTest, EachPageHoldsItsControls_WhichSetTheTransformAndShowItsPresets) {
    for (const ListedEffect& effect : BuiltinEffects()) {
        if (!HasPages(effect.classId))
            continue;
        SCOPED_TRACE(effect.name);
        PageHost host(effect.classId);
        ASSERT_TRUE(host.Ok());
        EXPECT_EQ(host.Title(), effect.name);
        SaveShot(host.Window(), "page-" + FileName(effect.name));
        const QSize least = host.Panel()->layout()->minimumSize();
        EXPECT_LE(least.width(), host.Size().width());
        EXPECT_LE(least.height(), host.Size().height());
        EXPECT_EQ(host.Page()->IsPageDirty(), S_FALSE);
        int32_t count = 0;
        ASSERT_EQ(host.Params()->GetCount(&count), S_OK);
        for (int i = 0; i < count; ++i) {
            auto* caption = host.Control<QLabel>("label", i);
            ASSERT_NE(caption, nullptr);
            EXPECT_FALSE(caption->text().isEmpty());
            for (const char* job : {"slider", "edit", "choice"}) {
                if (auto* control = host.Control<QWidget>(job, i)) {
                    EXPECT_TRUE(host.Panel()->rect().contains(control->geometry())) << job << i;
                }
            }
            float low = 0, high = 0;
            ASSERT_EQ(host.Params()->GetRange(i, &low, &high), S_OK);
            if (auto* slider = host.Control<QSlider>("slider", i)) {
                slider->triggerAction(QAbstractSlider::SliderToMaximum);
                EXPECT_FLOAT_EQ(host.Value(i), high) << "parameter " << i;
                slider->triggerAction(QAbstractSlider::SliderToMinimum);
                EXPECT_FLOAT_EQ(host.Value(i), low) << "parameter " << i;
            } else {
                auto* choice = host.Control<QComboBox>("choice", i);
                ASSERT_NE(choice, nullptr) << "parameter " << i;
                choice->setCurrentIndex(choice->count() - 1);
                EXPECT_FLOAT_EQ(host.Value(i), high);
                choice->setCurrentIndex(0);
                EXPECT_FLOAT_EQ(host.Value(i), low);
            }
        }
        EXPECT_GE(host.Site().dirty, count);
        EXPECT_EQ(host.Page()->IsPageDirty(), S_OK);
        EXPECT_EQ(host.Page()->Apply(), S_OK);
        EXPECT_EQ(host.Page()->IsPageDirty(), S_FALSE);

        auto presets = QueryAs<ITransformPresets>(host.Transform(), IID_ITransformPresets);
        int32_t last = 0;
        ASSERT_EQ(presets->GetCount(&last), S_OK);
        ASSERT_GT(last, 0);
        ASSERT_EQ(presets->Select(last - 1), S_OK);
        const int dirty = host.Site().dirty;
        host.LetPagePoll();
        for (int i = 0; i < count; ++i) {
            const float value = host.Value(i);
            if (auto* choice = host.Control<QComboBox>("choice", i)) {
                EXPECT_EQ(choice->currentIndex(), static_cast<int>(std::lround(value)));
                continue;
            }
            auto* edit = host.Control<QLineEdit>("edit", i);
            auto* slider = host.Control<QSlider>("slider", i);
            ASSERT_NE(edit, nullptr);
            ASSERT_NE(slider, nullptr);
            // Shown to the digits the field writes.
            EXPECT_NEAR(edit->text().toDouble(), value, 0.051 + 1e-3 * std::fabs(value)) << "parameter " << i;
            float low = 0, high = 0;
            ASSERT_EQ(host.Params()->GetRange(i, &low, &high), S_OK);
            if (value == high) {
                EXPECT_EQ(slider->value(), slider->maximum());
            } else if (value == low) {
                EXPECT_EQ(slider->value(), slider->minimum());
            } else {
                EXPECT_GT(slider->value(), slider->minimum());
                EXPECT_LT(slider->value(), slider->maximum());
            }
        }
        EXPECT_EQ(host.Site().dirty, dirty);
    }
}

struct Typed {
    CLSID effect;
    int param;
    const char* text;
    float expected;
};

// Typed text with and without its unit, thousands as "k", whole steps, and text beyond the range,
// which is held at the range's end.
const Typed kTyped[] = {
    {CLSID_BuiltinAmplify, 0, "-6.5", -6.5f},
    {CLSID_BuiltinAmplify, 0, "9999", 48.0f},
    {CLSID_BuiltinAmplify, 0, "-1e9", -48.0f},
    {CLSID_BuiltinNormalize, 0, "-1 dB", -1.0f},
    {CLSID_BuiltinNormalize, 0, "3", 0.0f},
    {CLSID_BuiltinEcho, 0, "750", 750.0f},
    {CLSID_BuiltinEcho, 0, "0", 1.0f},
    {CLSID_BuiltinEcho, 1, "33,4 %", 33.0f},
    {CLSID_BuiltinReverb, 0, "80%", 80.0f},
    {CLSID_BuiltinEqualizer, 3, "1.5k", 1500.0f},
    {CLSID_BuiltinEqualizer, 3, "40 kHz", 20000.0f},
    {CLSID_BuiltinEqualizer, 4, "-7.2", -7.2f},
    {CLSID_BuiltinEqualizer, 5, "-5", 0.1f},
    {CLSID_BuiltinCompressor, 1, "8", 8.0f},
    {CLSID_BuiltinCompressor, 2, "0.5 ms", 0.5f},
    {CLSID_BuiltinTimeStretch, 0, "150", 150.0f},
    {CLSID_BuiltinPitchShift, 0, "-20", -12.0f},
    {CLSID_BuiltinPitchShift, 1, "-3.4", -3.0f},
};

TEST_F(ParamsPageTest, ATypedValueReachesTheTransformHeldToItsRangeAndSteps) {
    for (const Typed& row : kTyped) {
        SCOPED_TRACE(row.text);
        PageHost host(row.effect);
        ASSERT_TRUE(host.Ok());
        auto* edit = host.Control<QLineEdit>("edit", row.param);
        ASSERT_NE(edit, nullptr);
        Type(edit, QString::fromUtf8(row.text));
        EXPECT_NEAR(host.Value(row.param), row.expected, 1e-4);
        // The field shows what the transform took, not what was typed.
        EXPECT_NEAR(edit->text().toDouble(), row.expected, 1e-4);
        EXPECT_GE(host.Site().dirty, 1);
    }
}

TEST_F(ParamsPageTest, TextThatIsNoNumberLeavesTheValue_ArrowKeysStepIt) {
    PageHost echo(CLSID_BuiltinEcho);
    ASSERT_TRUE(echo.Ok());
    auto* edit = echo.Control<QLineEdit>("edit", 0);
    ASSERT_NE(edit, nullptr);
    const QString before = edit->text();
    Type(edit, "soon");
    EXPECT_FLOAT_EQ(echo.Value(0), 250.0f);
    EXPECT_EQ(edit->text(), before); // shown again
    EXPECT_EQ(echo.Site().dirty, 0);
    EXPECT_EQ(echo.Page()->IsPageDirty(), S_FALSE);

    PageHost pitch(CLSID_BuiltinPitchShift);
    ASSERT_TRUE(pitch.Ok());
    edit = pitch.Control<QLineEdit>("edit", 0);
    ASSERT_NE(edit, nullptr);
    QTest::keyClick(edit, Qt::Key_Up);
    QTest::keyClick(edit, Qt::Key_Up);
    EXPECT_FLOAT_EQ(pitch.Value(0), 2.0f);
    QTest::keyClick(edit, Qt::Key_PageDown);
    EXPECT_FLOAT_EQ(pitch.Value(0), -8.0f);
    EXPECT_EQ(edit->text(), "-8");
}

TEST_F(ParamsPageTest, ASliderThePersonHoldsIsNotMovedByThePoll) {
    PageHost host(CLSID_BuiltinEcho);
    ASSERT_TRUE(host.Ok());
    auto* slider = host.Control<QSlider>("slider", 1);
    auto* edit = host.Control<QLineEdit>("edit", 1);
    slider->setSliderDown(true);
    slider->triggerAction(QAbstractSlider::SliderToMaximum);
    const int held = slider->value();
    ASSERT_EQ(host.Params()->SetValue(1, 10.0f), S_OK);
    host.LetPagePoll();
    EXPECT_EQ(slider->value(), held);
    EXPECT_EQ(edit->text(), "10"); // the field still tells what the transform holds
    slider->setSliderDown(false);
    host.LetPagePoll();
    EXPECT_LT(slider->value(), held);
}

// Where the plot puts (x, y), by the axes the curve publishes.
QPoint PlotPoint(const QWidget& curve, double x, double y) {
    const QRect plot = curve.property("plotRect").toRect();
    const QPointF xs = curve.property("xRange").toPointF();
    const QPointF ys = curve.property("yRange").toPointF();
    const double sx = curve.property("logX").toBool() ? std::log(x / xs.x()) / std::log(xs.y() / xs.x())
                                                      : (x - xs.x()) / (xs.y() - xs.x());
    const double sy = (y - ys.x()) / (ys.y() - ys.x());
    return QPoint(static_cast<int>(std::lround(plot.left() + sx * plot.width())),
                  static_cast<int>(std::lround(plot.top() + plot.height() - sy * plot.height())));
}

bool IsCurve(QRgb c) {
    return qBlue(c) > 190 && qRed(c) < 130 && qGreen(c) > 140;
}

// The mean row of the curve's line in pixel column `x`; -1 where it is not drawn.
double CurveRow(const QImage& image, int x) {
    double sum = 0;
    int n = 0;
    for (int y = 0; y < image.height(); ++y)
        if (IsCurve(image.pixel(x, y)))
            sum += y, ++n;
    return n > 0 ? sum / n : -1.0;
}

struct CurveCase {
    const char* what;
    const char* shot;
    CLSID effect;
    std::vector<std::pair<int, float>> values;
    // (x, y) the curve passes through; the equaliser's worked out from the cookbook's peaking filter
    // at 48 kHz, apart from this code
    std::vector<std::pair<double, double>> points;
};

const CurveCase kCurves[] = {
    {"a boost of 12 dB at 1 kHz",
     "page-parametric-equalizer-boost",
     CLSID_BuiltinEqualizer,
     {{3, 1000.0f}, {4, 12.0f}, {5, 2.0f}},
     {{21.0, 0.0}, {1150.0, 8.79}, {870.0, 8.81}, {19000.0, 0.0}}},
    {"a cut of 12 dB at 200 Hz",
     nullptr,
     CLSID_BuiltinEqualizer,
     {{0, 200.0f}, {1, -12.0f}, {2, 2.0f}},
     {{21.0, 0.0}, {230.0, -8.80}, {5000.0, 0.0}}},
    {"4:1 above -30 dB with 6 dB make-up",
     "page-compressor-4-to-1",
     CLSID_BuiltinCompressor,
     {{0, -30.0f}, {1, 4.0f}, {4, 6.0f}},
     {{-59.5, -53.5}, {-45.0, -39.0}, {-0.5, -16.625}}},
    {"a linear fade out", nullptr, CLSID_BuiltinFadeOut, {{0, 0.0f}}, {{25.0, 75.0}, {75.0, 25.0}}},
    {"an S-curve fade in",
     "page-fade-in-s-curve",
     CLSID_BuiltinFadeIn,
     {{0, 3.0f}},
     {{25.0, 14.64}, {50.0, 50.0}}},
};

TEST_F(ParamsPageTest, TheCurveFollowsTheValuesTheTransformHolds) {
    for (const CurveCase& c : kCurves) {
        SCOPED_TRACE(c.what);
        PageHost host(c.effect);
        ASSERT_TRUE(host.Ok());
        for (const auto& [index, value] : c.values)
            ASSERT_EQ(host.Params()->SetValue(index, value), S_OK);
        host.LetPagePoll();
        auto* curve = Curve(host);
        ASSERT_NE(curve, nullptr);
        if (c.shot != nullptr)
            SaveShot(host.Window(), c.shot);
        const QImage image = curve->grab().toImage();
        const double pixelsPerUnit =
            curve->property("plotRect").toRect().height() /
            (curve->property("yRange").toPointF().y() - curve->property("yRange").toPointF().x());
        for (const auto& [x, y] : c.points) {
            const QPoint at = PlotPoint(*curve, x, y);
            const double row = CurveRow(image, at.x());
            ASSERT_GE(row, 0.0) << "no curve at x " << x;
            EXPECT_NEAR(row, at.y(), std::max(2.5, 0.6 * pixelsPerUnit)) << "at x " << x;
        }
    }
}

TEST_F(ParamsPageTest, TheEqualizerCurveRisesAsTheBandsGainIsTyped) {
    PageHost host(CLSID_BuiltinEqualizer);
    ASSERT_TRUE(host.Ok());
    auto* curve = Curve(host);
    ASSERT_NE(curve, nullptr);
    // Band 3 sits at 2 kHz; look beside its handle, which covers the centre.
    const int x = PlotPoint(*curve, 2500.0, 0.0).x();
    const double flat = CurveRow(curve->grab().toImage(), x);
    Type(host.Control<QLineEdit>("edit", 7), "18");
    const double boosted = CurveRow(curve->grab().toImage(), x);
    EXPECT_LT(boosted, flat - 20) << "the curve did not rise on the page's own change";
}

void Mouse(QWidget& w, QEvent::Type type, QPoint at) {
    const Qt::MouseButtons held = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
    const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent e(type, QPointF(at), w.mapToGlobal(QPointF(at)), button, held, Qt::NoModifier);
    QCoreApplication::sendEvent(&w, &e);
}

TEST_F(ParamsPageTest, DraggingABandsHandleMovesItsCentreAndGainAndTheWheelItsWidth) {
    PageHost host(CLSID_BuiltinEqualizer);
    ASSERT_TRUE(host.Ok());
    auto* curve = Curve(host);
    ASSERT_NE(curve, nullptr);
    // Band 3 starts at 2 kHz and 0 dB.
    const QPoint to = PlotPoint(*curve, 1000.0, 6.0);
    Mouse(*curve, QEvent::MouseButtonPress, PlotPoint(*curve, 2000.0, 0.0));
    Mouse(*curve, QEvent::MouseMove, PlotPoint(*curve, 1500.0, 3.0));
    Mouse(*curve, QEvent::MouseMove, to);
    Mouse(*curve, QEvent::MouseButtonRelease, to);
    EXPECT_NEAR(host.Value(6), 1000.0f, 30.0f);
    EXPECT_NEAR(host.Value(7), 6.0f, 0.5f);
    EXPECT_EQ(host.Control<QLineEdit>("edit", 6)->text().toDouble(), host.Value(6));
    EXPECT_NEAR(host.Control<QLineEdit>("edit", 7)->text().toDouble(), host.Value(7), 1e-4);
    EXPECT_GE(host.Site().dirty, 2);
    // The other bands stay where they were.
    EXPECT_EQ(std::pair(host.Value(3), host.Value(4)), std::pair(500.0f, 0.0f));

    QWheelEvent wheel(QPointF(to), curve->mapToGlobal(QPointF(to)), QPoint(), QPoint(0, 120), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(curve, &wheel);
    EXPECT_NEAR(host.Value(8), 1.25f, 1e-4);

    // A press away from every handle moves nothing.
    const float before = host.Value(0);
    Mouse(*curve, QEvent::MouseButtonPress, PlotPoint(*curve, 10000.0, 20.0));
    Mouse(*curve, QEvent::MouseMove, PlotPoint(*curve, 50.0, -20.0));
    Mouse(*curve, QEvent::MouseButtonRelease, PlotPoint(*curve, 50.0, -20.0));
    EXPECT_FLOAT_EQ(host.Value(0), before);
}

// A transform of another kind (a plug-in's) with nothing but names and ranges: the page still builds
// its controls, taking the unit from the name.
class PlainParams : public ITransformParams {
public:
    HRESULT QueryInterface(const GUID& iid, void** out) override {
        const bool known = iid == IID_IUnknown || iid == IID_ITransformParams;
        *out = known ? static_cast<ITransformParams*>(this) : nullptr;
        return known ? (AddRef(), S_OK) : E_NOINTERFACE;
    }
    uint32_t AddRef() override { return ++refs; }
    uint32_t Release() override { return --refs; }
    HRESULT GetCount(int32_t* count) override { return *count = 2, S_OK; }
    HRESULT GetValue(int32_t index, float* value) override { return *value = values[index], S_OK; }
    HRESULT SetValue(int32_t index, float value) override {
        return values[index] = std::fmin(std::fmax(value, 0.0f), index == 0 ? 500.0f : 1.0f), S_OK;
    }
    HRESULT GetParamName(int32_t index, BSTR* name) override {
        return *name = SysAllocString(index == 0 ? u"Cutoff (Hz)" : u"Wet"), S_OK;
    }
    HRESULT GetRange(int32_t index, float* low, float* high) override {
        *low = 0.0f;
        return *high = index == 0 ? 500.0f : 1.0f, S_OK;
    }
    float values[2] = {100.0f, 0.5f};
    uint32_t refs = 1;
};

TEST_F(ParamsPageTest, AnObjectWithOnlyNamesAndRangesGetsPlainControls) {
    PlainParams object;
    auto page = Make<IPropertyPage>(CLSID_TransformParamsPage, IID_IPropertyPage);
    ASSERT_TRUE(page);
    IUnknown* objects[] = {&object};
    ASSERT_EQ(page->SetObjects(1, objects), S_OK);
    PROPPAGEINFO info{};
    info.cb = sizeof(info);
    ASSERT_EQ(page->GetPageInfo(&info), S_OK);
    EXPECT_EQ(Narrow(info.pszTitle), "Parameters");
    CoTaskMemFree(info.pszTitle);
    QWidget window;
    const TWRECT rect{0, 0, info.size.cx, info.size.cy};
    ASSERT_EQ(page->Activate(&window, &rect, 1), S_OK);
    ASSERT_EQ(page->Show(SW_SHOW), S_OK);
    window.show();
    EXPECT_EQ(
        (QStringList{window.findChild<QLabel*>("label0")->text(), window.findChild<QLabel*>("unit0")->text(),
                     window.findChild<QLabel*>("label1")->text()}),
        (QStringList{"Cutoff", "Hz", "Wet"}));
    EXPECT_EQ(window.findChild<QWidget*>("responseCurve"), nullptr);
    auto* slider = window.findChild<QSlider*>("slider1");
    slider->triggerAction(QAbstractSlider::SliderToMaximum);
    EXPECT_FLOAT_EQ(object.values[1], 1.0f);
    Type(window.findChild<QLineEdit*>("edit0"), "250");
    EXPECT_FLOAT_EQ(object.values[0], 250.0f);
    SaveShot(window, "page-plain-parameters");
    EXPECT_EQ(page->Deactivate(), S_OK);
    EXPECT_EQ(page->SetObjects(0, nullptr), S_OK);
    EXPECT_EQ(object.refs, 1u) << "the page keeps the object after SetObjects(0)";
}

class NoParams : public IUnknown {
public:
    HRESULT QueryInterface(const GUID& iid, void** out) override {
        *out = iid == IID_IUnknown ? this : nullptr;
        return *out != nullptr ? S_OK : E_NOINTERFACE;
    }
    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }
};

TEST_F(ParamsPageTest, AHostThatCallsOutOfOrderGetsAnErrorAndNoPage) {
    auto page = Make<IPropertyPage>(CLSID_TransformParamsPage, IID_IPropertyPage);
    ASSERT_TRUE(page);
    QWidget window;
    const TWRECT rect{0, 0, 400, 200};
    NoParams stranger;
    IUnknown* strangers[] = {&stranger};
    PROPPAGEINFO info{};
    info.cb = sizeof(info);
    IUnknown* none[] = {nullptr};
    EXPECT_EQ((std::vector<HRESULT>{page->SetObjects(1, strangers), page->Activate(&window, &rect, 1),
                                    page->GetPageInfo(&info), page->Show(SW_SHOW), page->Deactivate(),
                                    page->Move(&rect), page->SetObjects(1, nullptr),
                                    page->SetObjects(1, none), page->GetPageInfo(nullptr)}),
              (std::vector<HRESULT>{E_NOINTERFACE, E_UNEXPECTED, E_UNEXPECTED, E_UNEXPECTED, E_UNEXPECTED,
                                    E_UNEXPECTED, E_POINTER, E_POINTER, E_POINTER}));
    EXPECT_EQ(info.pszTitle, nullptr);

    auto transform = Make<ITransform>(CLSID_BuiltinEcho, IID_ITransform);
    IUnknown* two[] = {transform.get(), transform.get()};
    EXPECT_EQ(page->SetObjects(2, two), E_INVALIDARG);
    ASSERT_EQ(page->SetObjects(1, two), S_OK);
    PROPPAGEINFO old{};
    old.cb = sizeof(old) - 8; // a caller of another layout
    EXPECT_EQ((std::vector<HRESULT>{page->GetPageInfo(&old), page->Activate(nullptr, &rect, 1),
                                    page->Activate(&window, nullptr, 1)}),
              (std::vector<HRESULT>{E_INVALIDARG, E_POINTER, E_POINTER}));
    EXPECT_TRUE(window.findChildren<QWidget*>().isEmpty());
    ASSERT_EQ(page->Activate(&window, &rect, 1), S_OK);
    EXPECT_EQ((std::vector<HRESULT>{page->Activate(&window, &rect, 1), page->SetObjects(1, two),
                                    page->Move(nullptr), page->TranslateAccelerator(nullptr)}),
              (std::vector<HRESULT>{E_UNEXPECTED, E_UNEXPECTED, E_POINTER, E_POINTER}));
    EXPECT_EQ(window.findChildren<QWidget*>("parametersPage").size(), 1);
    EXPECT_EQ(page->Deactivate(), S_OK);
    EXPECT_FALSE(window.findChild<QWidget*>("parametersPage")->isVisibleTo(&window));
    Settle();
    EXPECT_TRUE(window.findChildren<QWidget*>().isEmpty());
}

TEST_F(ParamsPageTest, ThePageFollowsTheHostsMovesAndLetsGoOfItsObjectAndWidgets) {
    auto transform = Make<ITransform>(CLSID_BuiltinCompressor, IID_ITransform);
    auto page = Make<IPropertyPage>(CLSID_TransformParamsPage, IID_IPropertyPage);
    IUnknown* object = transform.get();
    ASSERT_EQ(page->SetObjects(1, &object), S_OK);
    QWidget window;
    window.resize(700, 500);
    const TWRECT rect{10, 20, 510, 420};
    ASSERT_EQ(page->Activate(&window, &rect, 1), S_OK);
    auto* panel = window.findChild<QWidget*>("parametersPage");
    ASSERT_NE(panel, nullptr);
    EXPECT_FALSE(panel->isVisibleTo(&window)) << "a page is created hidden";
    ASSERT_EQ(page->Show(SW_SHOW), S_OK);
    EXPECT_TRUE(panel->isVisibleTo(&window));
    EXPECT_EQ(panel->geometry(), QRect(10, 20, 500, 400));
    const TWRECT moved{0, 0, 640, 480};
    ASSERT_EQ(page->Move(&moved), S_OK);
    EXPECT_EQ(panel->geometry(), QRect(0, 0, 640, 480));
    ASSERT_EQ(page->Show(SW_HIDE), S_OK);
    EXPECT_FALSE(panel->isVisibleTo(&window));

    // Let go of while active: the page keeps no reference, its controls stop.
    const uint32_t before = transform->AddRef() - 1;
    transform->Release();
    ASSERT_EQ(page->SetObjects(0, nullptr), S_OK);
    EXPECT_EQ(transform->AddRef() - 1, before - 1);
    transform->Release();
    EXPECT_FALSE(window.findChild<QSlider*>("slider0")->isEnabled());
    // Released without Deactivate, the page takes its widgets with it.
    page.reset();
    Settle();
    EXPECT_EQ(window.findChild<QWidget*>("parametersPage"), nullptr);
}

} // namespace
