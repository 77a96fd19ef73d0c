// The "Recording Console" on screen: a deck with the three transport buttons, the take's position
// in large digits and two level meters, and under it the input line, the input level, monitoring
// and the overwrite/insert choice, with OK and Cancel.
//
// The window only shows and forwards. Every control posts a call to the console's thread, which
// finds the console by its handle (it may have ended meanwhile) and acts there; the console then
// publishes its fields, and the window shows them. So the record button's picture, its tooltip and
// the position change when the console says so, never on the click alone. While calls of the
// person are on their way, the controls the person sets keep what was set, so that a late picture
// does not undo a click; the answer to the last call restores the console's word on all of them.
//
// Threads: GUI thread only. The window never waits for the console's thread.
#pragma once

#include "platform/Window.h"
#include "view/RecordDialog.h"

#include <QDialog>

#include <cstdint>
#include <functional>
#include <string>

class QButtonGroup;
class QCheckBox;
class QComboBox;
class QDialogButtonBox;
class QLabel;
class QSlider;

namespace tw {

class CFlatButton;
class CLEDMeter;

class CRecordConsoleWindow : public QDialog {
    Q_OBJECT
public:
    // `console` is the handle of the CRecordDialog whose `fields` these are.
    CRecordConsoleWindow(WindowHandle console, const std::string& title, const RecordConsoleFields& fields,
                         QWidget* parent);

    WindowHandle Handle() const { return m_console; }
    // The fields the console published on its thread.
    void Update(const RecordConsoleFields& fields);
    // The console ended on its own thread: the window goes without answering.
    void Dismiss();
    // What the window shows now.
    const RecordConsoleFields& Shown() const { return m_fields; }

protected:
    // OK and Cancel (and Escape, and the window's close button) go to the console, which ends; the
    // window goes when it has.
    void done(int result) override;

private:
    void BuildDeck();
    void BuildSettings();
    // Shows m_fields; the controls the person sets only when `settable` (no call of theirs is on
    // its way).
    void Show(bool settable);
    // Runs `action` on the console's thread with the live console. False when its thread is gone.
    bool Forward(std::function<void(CRecordDialog&)> action);
    void Answered();

    WindowHandle m_console;
    RecordConsoleFields m_fields;
    CFlatButton* m_goToBegin = nullptr;
    CFlatButton* m_record = nullptr;
    CFlatButton* m_goToEnd = nullptr;
    QLabel* m_position = nullptr;
    CLEDMeter* m_meter0 = nullptr;
    CLEDMeter* m_meter1 = nullptr;
    QComboBox* m_lines = nullptr;
    QSlider* m_level = nullptr;
    QLabel* m_levelValue = nullptr;
    QCheckBox* m_monitoring = nullptr;
    QButtonGroup* m_mode = nullptr;
    QDialogButtonBox* m_buttons = nullptr;
    int m_pending = 0;       // calls posted to the console and not yet answered
    bool m_showing = false;  // controls set by the window, not by the person
    bool m_answered = false; // OK or Cancel is on its way
    bool m_dismissed = false;
};

} // namespace tw
