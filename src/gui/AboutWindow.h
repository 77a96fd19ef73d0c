// The About box on screen: the product's emblem and name, its version, what it is and the libraries
// it uses, with one OK.
#pragma once

#include "gui/AppDialogWindow.h"

class QLabel;
class QTreeWidget;

namespace tw {

class CAboutWindow : public CAppDialogWindow {
    Q_OBJECT
public:
    CAboutWindow(const CDialogSnapshot& snapshot, QWidget* parent);

    // The product's emblem: a wave on a rounded tile, drawn at `size` pixels.
    static QPixmap Emblem(int size, qreal ratio);

protected:
    void Refresh() override;

private:
    QLabel* m_product = nullptr;
    QLabel* m_version = nullptr;
    QLabel* m_description = nullptr;
    QLabel* m_librariesTitle = nullptr;
    QTreeWidget* m_libraries = nullptr;
};

} // namespace tw
