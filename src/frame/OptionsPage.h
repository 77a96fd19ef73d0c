// One page of the options sheet: its controls as dialog fields, what a person set in them, and what
// OK does with them. A page reads its settings when it is made and writes them only on OK, so a
// cancelled sheet changes nothing.
//
// Threads: the document thread that runs the sheet.
#pragma once

#include "platform/ModalDialog.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tw {

class COptionsPage {
public:
    virtual ~COptionsPage() = default;

    // The page's resource id, by which commands open the sheet on it.
    virtual uint32_t GetResourceId() const = 0;
    // The tab's text.
    virtual std::string GetTitle() const = 0;
    // The controls as the page holds them now, in the page's order (the sheet gives them the page).
    virtual std::vector<CDialogField> GetFields() const = 0;
    // What a person set in field `key`. False when the key is none of this page's.
    virtual bool SetField(const std::string& key, const std::string& value) = 0;
    // Asked of every page before any page writes: false keeps the sheet open on this page, with the
    // focus in GetFocusField(). `sheet` is the window its questions sit on.
    virtual bool CanApply(WindowHandle sheet) { return true; }
    // The field a refusal points at; empty for the page's first.
    virtual std::string GetFocusField() const { return std::string(); }
    // Writes what the page holds. `frame` is the frame the sheet was opened over.
    virtual void OnOK(WindowHandle frame) = 0;
};

} // namespace tw
