#include "gui/ViewWidget.h"

#include "gui/KeyMapping.h"
#include "platform/Messages.h"
#include "platform/Window.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QVBoxLayout>
#include <QWheelEvent>

#include <climits>
#include <cmath>

namespace tw {

// The area the document paints. Sizes and mouse positions are told in device pixels, so on a
// high-density screen the document paints every pixel and the picture is shown one to one.
class CViewCanvas : public QWidget {
public:
    CViewCanvas(WindowHandle view, WindowHandle frame, QWidget* parent)
        : QWidget(parent), m_view(view), m_frame(frame) {
        setFocusPolicy(Qt::StrongFocus);
        setMouseTracking(true);
        setAttribute(Qt::WA_OpaquePaintEvent);
        setMinimumSize(200, 120);
    }

    void SetImage(std::shared_ptr<const CViewImage> image) {
        m_image = std::move(image);
        if (m_image && m_image->width > 0 && m_image->height > 0)
            // The pixels stay with the shared image; QImage only looks at them. The plot is opaque:
            // read as RGB32 it is copied to the window as it stands, with no conversion per paint.
            m_picture = QImage(reinterpret_cast<const uchar*>(m_image->pixels.data()), m_image->width,
                               m_image->height, m_image->width * 4, QImage::Format_RGB32);
        else
            m_picture = QImage();
        m_picture.setDevicePixelRatio(devicePixelRatioF());
        update();
    }

    void SetPlayCursor(int x, int top, int bottom) {
        const double ratio = devicePixelRatioF();
        auto column = [&](int at) {
            return QRect(static_cast<int>(std::floor(at / ratio)) - 1, 0, 3, height());
        };
        if (m_cursorX >= 0)
            update(column(m_cursorX));
        m_cursorX = x;
        m_cursorTop = top;
        m_cursorBottom = bottom;
        if (m_cursorX >= 0)
            update(column(m_cursorX));
    }

    QImage Picture() const { return m_picture.copy(); }
    CViewWidget::PaintObserver m_observer;
    int m_dpi = 96;

protected:
    void paintEvent(QPaintEvent* event) override {
        QPainter painter(this);
        painter.fillRect(event->rect(), palette().window());
        if (!m_picture.isNull())
            painter.drawImage(QPointF(0, 0), m_picture);
        if (m_cursorX >= 0) {
            // The line inverts what is under it, so it shows on any colour of the plot.
            const double ratio = devicePixelRatioF();
            painter.setCompositionMode(QPainter::RasterOp_SourceXorDestination);
            painter.setPen(QPen(Qt::white, 0));
            const double x = m_cursorX / ratio;
            painter.drawLine(QPointF(x, m_cursorTop / ratio), QPointF(x, m_cursorBottom / ratio));
        }
        if (m_observer)
            m_observer(m_image.get(), m_cursorX);
    }

    void resizeEvent(QResizeEvent*) override {
        const double ratio = devicePixelRatioF();
        // The density first, so the paint that follows the size lays out for it.
        const int dpi = static_cast<int>(std::lround(96 * ratio));
        if (dpi != m_dpi) {
            m_dpi = dpi;
            CWindow::PostMessage(m_view, WM_DPICHANGED, static_cast<uintptr_t>(dpi));
        }
        const int w = static_cast<int>(std::lround(width() * ratio));
        const int h = static_cast<int>(std::lround(height() * ratio));
        CWindow::PostMessage(m_view, WM_SIZE, 0, MakePoint(w, h));
    }

    void mousePressEvent(QMouseEvent* e) override {
        if (e->button() == Qt::LeftButton)
            Post(WM_LBUTTONDOWN, e);
        else if (e->button() == Qt::RightButton)
            Post(WM_RBUTTONDOWN, e);
    }
    void mouseReleaseEvent(QMouseEvent* e) override {
        if (e->button() == Qt::LeftButton)
            Post(WM_LBUTTONUP, e);
        else if (e->button() == Qt::RightButton)
            Post(WM_RBUTTONUP, e);
    }
    void mouseDoubleClickEvent(QMouseEvent* e) override {
        if (e->button() == Qt::LeftButton)
            Post(WM_LBUTTONDBLCLK, e);
    }
    void mouseMoveEvent(QMouseEvent* e) override { Post(WM_MOUSEMOVE, e); }
    void wheelEvent(QWheelEvent* e) override {
        const int delta = e->angleDelta().y();
        if (delta != 0)
            CWindow::PostMessage(
                m_view, WM_MOUSEWHEEL,
                static_cast<uintptr_t>(static_cast<uint16_t>(static_cast<int16_t>(delta))) << 16, 0);
        e->accept();
    }
    void keyPressEvent(QKeyEvent* e) override {
        const uint32_t key = VirtualKey(e->key());
        if (key == 0) {
            QWidget::keyPressEvent(e);
            return;
        }
        // The frame translates accelerators first and hands the rest to the view.
        CWindow::PostMessage(m_frame, WM_KEYDOWN, key, KeyModifiers(e->modifiers()));
    }
    bool focusNextPrevChild(bool) override { return false; } // Tab belongs to the document's ring
    void focusInEvent(QFocusEvent*) override { CWindow::PostMessage(m_view, WM_SETFOCUS); }
    void focusOutEvent(QFocusEvent*) override { CWindow::PostMessage(m_view, WM_KILLFOCUS); }

private:
    void Post(uint32_t message, QMouseEvent* e) {
        uintptr_t flags = 0;
        const Qt::MouseButtons buttons = e->buttons();
        if (buttons & Qt::LeftButton)
            flags |= MK_LBUTTON;
        if (buttons & Qt::RightButton)
            flags |= MK_RBUTTON;
        if (e->modifiers() & Qt::ShiftModifier)
            flags |= MK_SHIFT;
        if (e->modifiers() & Qt::ControlModifier)
            flags |= MK_CONTROL;
        const double ratio = devicePixelRatioF();
        const QPointF p = e->position() * ratio;
        CWindow::PostMessage(
            m_view, message, flags,
            MakePoint(static_cast<int>(std::lround(p.x())), static_cast<int>(std::lround(p.y()))));
        if (message == WM_LBUTTONDOWN || message == WM_RBUTTONDOWN)
            setFocus(Qt::MouseFocusReason);
    }

    WindowHandle m_view;
    WindowHandle m_frame;
    std::shared_ptr<const CViewImage> m_image;
    QImage m_picture;
    int m_cursorX = -1;
    int m_cursorTop = 0;
    int m_cursorBottom = 0;
};

CViewWidget::CViewWidget(WindowHandle view, WindowHandle frame, QWidget* parent)
    : QWidget(parent), m_view(view) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    m_canvas = new CViewCanvas(view, frame, this);
    m_scroll = new QScrollBar(Qt::Horizontal, this);
    m_scroll->hide();
    layout->addWidget(m_canvas, 1);
    layout->addWidget(m_scroll);
    setFocusProxy(m_canvas);
    connect(m_scroll, &QScrollBar::actionTriggered, this, [this](int action) {
        if (m_settingScroll)
            return;
        int code = -1;
        switch (action) {
        case QAbstractSlider::SliderSingleStepAdd:
            code = SB_LINERIGHT;
            break;
        case QAbstractSlider::SliderSingleStepSub:
            code = SB_LINELEFT;
            break;
        case QAbstractSlider::SliderPageStepAdd:
            code = SB_PAGERIGHT;
            break;
        case QAbstractSlider::SliderPageStepSub:
            code = SB_PAGELEFT;
            break;
        case QAbstractSlider::SliderToMinimum:
            code = SB_TOP;
            break;
        case QAbstractSlider::SliderToMaximum:
            code = SB_BOTTOM;
            break;
        case QAbstractSlider::SliderMove:
            code = SB_THUMBTRACK;
            break;
        default:
            return;
        }
        const auto position = static_cast<int64_t>(std::llround(m_scroll->sliderPosition() * m_scrollScale));
        CWindow::PostMessage(m_view, WM_HSCROLL, static_cast<uintptr_t>(code),
                             static_cast<intptr_t>(position));
    });
    connect(m_scroll, &QScrollBar::sliderReleased, this, [this] {
        const auto position = static_cast<int64_t>(std::llround(m_scroll->sliderPosition() * m_scrollScale));
        CWindow::PostMessage(m_view, WM_HSCROLL, SB_THUMBPOSITION, static_cast<intptr_t>(position));
    });
}

void CViewWidget::SetImage(std::shared_ptr<const CViewImage> image) {
    m_canvas->SetImage(std::move(image));
}

void CViewWidget::SetScrollBar(const CScrollBarState& state) {
    m_scrollState = state;
    const int64_t span = std::max<int64_t>(1, state.maximum - state.minimum);
    m_scrollScale = span > INT_MAX / 2 ? static_cast<double>(span) / (INT_MAX / 2) : 1.0;
    m_settingScroll = true;
    m_scroll->setRange(
        static_cast<int>(state.minimum / m_scrollScale),
        static_cast<int>(std::max<int64_t>(state.minimum, state.maximum - state.page + 1) / m_scrollScale));
    m_scroll->setPageStep(std::max(1, static_cast<int>(state.page / m_scrollScale)));
    m_scroll->setSingleStep(std::max(1, static_cast<int>(state.page / m_scrollScale / 20)));
    m_scroll->setValue(static_cast<int>(state.position / m_scrollScale));
    m_scroll->setVisible(state.visible);
    m_settingScroll = false;
}

void CViewWidget::SetCursorShape(CursorShape shape) {
    switch (shape) {
    case CursorShape::Arrow:
        m_canvas->unsetCursor();
        break;
    case CursorShape::SizeWE:
        m_canvas->setCursor(Qt::SizeHorCursor);
        break;
    case CursorShape::CrossFade:
        m_canvas->setCursor(Qt::SplitHCursor);
        break;
    case CursorShape::EffectTag:
        m_canvas->setCursor(Qt::PointingHandCursor);
        break;
    case CursorShape::Wait:
        m_canvas->setCursor(Qt::WaitCursor);
        break;
    }
}

void CViewWidget::SetPlayCursor(int x, int top, int bottom) {
    m_canvas->SetPlayCursor(x, top, bottom);
}

QImage CViewWidget::Picture() const {
    return m_canvas->Picture();
}

QWidget* CViewWidget::Canvas() const {
    return m_canvas;
}

void CViewWidget::SetPaintObserver(PaintObserver observer) {
    m_canvas->m_observer = std::move(observer);
}

} // namespace tw
