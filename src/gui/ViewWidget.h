// The document's plot on screen: the picture the document thread painted, shown whole (never half
// drawn), the play cursor drawn over it without a new picture, and the horizontal scroll bar. Mouse,
// wheel, keys, focus and size go to the view's thread as messages, in the order they came.
#pragma once

#include "platform/Presentation.h"

#include <QWidget>

#include <memory>

class QScrollBar;

namespace tw {

class CViewCanvas;

class CViewWidget : public QWidget {
    Q_OBJECT
public:
    CViewWidget(WindowHandle view, WindowHandle frame, QWidget* parent);

    WindowHandle Handle() const { return m_view; }
    void SetImage(std::shared_ptr<const CViewImage> image);
    void SetScrollBar(const CScrollBarState& state);
    void SetCursorShape(CursorShape shape);
    void SetPlayCursor(int x, int top, int bottom);
    // The picture shown now, for tests and screenshots.
    QImage Picture() const;
    QWidget* Canvas() const;

private:
    WindowHandle m_view;
    CViewCanvas* m_canvas = nullptr;
    QScrollBar* m_scroll = nullptr;
    CScrollBarState m_scrollState;
    double m_scrollScale = 1.0; // document units per bar unit, above 1 for ranges past int
    bool m_settingScroll = false;
};

} // namespace tw
