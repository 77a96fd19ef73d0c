// The list of built-in effects in menu order: what the manager reports for each and how the class
// factory makes it.
#pragma once

#include <tidework/transform.h>

#include <span>

namespace bt {

struct CatalogueEntry {
    CLSID classId;
    const char16_t* name;
    const char16_t* menuPaths; // line-feed separated; a trailing backslash takes the name behind it
    uint32_t flags;
    ITransform* (*create)();
};

std::span<const CatalogueEntry> Catalogue();

// The entry of `classId`, or null.
const CatalogueEntry* FindEntry(const CLSID& classId);

} // namespace bt
