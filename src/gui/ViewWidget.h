// The document's plot on screen: the picture the document thread painted, shown whole (never half
// drawn), the play cursor drawn over it without a new picture, and the horizontal scroll bar. Mouse,
// wheel, keys, focus and size go to the view's thread as messages, in the order they came.
#pragma once

#include "platform/Presentation.h"

#include <QWidget>

#include <functional>
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
    QScrollBar* ScrollBar() const { return m_scroll; }
    // Called on the GUI thread after each paint with the picture shown and the play cursor's x
    // (-1 for none): what a person sees, for measurements of the view's reaction.
    using PaintObserver = std::function<void(const CViewImage* image, int cursorX)>;
    void SetPaintObserver(PaintObserver observer);

private:
    WindowHandle m_view;
    CViewCanvas* m_canvas = nullptr;
    QScrollBar* m_scroll = nullptr;
    CScrollBarState m_scrollState;
    double m_scrollScale = 1.0; // document units per bar unit, above 1 for ranges past int
    bool m_settingScroll = false;
};

} // namespace tw
