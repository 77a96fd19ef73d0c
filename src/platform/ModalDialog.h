// A dialog as the document thread sees it: a popup window registered on its thread whose DoModal
// asks the presentation to show it and runs a nested loop until EndDialog, so the thread's timers
// and posted calls go on meanwhile. The presentation answers by posting calls back (OnOK, OnCancel,
// field values); WM_CLOSE to the popup is handed to the presentation, which may refuse it.
#pragma once

#include "platform/Window.h"

#include <tidework/com.h>

#include <memory>
#include <string>
#include <vector>

namespace tw {

// One control of a dialog as the presentation builds it: a snapshot taken on the dialog's thread,
// so the window never reaches into the live object on another thread. What the person set comes
// back through SetFormField on the dialog's thread before OnOK; the dialog's own rule decides what
// it takes, and an OnOK that does not end the dialog keeps it open with the fields it gives then.
struct CDialogField {
    // Label: a read-only text, with its label beside it when it has one.
    // Buttons: the dialog's own answer buttons in place of OK; pressing one sets the field to its
    //   index and ends the dialog with OK.
    // Number: a typed number with spin steps; the window steps within minimum..maximum but leaves
    //   what is typed to the dialog's rule.
    // Slider: a whole number from minimum to maximum, shown with its unit.
    // Table: rows of `columns.size()` cells; read-only unless `editable`.
    // Header: a banner with `label` in the normal face and `value` in bold beside it.
    // TextChoice: a text that may be typed or taken from `options`; its value is the text.
    // Button: a push button in the form (not an answer): pressing it hands the dialog every value
    //   of the form, then SetFormField(key, ""); with `options` it opens a menu of them instead,
    //   and the entry chosen comes as SetFormField(key, index). Holds no value of its own.
    // PropertyPages: the editor pages `pageObject` offers, made and shown by the window; a page
    //   that cannot be made comes back as SetFormField(key, kPagesFailed).
    enum class Kind {
        Label,
        Text,
        Check,
        Choice,
        Radio,
        Buttons,
        Number,
        Slider,
        Table,
        Header,
        TextChoice,
        Button,
        PropertyPages
    };
    std::string key;
    std::string label;
    Kind kind = Kind::Label;
    std::string value;                // the text; "0"/"1" for a check; the index for a choice or radio
    std::vector<std::string> options; // the entries of a choice, text choice or radio group
    bool enabled = true;
    // Number and Slider.
    double minimum = 0;
    double maximum = 0;
    double step = 1;
    int decimals = 0;
    std::string unit{}; // "Hz", "dB", "s": shown after the control
    // Each edit goes to the dialog at once (SetFormField) and the window shows what it answers, for
    // fields whose rule depends on the others or that change what the dialog shows.
    bool live = false;
    // Fields with the same row text, one after another, share one line of the form under that
    // text, each with its label before it and its unit after it ("Start:" 0 h 1 min ...).
    std::string row{};
    // Text: a "Browse..." button beside it chooses an existing folder for its text, starting in the
    // folder the text names. `browsePrompt` is what the folder chooser says (empty: "Select
    // Folder"), `browseButton` the button's text (empty: "Browse...").
    bool browseFolder = false;
    std::string browsePrompt{};
    std::string browseButton{};
    // Table.
    std::vector<std::string> columns{};
    std::vector<std::vector<std::string>> rows{};
    // An editable table sends each cell the person changes at once, as TableEdit(row, text) under
    // its key; the dialog judges it and the window shows the rows it gives back, so a refused edit
    // goes back to what the dialog keeps. Only the first column is edited.
    bool editable = false;
    // Fields with the same page text go onto one tab of the window, titled by it, tabs in the order
    // their pages first come; fields without a page stand above the tabs. The window shows the tab
    // that holds the focus field.
    std::string page{};

    // Button: the desktop theme's icon name shown on it (the label then becomes its tooltip), and
    // whether it shows as pressed (`value` "1"). Its menu's entries are checked where `checks` says.
    std::string icon{};
    bool checkable = false;
    std::vector<bool> checks{};
    // TextChoice: picking an entry of the list (not typing) sends SetFormField(pickKey, text) at once.
    std::string pickKey{};
    // PropertyPages: the object, held for as long as any copy of the field lives.
    std::shared_ptr<IUnknown> pageObject{};

    static constexpr const char* kPagesFailed = "failed";

    // Whether the field carries a value the window hands back (answer buttons carry their index).
    static bool HoldsValue(Kind kind) {
        return kind != Kind::Label && kind != Kind::Table && kind != Kind::Header && kind != Kind::Button &&
               kind != Kind::PropertyPages;
    }

    static std::string TableEdit(size_t row, const std::string& text) {
        return std::to_string(row) + '\t' + text;
    }
    // False when `value` is no TableEdit.
    static bool ParseTableEdit(const std::string& value, size_t& row, std::string& text);
};

// A number as a person types it into a field: blanks around it ignored, '.' or ',' as the decimal
// mark, no exponent, whatever the process's locale. False when the text is no finite number.
bool ParseFieldNumber(const std::string& text, double& value);
// `value` with `decimals` decimals and '.' as the mark, whatever the locale.
std::string FieldNumberText(double value, int decimals);
// The words a dialog shows when a Number field's text is refused: "Please enter a number between
// <minimum> and <maximum>."
std::string FieldRangeMessage(const CDialogField& field);

class CModalDialog : public CWindow {
public:
    // Posted to a running dialog (wParam = result) ends it as EndDialog would; EndDialog called on
    // another thread posts it, as the close sequence does for a dialog that ignores WM_CLOSE.
    static constexpr uint32_t kEndDialogMessage = WM_APP + 0x3F00;

    ~CModalDialog() override;

    // The owner (the top-level window of a child given as owner) is disabled while the dialog runs
    // and enabled again afterwards.
    int DoModal(WindowHandle owner = 0);
    // On the dialog's thread: ends the nested loop with `result`. From another thread: posts
    // kEndDialogMessage.
    void EndDialog(int result);
    bool IsRunning() const { return m_running; }
    int GetResult() const { return m_result; }

    virtual void OnOK() { EndDialog(1); }
    virtual void OnCancel() { EndDialog(2); }
    // A stable name the presentation uses to pick the widget (or the headless script its answer).
    virtual std::string DialogName() const = 0;
    // False for a dialog that ends by itself (a progress dialog ends when its task does); true for
    // one that waits for a person. A presentation with nobody to ask takes the default button of
    // the latter with its preset fields, as a person pressing Enter would.
    virtual bool WaitsForAnswer() const { return true; }
    // True for a dialog that cannot be answered without something typed (a file name): with nobody
    // to ask it is cancelled instead.
    virtual bool NeedsTypedInput() const { return false; }
    // False for a dialog that only informs: it shows one button that closes it.
    virtual bool OffersCancel() const { return true; }
    // Called on the dialog's thread right after it is registered, before it is shown.
    virtual void OnInitDialog() {}
    // The caption the dialog shows now (a progress dialog's changes as it runs); the presentation
    // reads it on DialogOpened and DialogChanged. Empty: the presentation's own title.
    virtual std::string GetWindowText() const { return std::string(); }
    // The controls the dialog shows now, in order, and what a person set in one of them.
    virtual std::vector<CDialogField> GetFormFields() const { return {}; }
    virtual void SetFormField(const std::string& key, const std::string& value) {}
    // The field that should have the keyboard focus now (a field whose text was refused); empty
    // for none.
    virtual std::string GetFocusField() const { return std::string(); }
    // Takes the preset of every field that holds a value and presses OK, as Enter in the window
    // would. A dialog whose OnOK refuses its presets is cancelled, so nobody waits for it.
    void AcceptPresets();

    intptr_t WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam) override;

protected:
    bool m_running = false;
    int m_result = 0;
};

} // namespace tw
