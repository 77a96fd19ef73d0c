// Property pages: the editor a component offers for an object it made (a transform lists the class
// ids of its pages through ITransform::GetPages). The system makes each page by class id, gives it
// a site and the object, asks its title and size, and places it inside one of its own windows.
//
// A window handle here is a QWidget* of the process's one GUI thread, passed as void*: a page that
// is activated creates its widgets as children of it, with the Qt the process runs. Every call on a
// page, and every call a page makes on its site, happens on that GUI thread. A page writes what the
// person sets straight into its object (ITransformParams); the object's other users (a play thread
// running it, the document thread choosing a preset) share it, so a page also shows changes that
// did not come from it.
#pragma once

#include <tidework/com.h>

#include <cstdint>

using LPOLESTR = char16_t*;
using PageWindow = void*;

struct TWRECT {
    int32_t left;
    int32_t top;
    int32_t right;
    int32_t bottom;
};

struct TWSIZE {
    int32_t cx;
    int32_t cy;
};

// What a page tells of itself. Strings are allocated by the page with CoTaskMemAlloc and freed by
// the caller with CoTaskMemFree; a null string is allowed. `size` is the page's preferred size in
// device-independent pixels.
struct PROPPAGEINFO {
    ULONG cb; // set by the caller to sizeof(PROPPAGEINFO)
    LPOLESTR pszTitle;
    TWSIZE size;
    LPOLESTR pszDocString;
    LPOLESTR pszHelpFile;
    uint32_t dwHelpContext;
};

// {B196B28C-BAB4-101A-B69C-00AA00341D07}
constexpr IID IID_IPropertyPageSite = {
    0xB196B28C, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
// {B196B28D-BAB4-101A-B69C-00AA00341D07}
constexpr IID IID_IPropertyPage = {
    0xB196B28D, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};

// Status flags a page reports to its site.
enum : uint32_t { PROPPAGESTATUS_DIRTY = 0x1, PROPPAGESTATUS_VALIDATE = 0x2, PROPPAGESTATUS_CLEAN = 0x4 };

struct IPropertyPageSite : IUnknown {
    virtual HRESULT OnStatusChange(uint32_t flags) = 0;         // 3
    virtual HRESULT GetLocaleID(uint32_t* localeId) = 0;        // 4
    virtual HRESULT GetPageContainer(IUnknown** container) = 0; // 5: E_NOTIMPL here
    virtual HRESULT TranslateAccelerator(void* message) = 0;    // 6: E_NOTIMPL here
};

struct IPropertyPage : IUnknown {
    virtual HRESULT SetPageSite(IPropertyPageSite* site) = 0; // 3: null releases the site
    // 4: creates the page's widgets inside `parent` at `rect` (parent coordinates), hidden.
    virtual HRESULT Activate(PageWindow parent, const TWRECT* rect, int32_t modal) = 0;
    virtual HRESULT Deactivate() = 0;                                // 5: destroys the widgets
    virtual HRESULT GetPageInfo(PROPPAGEINFO* info) = 0;             // 6
    virtual HRESULT SetObjects(ULONG count, IUnknown** objects) = 0; // 7: 0 objects releases them
    virtual HRESULT Show(uint32_t command) = 0;                      // 8: 0 hides, otherwise shows
    virtual HRESULT Move(const TWRECT* rect) = 0;                    // 9
    virtual HRESULT IsPageDirty() = 0;                               // 10: S_OK dirty, S_FALSE clean
    virtual HRESULT Apply() = 0;                                     // 11
    virtual HRESULT Help(const char16_t* helpDir) = 0;               // 12
    virtual HRESULT TranslateAccelerator(void* message) = 0;         // 13
};

// Show commands.
enum : uint32_t { SW_HIDE = 0, SW_SHOW = 5 };

// Task memory for strings that cross between a component and the system (malloc-based on both
// sides, as the runtime helpers are).
TW_EXPORT void* CoTaskMemAlloc(size_t bytes);
TW_EXPORT void CoTaskMemFree(void* memory);
