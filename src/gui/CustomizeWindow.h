// Customize on screen: the toolbars on the left (the standard toolbar chosen first), the buttons
// of the chosen one on the right, each with a check that shows or hides it, and "Reset" to show
// all of that toolbar's buttons again.
#pragma once

#include "gui/AppDialogWindow.h"

#include <cstdint>
#include <vector>

class QListWidget;
class QListWidgetItem;
class QPushButton;

namespace tw {

class CCustomizeWindow : public CAppDialogWindow {
    Q_OBJECT
public:
    CCustomizeWindow(const CDialogSnapshot& snapshot, QWidget* parent);

    QListWidget* ToolbarList() const { return m_toolbars; }
    QListWidget* ButtonList() const { return m_buttons; }
    QPushButton* ResetButton() const { return m_reset; }

protected:
    void Refresh() override;

private:
    // The toolbar ids in the order of the fields.
    std::vector<uint32_t> ToolbarIds() const;
    void ShowButtons();
    void ButtonChanged(QListWidgetItem* item);

    QListWidget* m_toolbars = nullptr;
    QListWidget* m_buttons = nullptr;
    QPushButton* m_reset = nullptr;
    bool m_filling = false;
};

} // namespace tw
