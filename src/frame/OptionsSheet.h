// The options sheet, "Editor Options": the pages View, Directories and Save/Output Settings on tabs
// of one modal dialog over the frame. OK asks every page whether it can take what it holds before
// any page writes, so a refusal (a missing folder not confirmed) writes nothing and keeps the sheet
// open on the refusing page.
//
// Threads: the frame's document thread.
#pragma once

#include "frame/OptionsPage.h"
#include "platform/ModalDialog.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace tw {

class COptionsSheet : public CModalDialog {
public:
    // Shows the page with resource id `startPage` first; 0, or an id no page has, shows the first.
    explicit COptionsSheet(uint32_t startPage = 0);
    ~COptionsSheet() override;

    std::string DialogName() const override { return "Options"; }
    std::string GetWindowText() const override { return "Editor Options"; }
    // Every page's fields, each under its page's title.
    std::vector<CDialogField> GetFormFields() const override;
    void SetFormField(const std::string& key, const std::string& value) override;
    // The first field of the page shown, or the field a page's refusal points at.
    std::string GetFocusField() const override;
    void OnOK() override;

    size_t GetPageCount() const { return m_pages.size(); }
    COptionsPage& GetPage(size_t index) const { return *m_pages[index]; }
    // The resource id of the page shown.
    uint32_t GetActivePage() const { return m_pages[m_active]->GetResourceId(); }
    // Shows the page with that resource id; false (nothing changes) when no page has it.
    bool SetActivePage(uint32_t resourceId);

private:
    std::vector<std::unique_ptr<COptionsPage>> m_pages;
    size_t m_active = 0;
    std::string m_focus; // set by a refusal, until another page is shown
};

} // namespace tw
